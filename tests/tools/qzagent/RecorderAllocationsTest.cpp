// A capture holds whole records even if memory runs out while one is encoded.
#include <chrono>
#include <cstddef>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "agentkit/include/EventQueue.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/ScratchFolder.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/ReceptionTime.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/vqm/VqmVersions.h"
#include "tools/qzagent/watch/DropCounts.h"
#include "tools/qzagent/watch/PcapngRecorder.h"
#include "tools/qzagent/watch/RecordsRecorder.h"
#include "tools/qzagent/watch/WatchClock.h"

namespace
{
using qz::QueuedEvent;
using qzagent::Board;
using qzagent::WatchRecorder;

QZCPointer<QZCWorldWideName> nameOf(unsigned char aLastByte)
{
    unsigned char const bytes[8] = {0x10, 0, 0, 0, 0xc9, 0, 0, aLastByte};
    return {new QZCWorldWideName(bytes), QZPST_Individual, QZPAT_New};
}

std::string recordedContentOf(std::string const& aPath)
{
    std::ifstream file(aPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Takes the event while the allocation of that number fails, and then again.
/// @return whether the allocation was reached
bool takeTwice(WatchRecorder& aRecorder, QueuedEvent const& aEvent, Board const& aBoard,
               unsigned int aFailing)
{
    bool hasFailed = false;
    try
    {
        DeliberateLeak const leak;
        AllocationFailure const failure(aFailing);
        aRecorder.take(aEvent, &aBoard);
    }
    catch (std::exception const&)
    {
        hasFailed = true;
    }
    aRecorder.take(aEvent, &aBoard);
    aRecorder.flush();
    return hasFailed;
}

class RecorderAllocations : public testing::Test
{
protected:
    /// @param aContentAfter what the file has after the event was taken so many times
    template <typename MakeRecorder>
    void checkEachAllocation(MakeRecorder aMakeRecorder, std::string const& aOnce, std::string const& aTwice)
    {
        bool hasFailed = true;
        unsigned int failing = 0;
        while (hasFailed)
        {
            ++failing;
            std::string const path = mFolder.path() / ("failed" + std::to_string(failing));
            std::unique_ptr<WatchRecorder> const recorder = aMakeRecorder(path);
            std::size_t const start = recordedContentOf(path).size();
            hasFailed = takeTwice(*recorder, mEvent, mBoard, failing);
            std::string const taken = recordedContentOf(path).substr(start);
            EXPECT_TRUE(taken == (hasFailed ? aOnce : aTwice)) << "allocation " << failing;
        }
        EXPECT_GT(failing, 4u) << "event, payload and stream allocate";
    }

    /// @return what is added to a file by taking the event so many times
    template <typename MakeRecorder>
    std::string takenBy(MakeRecorder aMakeRecorder, unsigned int aTimes)
    {
        std::string const path = mFolder.path() / ("whole" + std::to_string(aTimes));
        std::unique_ptr<WatchRecorder> const recorder = aMakeRecorder(path);
        std::size_t const start = recordedContentOf(path).size();
        for (unsigned int i = 0; i < aTimes; ++i)
        {
            recorder->take(mEvent, &mBoard);
        }
        recorder->flush();
        return recordedContentOf(path).substr(start);
    }

    ScratchFolder const mFolder;
    Board const mBoard{0, nameOf(1), nameOf(2), {}};
    std::vector<unsigned char> const mPayload = std::vector<unsigned char>(1000, 0xaa);
    QueuedEvent const mEvent{{{}, 0, 3, 7}, {mPayload.data(), mPayload.size()}, {mPayload.data(), 0}, 0};
    qzagent::ErrorStream mErrors;
    qzagent::Report mReport{mErrors};
};

TEST_F(RecorderAllocations, NothingOfABareRecordWhoseEncodingFailsIsWritten)
{
    auto const make = [this](std::string const& aPath)
    { return std::make_unique<qzagent::RecordsRecorder>(aPath, mReport, [] { return false; }); };
    checkEachAllocation(make, takenBy(make, 1), takenBy(make, 2));
}

TEST_F(RecorderAllocations, NothingOfAPacketWhoseEncodingFailsIsWritten)
{
    qz::EventQueue const queue(1, 1);
    qzagent::DropCounts const drops(queue);
    qzagent::WatchClock const clock([]() noexcept { return qzagent::ReceptionTime(); });
    std::vector<Board> const boards{mBoard};
    qzagent::LibvqmVersions const versions;
    auto const make = [&](std::string const& aPath)
    {
        return std::make_unique<qzagent::PcapngRecorder>(
            qzagent::RecorderOptions{aPath, aPath, {}, {}, std::chrono::seconds(0)},
            qzagent::RecorderSources{boards, versions, drops, clock, mReport});
    };
    checkEachAllocation(make, takenBy(make, 1), takenBy(make, 2));
}
}  // namespace
