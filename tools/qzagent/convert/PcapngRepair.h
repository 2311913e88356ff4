/// @file
/// Copies what is whole in a pcapng capture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "pcapng/Reader.h"

namespace qzagent
{
/// Copies whole blocks unchanged, except that a packet of an interface that cannot exist gets another one. A section
/// header or interface description that is lost is replaced, so that the copy is a valid file. The records often have
/// the names of the board, and the interface then has them too; other texts are lost.
class PcapngRepair
{
public:
    using Write = std::function<void(pcapng::Bytes)>;
    using Complain = std::function<void(std::string const&)>;

    /// @param aLargest size in bytes of the largest record that is accepted
    PcapngRepair(pcapng::Input& aInput, std::size_t aLargest, Write const& aWrite, Complain const& aComplain);

    /// @throws what the input and the functions throw
    void run();

    /// Number of packets that were copied.
    std::uint64_t packets() const { return mPackets; }

private:
    void take(pcapng::Item const& aItem);
    void take(pcapng::InterfaceStart const& aStart);
    void take(pcapng::Packet const& aPacket);
    void takeOther();
    std::uint32_t numberInCopy(std::uint32_t aInterface, std::string const& aDescription);
    void addInterfacesBefore(std::uint32_t aInterface);
    void beginSection();
    void startSection();
    void addInterface(std::string const& aDescription);
    void copy();
    void copyWithInterface(std::uint32_t aNumber);

    pcapng::Reader mReader;
    std::size_t const mLargest;
    Write const mWrite;
    Complain const mComplain;
    bool mHasSection = false;
    bool mIsUncertain = false;      ///< whether the interfaces of the section are replaced
    std::uint32_t mInterfaces = 0;  ///< in the section of the copy
    std::map<std::uint32_t, std::uint32_t>
        mNumbers;  ///< of the interfaces in the copy, by those in the section
    std::uint64_t mPackets = 0;
};
}  // namespace qzagent
