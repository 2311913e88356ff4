// Reads captures with damage of every kind. What is whole is known from the blocks that the tests themselves build.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/PcapngCaptures.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureInput.h"
#include "tools/qzagent/capture/CaptureItems.h"

namespace
{
constexpr std::uint64_t packets = 24;
constexpr std::size_t packetsPerSection = 8;
constexpr std::size_t blocksBeforePackets = 3;
constexpr std::uint64_t firstTime = 1'000'000'000'000;

/// Sections with two boards. The packets are numbered from 1.
PcapngBuilder someCapture(bool aIsBigEndian)
{
    PcapngBuilder capture(aIsBigEndian);
    for (std::size_t i = 0; i < packets; ++i)
    {
        if (i % packetsPerSection == 0)
        {
            capture.section("host").interface("board 0").interface("board 1");
        }
        capture.packet(i % 2, firstTime + i,
                       i % 3 == 0 ? plainRecord() : fullRecord(std::string(20 * i + 1, 'p')));
    }
    return capture;
}

struct Found
{
    std::vector<std::uint64_t> mIds;
    bool mIsDamaged = false;
};

Found read(std::string const& aPath, std::optional<qzagent::CaptureForm> const& aForm)
{
    qzagent::CaptureOptions options;
    options.mLargest = 4096;
    options.mForm = aForm;
    qzagent::CaptureInput input(aPath, options);
    Found found;
    while (std::optional<qzagent::CaptureItem> const item = input.next())
    {
        found.mIsDamaged |= std::holds_alternative<qzagent::CaptureDamage>(*item);
        if (auto const* const event = std::get_if<qzagent::CaptureEvent>(&*item))
        {
            found.mIds.push_back(event->mId.value_or(0));
        }
        // A changed interface can say that its packets are not events.
        if (auto const* const other = std::get_if<qzagent::CaptureOther>(&*item))
        {
            found.mIds.push_back(other->mHead.mId.value_or(0));
        }
    }
    return found;
}

/// @return whether the numbers contain all of these, in their order
bool containAll(std::vector<std::uint64_t> const& aNumbers, std::vector<std::uint64_t> const& aThese)
{
    auto next = aThese.begin();
    for (std::uint64_t const number : aNumbers)
    {
        if (next != aThese.end() && number == *next)
        {
            ++next;
        }
    }
    return next == aThese.end();
}

class QzagentCaptureDamage : public testing::TestWithParam<bool>
{
protected:
    /// @param aIsWhole for each block, whether it is unchanged
    static std::vector<std::uint64_t> wholeIds(std::vector<bool> const& aIsWhole)
    {
        std::vector<std::uint64_t> ids;
        for (std::size_t i = 0; i < packets; ++i)
        {
            std::size_t const section = i / packetsPerSection;
            std::size_t const block = i + blocksBeforePackets * (section + 1);
            if (aIsWhole.at(block))
            {
                ids.push_back(i + 1);
            }
        }
        return ids;
    }

    PcapngBuilder const mCapture = someCapture(GetParam());
    std::vector<std::size_t> const mBounds = mCapture.bounds();
    ScratchFolder mFolder;
};

INSTANTIATE_TEST_SUITE_P(BothByteOrders, QzagentCaptureDamage, testing::Bool(),
                         [](auto const& aInfo) { return aInfo.param ? "BigEndian" : "LittleEndian"; });

TEST_P(QzagentCaptureDamage, EveryTruncatedCaptureYieldsItsWholeBlocks)
{
    for (std::size_t size = 0; size < mCapture.content().size(); ++size)
    {
        std::vector<bool> isWhole;
        for (std::size_t i = 1; i < mBounds.size(); ++i)
        {
            isWhole.push_back(mBounds[i] <= size);
        }
        bool const isCut = std::find(mBounds.begin(), mBounds.end(), size) == mBounds.end();
        Found const found = read(mFolder.write("cut", mCapture.content().substr(0, size)), {});
        EXPECT_EQ(found.mIds, wholeIds(isWhole)) << "of " << size << " bytes";
        EXPECT_EQ(found.mIsDamaged, isCut) << "of " << size << " bytes";
    }
}

TEST_P(QzagentCaptureDamage, FiveThousandChangedCapturesYieldTheirWholeBlocks)
{
    std::mt19937 random(1);
    auto const below = [&random](std::size_t aEnd) { return random() % aEnd; };
    for (int i = 0; i < 5000; ++i)
    {
        std::string content = mCapture.content();
        std::vector<bool> isWhole(mBounds.size() - 1, true);
        for (std::size_t changes = 1 + below(4); changes > 0; --changes)
        {
            std::size_t const place = below(content.size());
            auto const byte = static_cast<unsigned char>(content[place]);
            content[place] = static_cast<char>(byte ^ (1 + below(255)));
            auto const after = std::upper_bound(mBounds.begin(), mBounds.end(), place);
            isWhole[static_cast<std::size_t>(after - mBounds.begin()) - 1] = false;
        }
        Found const found = read(mFolder.write("changed", content), qzagent::CaptureForm::pcapng);
        EXPECT_TRUE(containAll(found.mIds, wholeIds(isWhole))) << "of capture " << i;
    }
}

TEST_P(QzagentCaptureDamage, CapturesWithRemovedAndInsertedBytesYieldTheirWholeBlocks)
{
    std::mt19937 random(2);
    auto const below = [&random](std::size_t aEnd) { return random() % aEnd; };
    for (int i = 0; i < 500; ++i)
    {
        std::size_t const place = below(mCapture.content().size() - 1);
        std::size_t const removed = std::min<std::size_t>(below(50), mCapture.content().size() - place);
        std::string inserted(below(20), '\0');
        std::generate(inserted.begin(), inserted.end(), [&] { return static_cast<char>(below(256)); });
        std::string content = mCapture.content();
        content.replace(place, removed, inserted);
        std::vector<bool> isWhole;
        for (std::size_t block = 1; block < mBounds.size(); ++block)
        {
            isWhole.push_back(mBounds[block] <= place || mBounds[block - 1] >= place + removed);
        }
        Found const found = read(mFolder.write("shifted", content), qzagent::CaptureForm::pcapng);
        EXPECT_TRUE(containAll(found.mIds, wholeIds(isWhole))) << "of capture " << i;
    }
}

TEST(QzagentRecordDamage, EveryTruncatedSequenceYieldsItsWholeRecords)
{
    ScratchFolder const folder;
    std::string const first = plainRecord();
    std::string const content = first + fullRecord("some payload");
    for (std::size_t size = 0; size < content.size(); ++size)
    {
        Found const found = read(folder.write("cut", content.substr(0, size)), {});
        EXPECT_EQ(found.mIds.size(), size >= first.size() ? 1U : 0U) << "of " << size << " bytes";
        EXPECT_EQ(found.mIsDamaged, size != 0 && size != first.size()) << "of " << size << " bytes";
    }
}

TEST(QzagentRecordDamage, NoChangedSequenceLosesTheRecordsBeforeTheChange)
{
    ScratchFolder const folder;
    std::mt19937 random(3);
    std::string const record = fullRecord("some payload");
    std::string const content = record + record + record + record;
    for (int i = 0; i < 2000; ++i)
    {
        std::string changed = content;
        std::size_t const place = random() % content.size();
        changed[place] = static_cast<char>(random());
        // The first byte of a record may become that of another form.
        Found const found = read(folder.write("changed", changed), qzagent::CaptureForm::records);
        EXPECT_GE(found.mIds.size(), place / record.size());
    }
}
}  // namespace
