// Events between the vendor library and the queue.
#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/EventQueue.h"
#include "simulator/include/QzEvent.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/EventIntake.h"
#include "tools/qzagent/vqm/VqmEvent.h"

namespace
{
class EventIntake : public testing::Test
{
protected:
    /// Takes an event whose payload is unreadable.
    void takeUnreadable(unsigned int aBoard)
    {
        QZ_event const event{3, nullptr};
        mIntake.take({{}, aBoard, 0, 0}, &event);
    }

    std::vector<std::string> reports() const
    {
        std::vector<std::string> texts;
        auto const document =
            nlohmann::json::parse(mReport.document("test", nlohmann::ordered_json::object()));
        for (auto const& message : document["messages"])
        {
            texts.push_back(message["text"]);
        }
        return texts;
    }

    qz::EventQueue mQueue{4, 16};
    qzagent::EventIntake mIntake{mQueue, qzagent::EventLayout(), true};
    qzagent::ErrorStream mErrors;
    qzagent::Report mReport{mErrors};
};

TEST_F(EventIntake, ReportsNothingWhileNoEventIsDiscarded)
{
    unsigned char const byte = 7;
    QZ_event const event{1, &byte};
    mIntake.take({{}, 0, 0, 0}, &event);
    mIntake.reportDiscarded(mReport);
    mIntake.reportTotal(mReport);
    EXPECT_EQ(reports().size(), 0);
    EXPECT_EQ(mQueue.received(), 1);
}

TEST_F(EventIntake, WaitsLongerAfterEachReport)
{
    takeUnreadable(5);
    mIntake.reportDiscarded(mReport);
    takeUnreadable(6);
    mIntake.reportDiscarded(mReport);
    EXPECT_EQ(reports().size(), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(1010));
    takeUnreadable(7);
    mIntake.reportDiscarded(mReport);
    takeUnreadable(8);
    std::this_thread::sleep_for(std::chrono::milliseconds(1010));
    mIntake.reportDiscarded(mReport);
    mIntake.reportTotal(mReport);
    std::string const text = ": the event's payload of 3 bytes at 0x0 is not readable; ";
    EXPECT_EQ(reports(),
              (std::vector<std::string>{"board 5" + text + "events discarded so far: 1 (see --event-layout)",
                                        "board 6" + text + "events discarded so far: 3 (see --event-layout)",
                                        "events discarded: 4 (see --event-layout)"}));
    EXPECT_EQ(mQueue.received(), 0);
}

TEST_F(EventIntake, CountsTheEventsThatSeveralThreadsDiscard)
{
    constexpr int threads = 4;
    constexpr int events = 1000;
    std::vector<std::thread> senders;
    for (int i = 0; i < threads; ++i)
    {
        senders.emplace_back(
            [this]
            {
                for (int event = 0; event < events; ++event)
                {
                    takeUnreadable(0);
                }
            });
    }
    for (int i = 0; i < threads; ++i)
    {
        mIntake.reportDiscarded(mReport);
        senders[static_cast<std::size_t>(i)].join();
    }
    mIntake.reportTotal(mReport);
    EXPECT_EQ(reports().back(), "events discarded: 4000 (see --event-layout)");
}
}  // namespace
