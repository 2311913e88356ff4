#include "tools/qzagent/capture/PcapngFile.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "pcapng/ByteOrder.h"
#include "pcapng/Format.h"
#include "pcapng/LastBlock.h"

namespace qzagent
{
namespace
{
/// A cut block can be this large: more than the queue of events has room for.
constexpr std::size_t largestBlock = std::size_t{72} << 20U;

/// A section header of this agent is smaller.
constexpr std::uint32_t largestHeader = 4096;

class FileInput : public pcapng::RandomInput
{
public:
    explicit FileInput(AppendedFile const& aFile) : mFile(aFile) {}

    std::uint64_t size() const override { return mFile.size(); }

    void read(std::uint64_t aPosition, unsigned char* aBytes, std::size_t aSize) const override
    {
        mFile.read(aPosition, aBytes, aSize);
    }

private:
    AppendedFile const& mFile;
};

/// Whether the file is the beginning of a section header, as an interrupted write leaves it.
bool isCutHeader(AppendedFile const& aFile)
{
    using pcapng::ByteOrder;
    constexpr std::size_t magicEnd = pcapng::smallestBlock;
    unsigned char head[magicEnd] = {};
    std::size_t const size = aFile.read(0, head, sizeof head);
    auto const isCut = [&](ByteOrder aOrder)
    {
        std::uint32_t expected[] = {static_cast<std::uint32_t>(pcapng::BlockType::sectionHeader), 0,
                                    pcapng::byteOrderMagic};
        std::uint32_t const whole = pcapng::readNumber<std::uint32_t>(head + sizeof expected[0], aOrder);
        expected[1] = whole;
        unsigned char bytes[magicEnd];
        for (std::size_t i = 0; i < std::size(expected); ++i)
        {
            auto const* const number = reinterpret_cast<unsigned char const*>(&expected[i]);
            auto const ordered = pcapng::readNumber<std::uint32_t>(number, aOrder);
            std::memcpy(bytes + i * sizeof ordered, &ordered, sizeof ordered);
        }
        bool const isPlausible =
            size < pcapng::blockHeadSize ||
            (whole > aFile.size() && whole <= largestHeader && whole % pcapng::alignment == 0);
        return isPlausible && std::memcmp(bytes, head, size) == 0;
    };
    return isCut(ByteOrder::native) || isCut(ByteOrder::swapped);
}

/// The whole blocks at the start of some bytes.
struct WholeBlocks
{
    std::size_t mSize;
    std::uint64_t mPackets;
};

/// @param aBytes blocks of this machine's byte order, the last of which may be cut
WholeBlocks wholeBlocksIn(qz::Bytes aBytes)
{
    using pcapng::ByteOrder;
    WholeBlocks whole{0, 0};
    while (aBytes.mSize - whole.mSize >= pcapng::smallestBlock)
    {
        unsigned char const* const block = aBytes.mData + whole.mSize;
        auto const type = pcapng::readNumber<std::uint32_t>(block, ByteOrder::native);
        auto const size = pcapng::readNumber<std::uint32_t>(block + sizeof type, ByteOrder::native);
        if (size > aBytes.mSize - whole.mSize)
        {
            break;
        }
        whole.mSize += size;
        whole.mPackets += type == static_cast<std::uint32_t>(pcapng::BlockType::enhancedPacket) ? 1 : 0;
    }
    return whole;
}
}  // namespace

PcapngFile::PcapngFile(std::string const& aPath, std::string const& aName) : mFile(aPath, aName)
{
    if (mFile.size() != 0)
    {
        checkEnd();
    }
}

void PcapngFile::checkEnd()
{
    std::uint64_t const size = mFile.size();
    std::optional<pcapng::LastBlock> const last = pcapng::findLastBlock(FileInput(mFile), largestBlock);
    if (!last && !isCutHeader(mFile))
    {
        mFile.refuse("it does not end with pcapng blocks");
    }
    if (!mFile.shorten(last ? last->mEnd : 0))
    {
        mFile.refuse("a block at its end is cut and cannot be removed");
    }
    mRemovedBytes = size - mFile.size();
    mIsDamaged = last && last->mIsBehindDamage;
}

std::optional<std::string> PcapngFile::repairNote() const
{
    return mRemovedBytes == 0
               ? std::nullopt
               : std::optional(fmt::format("{}: removed its last {} bytes, a block that was cut",
                                           mFile.name(), mRemovedBytes));
}

std::optional<std::string> PcapngFile::damageNote() const
{
    return mIsDamaged
               ? std::optional(fmt::format(
                     "{}: damaged before its last blocks; qzagent repair copies what is whole", mFile.name()))
               : std::nullopt;
}

void PcapngFile::append(qz::Bytes aBlocks)
{
    std::uint64_t const end = mFile.size();
    AppendedFile::Outcome const outcome = mFile.append(aBlocks);
    WholeBlocks const whole = wholeBlocksIn({aBlocks.mData, outcome.mWritten});
    mPackets += whole.mPackets;
    if (outcome.mError != 0)
    {
        bool const isWhole = mFile.shorten(end + whole.mSize);
        mFile.refuse(fmt::format("{}; its first {} bytes are whole blocks{}", std::strerror(outcome.mError),
                                 end + whole.mSize, isWhole ? "" : ", but a partial block follows them"));
    }
}
}  // namespace qzagent
