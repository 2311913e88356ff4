// A capture holds whole records even if memory runs out while one is encoded.
#include <exception>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "agentkit/include/EventQueue.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Captures.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/watch/WatchCapture.h"

namespace
{
using qz::Event;
using qzagent::Board;
using qzagent::WatchCapture;

QZCPointer<QZCWorldWideName> nameOf(unsigned char aLastByte)
{
    unsigned char const bytes[8] = {0x10, 0, 0, 0, 0xc9, 0, 0, aLastByte};
    return {new QZCWorldWideName(bytes), QZPST_Individual, QZPAT_New};
}

/// Takes the event while the allocation of that number fails, and then again.
/// @return whether the allocation was reached
bool takeTwice(WatchCapture& aCapture, Event const& aEvent, Board const& aBoard, unsigned int aFailing)
{
    bool hasFailed = false;
    try
    {
        DeliberateLeak const leak;
        AllocationFailure const failure(aFailing);
        aCapture.take(aEvent, &aBoard);
    }
    catch (std::exception const&)
    {
        hasFailed = true;
    }
    aCapture.take(aEvent, &aBoard);
    return hasFailed;
}

TEST(WatchCaptureAllocations, NothingOfARecordWhoseEncodingFailsIsWritten)
{
    ScratchFolder const folder;
    Board const board{0, nameOf(1), nameOf(2), {}};
    Event const event{{{}, 0, 3, 7}, std::vector<unsigned char>(1000, 0xaa)};
    std::string const path = folder.path() / "whole.capture";
    WatchCapture(path).take(event, &board);
    std::string const record = contentOf(path);
    bool hasFailed = true;
    unsigned int failing = 0;
    while (hasFailed)
    {
        ++failing;
        std::string const failed = folder.path() / ("failed" + std::to_string(failing) + ".capture");
        WatchCapture capture(failed);
        hasFailed = takeTwice(capture, event, board, failing);
        EXPECT_TRUE(contentOf(failed) == (hasFailed ? record : record + record)) << "allocation " << failing;
    }
    EXPECT_GT(failing, 4u) << "event, payload and stream allocate";
}
}  // namespace
