/// @file
/// Converts captures to pcapng.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pcapng/BlockWriter.h"
#include "tools/qzagent/convert/ConvertTarget.h"

namespace qzagent
{
/// Keeps everything. A record without a time gets the time 0, which the readers of the agent understand. A section begins
/// where the host changes.
class PcapngTarget : public ConvertTarget
{
public:
    using ConvertTarget::ConvertTarget;

    void addSection(pcapng::Section const& aSection) override;

    /// Adds an interface to the section before it has packets.
    void describe(pcapng::Interface const& aInterface);

    void add(CaptureEvent const& aEvent) override;
    void add(CaptureCounts const& aCounts) override;
    void add(CaptureOther const& aOther) override;
    void finish() override;

private:
    /// An interface of the section.
    struct Known
    {
        pcapng::Interface mInterface;
        std::uint64_t mDropped = 0;  ///< dropped events since the section began
        std::uint64_t mPending = 0;  ///< those that the next packet must report
        std::uint64_t mStated = 0;   ///< those that statistics have reported
    };

    void begin(pcapng::Section const& aSection);
    void expectHost(std::string_view aHost);
    std::uint32_t numberOf(pcapng::Interface const& aInterface);
    std::uint32_t numberOf(CaptureEvent const& aEvent);
    void drop(std::uint32_t aInterface, std::uint64_t aCount);
    void stateDrops();
    void flush();

    pcapng::BlockWriter mWriter;
    std::optional<std::string> mHost;  ///< of the section; none before the first
    std::vector<Known> mInterfaces;
    std::uint64_t mPackets = 0;  ///< in the section
    pcapng::Time mLatest = 0;
};
}  // namespace qzagent
