#include "tools/qzagent/convert/PcapngRepair.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <fmt/format.h>

#include "pcapng/ByteOrder.h"
#include "pcapng/Format.h"
#include "tools/qzagent/capture/BoardInterface.h"
#include "tools/qzagent/capture/CaptureItems.h"
#include "tools/qzagent/capture/Damage.h"
#include "tools/qzagent/capture/LinkTypes.h"
#include "tools/qzagent/capture/PcapngSource.h"

namespace qzagent
{
namespace
{
/// Larger numbers of interfaces are damage.
constexpr std::uint32_t mostInterfaces = 1024;

/// Builds a block in a byte order.
class BlockMaker
{
public:
    explicit BlockMaker(pcapng::ByteOrder aOrder) : mOrder(aOrder) {}

    template <typename Number>
    BlockMaker& add(Number aNumber)
    {
        auto const* const bytes = reinterpret_cast<unsigned char const*>(&aNumber);
        auto const swapped = pcapng::readNumber<Number>(bytes, mOrder);
        auto const* const ordered = reinterpret_cast<unsigned char const*>(&swapped);
        mBody.insert(mBody.end(), ordered, ordered + sizeof swapped);
        return *this;
    }

    BlockMaker& addOption(pcapng::Option aOption, std::string_view aValue)
    {
        add(static_cast<std::uint16_t>(aOption)).add(static_cast<std::uint16_t>(aValue.size()));
        mBody.insert(mBody.end(), aValue.begin(), aValue.end());
        mBody.resize(mBody.size() + pcapng::paddingAfter(aValue.size()));
        return *this;
    }

    std::vector<unsigned char> const& body() const { return mBody; }

