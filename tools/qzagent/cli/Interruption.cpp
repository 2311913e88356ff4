#include "tools/qzagent/cli/Interruption.h"

#include <csignal>

#include <signal.h>

namespace qzagent
{
std::sig_atomic_t volatile Interruption::sArrived = 0;

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

void Interruption::arrive(int)
{
    sArrived = 1;
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}
}  // namespace qzagent
