// Reads pcapng captures in pieces of several sizes. The pieces must not matter, every byte of the input is in an item or
// in a gap, and a repaired capture is whole.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "fuzz/Fuzz.h"
#include "pcapng/Reader.h"
#include "tools/qzagent/convert/PcapngRepair.h"

namespace
{
using fuzz::expect;
using ByteList = std::vector<unsigned char>;

constexpr std::size_t largestRecord = 65'536;

/// Gives out at most some bytes at each call.
class Pieces : public pcapng::Input
{
public:
    Pieces(ByteList const& aBytes, std::size_t aPiece) : mBytes(aBytes), mPiece(aPiece) {}

    std::size_t read(unsigned char* aBytes, std::size_t aSize) override
    {
        std::size_t const size = std::min({aSize, mPiece, mBytes.size() - mPosition});
        std::copy_n(mBytes.begin() + static_cast<std::ptrdiff_t>(mPosition), size, aBytes);
        mPosition += size;
        return size;
    }

private:
    ByteList const& mBytes;
    std::size_t const mPiece;
    std::size_t mPosition = 0;
};

/// @return kinds and ends of all items, after checking that they follow each other
std::vector<std::uint64_t> placesOf(ByteList const& aBytes, std::size_t aPiece)
{
    Pieces input(aBytes, aPiece);
    pcapng::Reader reader(input, largestRecord);
    std::vector<std::uint64_t> places;
    std::uint64_t position = 0;
    while (std::optional<pcapng::Item> const item = reader.next())
    {
        auto const* const gap = std::get_if<pcapng::Gap>(&*item);
        std::uint64_t const start = gap != nullptr ? gap->mPosition : reader.block()->mPosition;
        std::uint64_t const size = gap != nullptr ? gap->mSize : reader.block()->whole().mSize;
        expect(start == position, "an item begins where the previous one ends");
        expect(size != 0, "an item has bytes");
        position += size;
        places.push_back(item->index());
        places.push_back(position);
        if (auto const* const packet = std::get_if<pcapng::Packet>(&*item))
        {
            expect(packet->mData.mSize <= size, "the data of a packet are in its block");
        }
    }
    expect(position == aBytes.size(), "every byte is in an item");
    return places;
}

/// @return the repaired capture
ByteList repaired(ByteList const& aBytes, std::uint64_t& aComplaints)
{
    Pieces input(aBytes, aBytes.size() + 1);
    ByteList copy;
    qzagent::PcapngRepair repair(
        input, largestRecord,
        [&](pcapng::Bytes aPart) { copy.insert(copy.end(), aPart.begin(), aPart.end()); },
        [&](std::string const&) { ++aComplaints; });
    repair.run();
    return copy;
}
}  // namespace

void fuzz::check(Input aInput)
{
    ByteList const bytes(aInput.data(), aInput.data() + aInput.size());
    expect(placesOf(bytes, 7) == placesOf(bytes, bytes.size() + 1), "the items do not depend on the pieces");

    std::uint64_t complaints = 0;
    ByteList const copy = repaired(bytes, complaints);
    std::uint64_t later = 0;
    expect(repaired(copy, later) == copy && later == 0, "a repaired capture is whole");
}