    std::vector<unsigned char> block(pcapng::BlockType aType) const
    {
        auto const size = static_cast<std::uint32_t>(mBody.size() + pcapng::smallestBlock);
        BlockMaker maker(mOrder);
        maker.add(static_cast<std::uint32_t>(aType)).add(size);
        maker.mBody.insert(maker.mBody.end(), mBody.begin(), mBody.end());
        return maker.add(size).mBody;
    }

private:
    pcapng::ByteOrder mOrder;
    std::vector<unsigned char> mBody;
};

/// @return the names of the board, if the record has them
std::string descriptionIn(qz::ScopeDataView const& aRecord)
{
    return aRecord.hasNames() ? interfaceOfBoard({}, aRecord.first(), aRecord.second()).mDescription : "";
}
}  // namespace

PcapngRepair::PcapngRepair(pcapng::Input& aInput, std::size_t aLargest, Write const& aWrite,
                           Complain const& aComplain)
    : mReader(aInput, largestBlockWith(aLargest)), mLargest(aLargest), mWrite(aWrite), mComplain(aComplain)
{
}

void PcapngRepair::run()
{
    while (std::optional<pcapng::Item> const item = mReader.next())
    {
        take(*item);
    }
}

void PcapngRepair::take(pcapng::Item const& aItem)
{
    if (auto const* const gap = std::get_if<pcapng::Gap>(&aItem))
    {
        mComplain(gapText(*gap, mLargest));
        mHasSection = mHasSection && !gap->mIsSection;
    }
    else if (std::holds_alternative<pcapng::SectionStart>(aItem))
    {
        startSection();
        mIsUncertain = false;
        copy();
    }
    else if (auto const* const start = std::get_if<pcapng::InterfaceStart>(&aItem))
    {
        take(*start);
    }
    else if (auto const* const packet = std::get_if<pcapng::Packet>(&aItem))
    {
        take(*packet);
    }
    else if (auto const* const statistics = std::get_if<pcapng::Statistics>(&aItem))
    {
        copyWithInterface(numberInCopy(statistics->mInterface, {}));
    }
    else
    {
        takeOther();
    }
}

void PcapngRepair::take(pcapng::InterfaceStart const& aStart)
{
    if (aStart.mInterface == nullptr)
    {
        // Its number is lost, so the following packets go into a section whose interfaces are replaced.
        mHasSection = mHasSection && mIsUncertain;
        mIsUncertain = true;
        return;
    }
    beginSection();
    // Descriptions that cannot be read have their numbers too.
    auto const number = static_cast<std::uint32_t>(mReader.numberOfInterfaces() - 1);
    addInterfacesBefore(number);
    mNumbers[number] = mInterfaces++;
    copy();
}

void PcapngRepair::take(pcapng::Packet const& aPacket)
{
    std::optional<qz::ScopeDataView> record;
    std::optional<std::string> const complaint =
        isScopeData(aPacket.mInterface) ? readRecord(aPacket, mLargest, record) : std::nullopt;
    if (complaint)
    {
        mComplain(*complaint);
    }
    else
    {
        copyWithInterface(numberInCopy(aPacket.mHead.mInterface, record ? descriptionIn(*record) : ""));
        ++mPackets;
    }
}

void PcapngRepair::takeOther()
{
    pcapng::Block const& block = *mReader.block();
    if (!pcapng::isWholeOther(block))
    {
        mComplain(fmt::format("at byte {}: left out a block of type {} that other programs may refuse",
                              block.mPosition, block.mType));
        return;
    }
    beginSection();
    copy();
}

/// Adds the interface to the copy if it is not there.
/// @param aDescription of the interface, if it is added
/// @return its number in the copy
std::uint32_t PcapngRepair::numberInCopy(std::uint32_t aInterface, std::string const& aDescription)
{
    beginSection();
    auto const known = mNumbers.find(aInterface);
    if (known != mNumbers.end())
    {
        return known->second;
    }
    if (aInterface >= mostInterfaces)
    {
        mComplain(fmt::format("the block at byte {} belongs to interface {}, which does not exist",
                              mReader.block()->mPosition, aInterface));
    }
    else
    {
        addInterfacesBefore(aInterface);
    }
    mNumbers[aInterface] = mInterfaces;
    addInterface(aDescription);
    return mNumbers[aInterface];
}

void PcapngRepair::addInterfacesBefore(std::uint32_t aInterface)
{
    while (mInterfaces < aInterface)
    {
        mNumbers.emplace(mInterfaces, mInterfaces);
        addInterface({});
    }
}

void PcapngRepair::startSection()
{
    mHasSection = true;
    mInterfaces = 0;
    mNumbers.clear();
}

void PcapngRepair::beginSection()
{
    if (mHasSection)
    {
        return;
    }
    constexpr std::uint16_t minorVersion = 0;
    std::vector<unsigned char> const header = BlockMaker(mReader.block()->mOrder)
                                                  .add(pcapng::byteOrderMagic)
                                                  .add(pcapng::majorVersion)
                                                  .add(minorVersion)
                                                  .add(std::numeric_limits<std::uint64_t>::max())
                                                  .block(pcapng::BlockType::sectionHeader);
    mWrite({header.data(), header.size()});
    startSection();
}

/// Adds an interface whose times have a resolution of a nanosecond. The number of its board is lost.
void PcapngRepair::addInterface(std::string const& aDescription)
{
    constexpr std::uint16_t reserved = 0;
    constexpr std::uint32_t unlimited = 0;
    constexpr std::uint32_t endOfOptions = 0;
    BlockMaker maker(mReader.block()->mOrder);
    maker.add(scopeDataLinkType).add(reserved).add(unlimited);
    if (!aDescription.empty())
    {
        maker.addOption(pcapng::Option::description, aDescription);
    }
    maker.addOption(pcapng::Option::timeResolution, "\x09").add(endOfOptions);
    std::vector<unsigned char> const description = maker.block(pcapng::BlockType::interfaceDescription);
    mWrite({description.data(), description.size()});
    ++mInterfaces;
}

/// @param aNumber of the interface of the packet or statistics in the copy
void PcapngRepair::copyWithInterface(std::uint32_t aNumber)
{
    pcapng::Bytes const whole = mReader.block()->whole();
    std::vector<unsigned char> const number = BlockMaker(mReader.block()->mOrder).add(aNumber).body();
    std::size_t const after = pcapng::blockHeadSize + number.size();
    mWrite({whole.mData, pcapng::blockHeadSize});
    mWrite({number.data(), number.size()});
    mWrite({whole.mData + after, whole.mSize - after});
}

void PcapngRepair::copy() { mWrite(mReader.block()->whole()); }
}  // namespace qzagent
