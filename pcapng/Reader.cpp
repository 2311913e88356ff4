#include "pcapng/Reader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

#include "pcapng/ByteOrder.h"
#include "pcapng/Format.h"

namespace pcapng
{
namespace
{
constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::uint64_t defaultUnitsPerSecond = 1'000'000;

/// The content of a block contradicts its length.
class BadBody : public std::runtime_error
{
public:
    BadBody() : std::runtime_error("the fields of a pcapng block exceed the block") {}
};

/// Takes fields from the front of a body.
class Fields
{
public:
    explicit Fields(Block const& aBlock)
        : mLeft(aBlock.mBody), mOrder(aBlock.mOrder), mType(static_cast<BlockType>(aBlock.mType))
    {
    }

    template <typename Number>
    Number number()
    {
        return readNumber<Number>(take(sizeof(Number)).mData, mOrder);
    }

    /// Two words, the high one first.
    std::uint64_t time()
    {
        std::uint64_t const high = number<std::uint32_t>();
        return high << 32U | number<std::uint32_t>();
    }

    /// @return the bytes without their padding
    Bytes padded(std::size_t aSize)
    {
        Bytes const bytes = take(aSize);
        take(paddingAfter(aSize));
        return bytes;
    }

    /// Calls the function with the number of each option and its value as fields.
    template <typename Function>
    void forEachOption(Function aFunction)
    {
        while (mLeft.mSize != 0)
        {
            auto const number = this->number<std::uint16_t>();
            auto const option = static_cast<Option>(number);
            auto const size = this->number<std::uint16_t>();
            std::size_t const required = fixedSizeOf(mType, number);
            if ((required != 0 && size != required) || (option == Option::end && size != 0))
            {
                throw BadBody();
            }
            if (option == Option::end)
            {
                return;
            }
            Fields value(padded(size), mOrder, mType);
            aFunction(option, value);
        }
    }

    std::string text() const { return {mLeft.begin(), mLeft.end()}; }

private:
    Fields(Bytes aBytes, ByteOrder aOrder, BlockType aType) : mLeft(aBytes), mOrder(aOrder), mType(aType) {}

    Bytes take(std::size_t aSize)
    {
        if (aSize > mLeft.mSize)
        {
            throw BadBody();
        }
        Bytes const taken{mLeft.mData, aSize};
        mLeft = {mLeft.mData + aSize, mLeft.mSize - aSize};
        return taken;
    }

