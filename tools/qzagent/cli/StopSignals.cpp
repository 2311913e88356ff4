#include "tools/qzagent/cli/StopSignals.h"

#include <cerrno>
#include <system_error>

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace qzagent
{
namespace
{
bool isIgnored(int aSignal)
{
    struct sigaction action = {};
    ::sigaction(aSignal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

int blockSignals(bool aTakesHangups)
{
    sigset_t signals;
    ::sigemptyset(&signals);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP})
    {
        // A blocked signal would be taken although it is ignored.
        if (!isIgnored(signal) && (signal != SIGHUP || aTakesHangups))
        {
            ::sigaddset(&signals, signal);
        }
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    int const descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor < 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    return descriptor;
}
}  // namespace

StopSignals::StopSignals(bool aTakesHangups) : mDescriptor(blockSignals(aTakesHangups)) {}

void StopSignals::take()
{
    signalfd_siginfo signal = {};
    if (::read(descriptor(), &signal, sizeof signal) == sizeof signal)
    {
        bool const isHangup = signal.ssi_signo == SIGHUP;
        mHasHangup = mHasHangup || isHangup;
        mCount += isHangup ? 0 : 1;
    }
}
}  // namespace qzagent
