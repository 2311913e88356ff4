#include "tools/qzagent/cli/CurrentStep.h"

#include <array>
#include <atomic>
#include <mutex>
#include <new>
#include <string>

#include <fmt/format.h>
#include <sys/mman.h>

#include "agentkit/include/HbaWitness.h"

namespace qzagent
{
namespace
{
/// Also in memory that several processes share.
struct Place
{
    static_assert(std::atomic<char const*>::is_always_lock_free);

    std::array<char, 1024> mStep{};  ///< with a terminator; a longer text is truncated
    std::atomic<char const*> mCall = nullptr;
    char const* mOtherCall = nullptr;  ///< of a library whose calls are not observed
    char const* mBusyCall = nullptr;
};

std::mutex placeMutex;
Place ownPlace;
Place* place = &ownPlace;

void setPlace(char const* aCall, std::string const& aStep)
{
    std::lock_guard const lock(placeMutex);
    place->mStep[aStep.copy(place->mStep.data(), place->mStep.size() - 1)] = '\0';
    // A process that was killed leaves the call.
    place->mCall = nullptr;
    place->mOtherCall = aCall;
    place->mBusyCall = nullptr;
}

/// The mutex is locked.
char const* runningCall()
{
    char const* const running = qz::runningHbaCall();
    return running == nullptr ? place->mOtherCall : running;
}
}  // namespace

void setCurrentStep(std::string const& aStep) { setPlace(nullptr, aStep); }

void setCurrentCall(char const* aFunction, std::string const& aSubject) { setPlace(aFunction, aSubject); }

void setBusyCall(char const* aFunction)
{
    std::lock_guard const lock(placeMutex);
    place->mBusyCall = aFunction;
}

std::string currentPlace()
{
    std::lock_guard const lock(placeMutex);
    std::string const step = place->mStep.data();
    if (char const* const call = runningCall(); call != nullptr)
    {
        return fmt::format("{} has not returned{}", call, step.empty() ? "" : " (" + step + ")");
    }
    return place->mBusyCall == nullptr
               ? "in the step: " + step
               : fmt::format("{} keeps answering HBA_STATUS_ERROR_BUSY ({})", place->mBusyCall, step);
}

char const* currentCall()
{
    std::lock_guard const lock(placeMutex);
    return runningCall();
}

void shareCurrentStep()
{
    void* const memory =
        ::mmap(nullptr, sizeof(Place), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
    {
        throw std::bad_alloc();
    }
    std::lock_guard const lock(placeMutex);
    place = new (memory) Place;
    qz::keepRunningHbaCall(place->mCall);
}
}  // namespace qzagent
