#include "pcapng/BlockWriter.h"

#include <cstring>
#include <limits>
#include <optional>
#include <stdexcept>

namespace pcapng
{
namespace
{
constexpr std::uint64_t unknownSectionLength = std::numeric_limits<std::uint64_t>::max();
constexpr unsigned char nanosecondResolution = 9;  // 10^-9 seconds
constexpr unsigned int bitsOfHalf = 32;
}  // namespace

void BlockWriter::add(Section const& aSection)
{
    addBlock(BlockType::sectionHeader,
             [&]
             {
                 constexpr std::uint16_t minorVersion = 0;
                 addNumber(byteOrderMagic);
                 addNumber(majorVersion);
                 addNumber(minorVersion);
                 addNumber(unknownSectionLength);
                 addText(Option::hardware, aSection.mHardware);
                 addText(Option::system, aSection.mSystem);
                 addText(Option::application, aSection.mApplication);
                 addText(Option::comment, aSection.mComment);
                 endOptions();
             });
}

void BlockWriter::add(Interface const& aInterface)
{
    addBlock(BlockType::interfaceDescription,
             [&]
             {
                 constexpr std::uint16_t reserved = 0;
                 constexpr std::uint32_t unlimitedPackets = 0;
                 addNumber(aInterface.mLinkType);
                 addNumber(reserved);
                 addNumber(unlimitedPackets);
                 addText(Option::name, aInterface.mName);
                 addText(Option::description, aInterface.mDescription);
                 addOptionHead(Option::timeResolution, sizeof nanosecondResolution);
                 addNumber(nanosecondResolution);
                 addPadding();
                 endOptions();
             });
}

void BlockWriter::add(Statistics const& aStatistics)
{
    addBlock(BlockType::interfaceStatistics,
             [&]
             {
                 addNumber(aStatistics.mInterface);
                 addTime(aStatistics.mTime);
                 addTimeOption(Option::startTime, aStatistics.mStart);
                 addTimeOption(Option::endTime, aStatistics.mEnd);
                 addCount(Option::received, aStatistics.mReceived);
                 addCount(Option::dropped, aStatistics.mDropped);
                 endOptions();
             });
}

void BlockWriter::add(PacketHead const& aHead, std::initializer_list<Bytes> aParts)
{
    addBlock(BlockType::enhancedPacket,
             [&]
             {
                 std::size_t size = 0;
                 for (Bytes const& part : aParts)
                 {
                     size += part.mSize;
                 }
                 addNumber(aHead.mInterface);
                 addTime(aHead.mTime);
                 addNumber(static_cast<std::uint32_t>(size));  // captured
                 addNumber(static_cast<std::uint32_t>(size));  // original
                 for (Bytes const& part : aParts)
                 {
                     addBytes(part);
                 }
                 addPadding();
                 if (aHead.mDropCount || aHead.mId)
                 {
                     addCount(Option::dropCount, aHead.mDropCount);
                     addCount(Option::packetId, aHead.mId);
                     endOptions();
                 }
             });
}

template <typename AddBody>
void BlockWriter::addBlock(BlockType aType, AddBody aAddBody)
{
    constexpr std::uint32_t notYetKnown = 0;
    std::size_t const start = mBytes.size();
    try
    {
        addNumber(static_cast<std::uint32_t>(aType));
        addNumber(notYetKnown);
        aAddBody();
        std::size_t const length = mBytes.size() - start + blockTailSize;
        if (length > std::numeric_limits<std::uint32_t>::max())
        {
            throw std::length_error("a pcapng block is at most 4 GiB long");
        }
        auto const total = static_cast<std::uint32_t>(length);
        std::memcpy(&mBytes[start + sizeof total], &total, sizeof total);
        addNumber(total);
    }
    catch (...)
    {
        mBytes.resize(start);
        throw;
    }
}

template <typename Number>
void BlockWriter::addNumber(Number aNumber)
{
    unsigned char bytes[sizeof aNumber];
    std::memcpy(bytes, &aNumber, sizeof aNumber);
    addBytes({bytes, sizeof bytes});
}

void BlockWriter::addTime(Time aTime)
{
    addNumber(static_cast<std::uint32_t>(aTime >> bitsOfHalf));
    addNumber(static_cast<std::uint32_t>(aTime));
}

void BlockWriter::addBytes(Bytes aBytes) { mBytes.insert(mBytes.end(), aBytes.begin(), aBytes.end()); }

/// Blocks begin at a multiple of the alignment, so the end of the bytes shows what is missing.
void BlockWriter::addPadding() { mBytes.resize(mBytes.size() + paddingAfter(mBytes.size())); }

void BlockWriter::addOptionHead(Option aOption, std::size_t aSize)
{
    if (aSize > std::numeric_limits<std::uint16_t>::max())
    {
        throw std::length_error("a text in a pcapng block is at most 65,535 bytes long");
    }
    addNumber(static_cast<std::uint16_t>(aOption));
    addNumber(static_cast<std::uint16_t>(aSize));
}

void BlockWriter::addText(Option aOption, std::string const& aText)
{
    if (!aText.empty())
    {
        addOptionHead(aOption, aText.size());
        mBytes.insert(mBytes.end(), aText.begin(), aText.end());
        addPadding();
    }
}

void BlockWriter::addCount(Option aOption, std::optional<std::uint64_t> const& aCount)
{
    if (aCount)
    {
        addOptionHead(aOption, sizeof *aCount);
        addNumber(*aCount);
    }
}

void BlockWriter::addTimeOption(Option aOption, std::optional<Time> const& aTime)
{
    if (aTime)
    {
        addOptionHead(aOption, sizeof *aTime);
        addTime(*aTime);
    }
}

void BlockWriter::endOptions() { addOptionHead(Option::end, 0); }
}  // namespace pcapng
