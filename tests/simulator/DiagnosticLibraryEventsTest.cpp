// Content, order and timing of the events of the diagnostic library.
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include "tests/simulator/DiagnosticLibraryFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
class DiagnosticLibraryEvents : public DiagnosticLibraryFixture
{
protected:
    /// @return the payloads of the events of a source with these lines
    std::vector<std::vector<std::uint8_t>> payloadsOf(std::string const& aLines, std::size_t aCount)
    {
        init(twoBoards + events(aLines));
        EXPECT_EQ(registerQuazor(0, firstPort, any, any, mLog), ok);
        std::vector<std::vector<std::uint8_t>> payloads;
        for (Delivery const& delivery : mLog.waitFor(aCount))
        {
            EXPECT_EQ(delivery.mHasPayload, !delivery.mPayload.empty());
            payloads.push_back(delivery.mPayload);
        }
        return payloads;
    }

    /// @return the number of each event, in delivery order
    static std::vector<std::uint32_t> numbersIn(std::vector<Delivery> const& aDeliveries)
    {
        std::vector<std::uint32_t> numbers;
        for (Delivery const& delivery : aDeliveries)
        {
            numbers.push_back(numberIn(delivery));
        }
        return numbers;
    }
};

TEST_F(DiagnosticLibraryEvents, PayloadComesFromTheScenario)
{
    std::vector<std::uint8_t> const payload = {1, 2, 0xff};
    EXPECT_THAT(payloadsOf("payload = \"01 02 ff\"\ncount = 2\n", 2), ElementsAre(payload, payload));
}

TEST_F(DiagnosticLibraryEvents, PayloadIsEmptyByDefault)
{
    EXPECT_THAT(payloadsOf("", 1), ElementsAre(IsEmpty()));
}

TEST_F(DiagnosticLibraryEvents, PayloadIsEmptyWhenTheGeneratedSizeIsZero)
{
    EXPECT_THAT(payloadsOf("size = 0\n", 1), ElementsAre(IsEmpty()));
}

TEST_F(DiagnosticLibraryEvents, GeneratedPayloadStartsWithTheEventNumberAndCountsUp)
{
    EXPECT_THAT(payloadsOf("size = 7\ncount = 3\n", 3),
                ElementsAre(ElementsAre(0, 0, 0, 0, 4, 5, 6), ElementsAre(0, 0, 0, 1, 5, 6, 7),
                            ElementsAre(0, 0, 0, 2, 6, 7, 8)));
}

TEST_F(DiagnosticLibraryEvents, GeneratedPayloadShorterThanTheNumberIsTruncated)
{
    EXPECT_THAT(payloadsOf("size = 3\n", 1), ElementsAre(ElementsAre(0, 0, 0)));
}

TEST_F(DiagnosticLibraryEvents, GeneratedPayloadMayHaveOneMebibyte)
{
    std::vector<std::uint8_t> const payload = payloadsOf("size = 1048576\n", 1).at(0);
    ASSERT_EQ(payload.size(), 1048576U);
    EXPECT_EQ(payload.back(), 0xff);
}

TEST_F(DiagnosticLibraryEvents, CallbackReceivesTheKindOfTheEventNotOfTheRegistration)
{
    init(twoBoards + events(""));
    ASSERT_EQ(registerPlain(0, any, any, mOther), ok);
    Delivery const delivery = mOther.waitFor(1).at(0);
    EXPECT_EQ(delivery.mBoard, 0U);
    EXPECT_EQ(delivery.mCategory, 3U);
    EXPECT_EQ(delivery.mSubcategory, 7U);
}

TEST_F(DiagnosticLibraryEvents, SourceSendsAllEventsInOrderAtFullRate)
{
    constexpr std::size_t count = 100000;
    init(twoBoards + events("size = 64\nrate = 100000\ncount = 100000\n"));
    ASSERT_EQ(registerQuazor(0, firstPort, 3, 7, mLog), ok);
    std::vector<std::uint32_t> const numbers = numbersIn(mLog.waitFor(count));
    ASSERT_EQ(numbers.size(), count);
    for (std::size_t index = 0; index < count; ++index)
    {
        ASSERT_EQ(numbers[index], index);
    }
}

TEST_F(DiagnosticLibraryEvents, SourceStartsWithTheFirstMatchingRegistration)
{
    init(twoBoards + events("size = 4\nrate = 100000\ncount = 3\n"));
    ASSERT_EQ(registerQuazor(0, firstPort, 9, any, mOther), ok);
    ASSERT_EQ(registerQuazor(0, firstPort, 3, any, mLog), ok);
    EXPECT_THAT(numbersIn(mLog.waitFor(3)), ElementsAre(0, 1, 2));
}

TEST_F(DiagnosticLibraryEvents, LaterRegistrationReceivesOnlyLaterEvents)
{
    init(twoBoards + events("size = 4\nrate = 100000\ncount = 5\n"));
    mLog.mOnEvent = [&](Delivery const& aDelivery)
    {
        if (numberIn(aDelivery) == 2)
        {
            EXPECT_EQ(registerQuazor(0, firstPort, 3, 7, mOther), ok);
        }
    };
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(5);
    EXPECT_THAT(numbersIn(mOther.waitFor(2)), ElementsAre(3, 4));
}

TEST_F(DiagnosticLibraryEvents, CallbacksRunInRegistrationOrder)
{
    init(twoBoards + events("size = 4\nat_ms = 200\nrate = 100000\ncount = 2\n"));
    std::vector<std::string> order;
    mLog.mOnEvent = [&](Delivery const&) { order.emplace_back("plain"); };
    mOther.mOnEvent = [&](Delivery const&) { order.emplace_back("quazor"); };
    ASSERT_EQ(registerQuazor(0, firstPort, 3, 7, mOther), ok);
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(2);
    EXPECT_THAT(order, ElementsAre("quazor", "plain", "quazor", "plain"));
}

TEST_F(DiagnosticLibraryEvents, SourceNeverSendsEventsEarly)
{
    using Clock = std::chrono::steady_clock;
    init(twoBoards + events("size = 4\nat_ms = 30\nrate = 100\ncount = 3\n"));
    Clock::time_point const start = Clock::now();
    mLog.mOnEvent = [&](Delivery const& aDelivery)
    {
        EXPECT_GE(Clock::now() - start,
                  std::chrono::milliseconds(30) + std::chrono::milliseconds(10) * numberIn(aDelivery));
    };
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(3);
}

TEST_F(DiagnosticLibraryEvents, CallbacksMayCallTheLibrary)
{
    init(twoBoards + events("count = 2\n"));
    unsigned char record[168] = {};
    mLog.mOnEvent = [&](Delivery const&)
    {
        EXPECT_EQ(mGetLinkInfo(1, record), ok);
        EXPECT_EQ(init(), 2U);
    };
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(2);
    EXPECT_EQ(record[167], 0x10);
}

TEST_F(DiagnosticLibraryEvents, CallbackThreadsBlockAllSignals)
{
    init(twoBoards + events(""));
    sigset_t blocked;
    ::sigemptyset(&blocked);
    mLog.mOnEvent = [&](Delivery const&) { ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked); };
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(1);
    for (int const signal : {SIGHUP, SIGINT, SIGTERM, SIGCHLD, SIGUSR1, SIGALRM})
    {
        EXPECT_EQ(::sigismember(&blocked, signal), 1) << "signal " << signal;
    }
    sigset_t ours;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &ours);
    EXPECT_EQ(::sigismember(&ours, SIGTERM), 0);
}
}  // namespace