    Bytes mLeft;
    ByteOrder mOrder;
    BlockType mType;
};

/// @param aResolution as if_tsresol: a negative power of 10, or of 2 if the highest bit is set
std::uint64_t unitsPerSecond(std::uint8_t aResolution)
{
    constexpr std::uint8_t isBinary = 0x80;
    constexpr unsigned int highestDecimal = 19;
    constexpr unsigned int highestBinary = 63;
    unsigned int const exponent = aResolution & ~isBinary & 0xffU;
    bool const isTwo = (aResolution & isBinary) != 0;
    if (exponent > (isTwo ? highestBinary : highestDecimal))
    {
        throw BadBody();
    }
    std::uint64_t units = 1;
    for (unsigned int i = 0; i < exponent; ++i)
    {
        units *= isTwo ? 2 : 10;
    }
    return units;
}

/// The form of the blocks depends on the version. 1.2 is 1.0 with more types of blocks.
/// @param aMajor the major version, which precedes the fields
void expectVersion(std::uint16_t aMajor, Fields& aFields)
{
    constexpr std::uint16_t minorVersion = 0;
    constexpr std::uint16_t laterMinorVersion = 2;
    auto const minor = aFields.number<std::uint16_t>();
    if (aMajor != majorVersion || (minor != minorVersion && minor != laterMinorVersion))
    {
        throw BadBody();
    }
}

/// Names for addresses, up to an empty record.
void expectNameRecords(Fields& aFields)
{
    constexpr std::uint16_t end = 0;
    constexpr std::uint16_t ofIpv4 = 1;
    constexpr std::uint16_t ofIpv6 = 2;
    constexpr std::size_t smallest[] = {0, 4, 16};
    for (;;)
    {
        auto const type = aFields.number<std::uint16_t>();
        Bytes const value = aFields.padded(aFields.number<std::uint16_t>());
        if (type == end && value.mSize == 0)
        {
            return;
        }
        bool const isAddress = type == ofIpv4 || type == ofIpv6;
        if (type == end || (isAddress && (value.mSize <= smallest[type] || *(value.end() - 1) != 0)))
        {
            throw BadBody();
        }
    }
}

void expectOther(Block const& aBlock)
{
    Fields fields(aBlock);
    switch (static_cast<BlockType>(aBlock.mType))
    {
        case BlockType::obsoletePacket:
        case BlockType::simplePacket:
        case BlockType::journalEntry:
            throw BadBody();
        case BlockType::nameResolution:
            expectNameRecords(fields);
            fields.forEachOption([](Option, Fields const&) {});
            break;
        case BlockType::decryptionSecrets:
            fields.number<std::uint32_t>();  // what the secrets are
            fields.padded(fields.number<std::uint32_t>());
            fields.forEachOption([](Option, Fields const&) {});
            break;
        case BlockType::custom:
        case BlockType::customPrivate:
            fields.number<std::uint32_t>();  // who defines the data
            break;
        default:
            if (aBlock.mType >= static_cast<std::uint32_t>(BlockType::firstSystemCall) &&
                aBlock.mType <= static_cast<std::uint32_t>(BlockType::lastSystemCall))
            {
                throw BadBody();
            }
            break;
    }
}

Time nanoseconds(std::uint64_t aUnits, std::uint64_t aUnitsPerSecond)
{
    if (aUnitsPerSecond == nanosecondsPerSecond)
    {
        return aUnits;
    }
    long double const rest = static_cast<long double>(aUnits % aUnitsPerSecond) * nanosecondsPerSecond;
    return aUnits / aUnitsPerSecond * nanosecondsPerSecond +
           static_cast<Time>(rest / static_cast<long double>(aUnitsPerSecond));
}
}  // namespace

bool isWholeOther(Block const& aBlock)
{
    try
    {
        expectOther(aBlock);
        return true;
    }
    catch (BadBody const&)
    {
        return false;
    }
}

std::optional<Item> Reader::next(AtEnd aAtEnd)
{
    mBlock.reset();
    std::optional<std::variant<Block, Gap>> const found = mBlocks.next(aAtEnd);
    if (!found)
    {
        return {};
    }
    if (auto const* const gap = std::get_if<Gap>(&*found))
    {
        mHasGap = true;
        return *gap;
    }
    auto const& block = std::get<Block>(*found);
    try
    {
        Item const item = itemOf(block);
        mBlock = block;
        return item;
    }
    catch (BadBody const&)
    {
        return Gap{block.mPosition, block.mBody.mSize + smallestBlock, false, 0,
                   block.mType == static_cast<std::uint32_t>(BlockType::sectionHeader)};
    }
}

Item Reader::itemOf(Block const& aBlock)
{
    switch (static_cast<BlockType>(aBlock.mType))
    {
        case BlockType::sectionHeader:
            return readSection(aBlock);
        case BlockType::interfaceDescription:
            return readInterface(aBlock);
        case BlockType::enhancedPacket:
            return readPacket(aBlock);
        case BlockType::interfaceStatistics:
            return readStatistics(aBlock);
        default:
            return OtherBlock{aBlock.mPosition, aBlock.mType};
    }
}

Item Reader::readSection(Block const& aBlock)
{
    // The former section ends here even if this header cannot be read.
    mInterfaces.clear();
    mHasGap = false;
    mIsUncertain = false;
    mSection.reset();
    Fields fields(aBlock);
    fields.number<std::uint32_t>();  // magic
    expectVersion(fields.number<std::uint16_t>(), fields);
    fields.number<std::uint64_t>();  // size of the section
    Section section;
    fields.forEachOption(
        [&](Option aOption, Fields const& aValue)
        {
            switch (aOption)
            {
                case Option::hardware:
                    section.mHardware = aValue.text();
                    break;
                case Option::system:
                    section.mSystem = aValue.text();
                    break;
                case Option::application:
                    section.mApplication = aValue.text();
                    break;
                case Option::comment:
                    section.mComment = aValue.text();
                    break;
                default:
                    break;
            }
        });
    mSection = section;
    return SectionStart{aBlock.mPosition, &*mSection};
}

Item Reader::readInterface(Block const& aBlock)
{
    if (mHasGap && !mIsUncertain)
    {
        mIsUncertain = true;
        mInterfaces.clear();
        mSection.reset();
    }
    if (mIsUncertain)
    {
        return InterfaceStart{aBlock.mPosition, nullptr};
    }
    // A description that cannot be read has its number all the same.
    std::unique_ptr<KnownInterface>& place = mInterfaces.emplace_back();
    auto described = std::make_unique<KnownInterface>(KnownInterface{{}, defaultUnitsPerSecond, 0});
    Fields fields(aBlock);
    described->mInterface.mLinkType = fields.number<std::uint16_t>();
    fields.number<std::uint16_t>();  // reserved
    fields.number<std::uint32_t>();  // largest size of a packet
    fields.forEachOption(
        [&](Option aOption, Fields& aValue)
        {
            switch (aOption)
            {
                case Option::name:
                    described->mInterface.mName = aValue.text();
                    break;
                case Option::description:
                    described->mInterface.mDescription = aValue.text();
                    break;
                case Option::timeResolution:
                    described->mUnitsPerSecond = unitsPerSecond(aValue.number<std::uint8_t>());
                    break;
                case Option::timeOffset:
                    described->mOffset = aValue.number<std::uint64_t>() * nanosecondsPerSecond;
                    break;
                default:
                    break;
            }
        });
    place = std::move(described);
    return InterfaceStart{aBlock.mPosition, &place->mInterface};
}

Item Reader::readPacket(Block const& aBlock) const
{
    Fields fields(aBlock);
    Packet packet{aBlock.mPosition, {}, {}, section(), nullptr};
    packet.mHead.mInterface = fields.number<std::uint32_t>();
    packet.mHead.mTime = timeOf(packet.mHead.mInterface, fields.time());
    auto const size = fields.number<std::uint32_t>();
    fields.number<std::uint32_t>();  // size before it was truncated
    packet.mData = fields.padded(size);
    fields.forEachOption(
        [&](Option aOption, Fields& aValue)
        {
            switch (aOption)
            {
                case Option::dropCount:
                    packet.mHead.mDropCount = aValue.number<std::uint64_t>();
                    break;
                case Option::packetId:
                    packet.mHead.mId = aValue.number<std::uint64_t>();
                    break;
                default:
                    break;
            }
        });
    packet.mInterface = interfaceNumbered(packet.mHead.mInterface);
    return packet;
}

Item Reader::readStatistics(Block const& aBlock) const
{
    Fields fields(aBlock);
    Statistics statistics;
    statistics.mInterface = fields.number<std::uint32_t>();
    auto const timeIn = [&](Fields& aFields) { return timeOf(statistics.mInterface, aFields.time()); };
    statistics.mTime = timeIn(fields);
    fields.forEachOption(
        [&](Option aOption, Fields& aValue)
        {
            switch (aOption)
            {
                case Option::startTime:
                    statistics.mStart = timeIn(aValue);
                    break;
                case Option::endTime:
                    statistics.mEnd = timeIn(aValue);
                    break;
                case Option::received:
                    statistics.mReceived = aValue.number<std::uint64_t>();
                    break;
                case Option::dropped:
                    statistics.mDropped = aValue.number<std::uint64_t>();
                    break;
                default:
                    break;
            }
        });
    return statistics;
}

Interface const* Reader::interfaceNumbered(std::uint32_t aNumber) const
{
    KnownInterface const* const found = known(aNumber);
    return found == nullptr ? nullptr : &found->mInterface;
}

Reader::KnownInterface const* Reader::known(std::uint32_t aNumber) const
{
    return aNumber < mInterfaces.size() ? mInterfaces[aNumber].get() : nullptr;
}

/// Without a description, the resolution is that of the writer of this library.
Time Reader::timeOf(std::uint32_t aInterface, std::uint64_t aUnits) const
{
    KnownInterface const* const found = known(aInterface);
    return found == nullptr ? aUnits : found->mOffset + nanoseconds(aUnits, found->mUnitsPerSecond);
}
}  // namespace pcapng
