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
int blockSignals()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    int const descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor < 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    return descriptor;
}
}  // namespace

StopSignals::StopSignals() : mDescriptor(blockSignals()) {}

void StopSignals::take()
{
    signalfd_siginfo signal = {};
    if (::read(descriptor(), &signal, sizeof signal) == sizeof signal)
    {
        ++mCount;
    }
}
}  // namespace qzagent
