#include "tools/qzagent/cli/Interruption.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace qzagent
{
namespace
{
void setDefault(int aSignal)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ::sigaction(aSignal, &action, nullptr);
}
}  // namespace

std::sig_atomic_t volatile Interruption::sArrived = 0;
timespec Interruption::sTime = {};
std::atomic<int> Interruption::sSecond = -1;

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
    if (!isLater)
    {
        return;
    }
    int const second = sSecond.exchange(-1);
    auto const signal = static_cast<unsigned char>(aSignal);
    if (second < 0 || ::write(second, &signal, sizeof signal) != sizeof signal)
    {
        setDefault(aSignal);
        ::raise(aSignal);
    }
}

SecondInterruption::SecondInterruption(std::function<void()> aFunction) : mFunction(std::move(aFunction))
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot create a pipe");
    }
    mRead.emplace(ends[0]);
    mWrite.emplace(ends[1]);
    mThread = std::thread([this] { wait(); });
    Interruption::sSecond = mWrite->number();
}

SecondInterruption::~SecondInterruption()
{
    Interruption::sSecond = -1;
    mWrite.reset();
    mThread.join();
}

void SecondInterruption::wait() const
{
    unsigned char signal = 0;
    ssize_t size = -1;
    do
    {
        size = ::read(mRead->number(), &signal, sizeof signal);
    } while (size < 0 && errno == EINTR);
    if (size == sizeof signal)
    {
        mFunction();
        setDefault(signal);
        ::kill(::getpid(), signal);
    }
}
}  // namespace qzagent
