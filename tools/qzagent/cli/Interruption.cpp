#include "tools/qzagent/cli/Interruption.h"

#include <csignal>
#include <ctime>

#include <signal.h>

namespace qzagent
{
std::sig_atomic_t volatile Interruption::sArrived = 0;
timespec Interruption::sTime = {};

Interruption::Interruption() : mInterrupt(), mTerminate()
{
    sArrived = 0;
    struct sigaction action = {};
    action.sa_handler = &arrive;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, &mInterrupt);
    ::sigaction(SIGTERM, &action, &mTerminate);
}

Interruption::~Interruption()
{
    ::sigaction(SIGINT, &mInterrupt, nullptr);
    ::sigaction(SIGTERM, &mTerminate, nullptr);
}

void Interruption::arrive(int aSignal)
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    if (sArrived == 0)
    {
        sTime = now;
        sArrived = 1;
        return;
    }
    bool const isLater =
        now.tv_sec - sTime.tv_sec > 1 || (now.tv_sec > sTime.tv_sec && now.tv_nsec >= sTime.tv_nsec);
    if (isLater)
    {
        struct sigaction action = {};
        action.sa_handler = SIG_DFL;
        ::sigaction(aSignal, &action, nullptr);
        ::raise(aSignal);
    }
}
}  // namespace qzagent
