#include "simulator/recording/Session.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string>

#include <fmt/format.h>

#include "simulator/control/EnvironmentVariables.h"

namespace qzsim
{
namespace
{
std::string variable(char const* aName)
{
    char const* const value = environment(aName);
    if (value == nullptr)
    {
        throw std::runtime_error(fmt::format("{} is not set", aName));
    }
    return value;
}

/// The program may have set a locale with another decimal point.
double numberIn(std::string const& aText)
{
    double number = 0;
    std::from_chars(aText.data(), aText.data() + aText.size(), number);
    return number;
}
}  // namespace

void Session::prepare()
{
    std::call_once(mOnce,
                   [this]
                   {
                       if (char const* const ring = environment(ringVariable))
                       {
                           mRecorder.emplace(ring);
                           return;
                       }
                       ReplayOptions const options{numberIn(variable(speedVariable)),
                                                   environment(strictVariable) != nullptr};
                       mPlayer = std::make_unique<Player>(Recording::ofFile(variable(recordingVariable)),
                                                          variable(countsVariable), options);
                       mEvents = std::make_unique<EventPlayer>(mPlayer->recording());
                   });
}

CallbackRegistration& Session::addRegistration(std::string const& aLibrary, void (*aCallback)(),
                                               void* aContext)
{
    std::lock_guard const lock(mMutex);
    mRegistrations.push_back({mRecorder->nextNumber(), aLibrary, aCallback, aContext, nullptr});
    return mRegistrations.back();
}

std::uint32_t Session::registrationWith(void const* aHandle)
{
    std::lock_guard const lock(mMutex);
    // The last one: a library may use the handle of a registration that has ended for the next one.
    auto const found = std::find_if(mRegistrations.rbegin(), mRegistrations.rend(),
                                    [=](CallbackRegistration const& aRegistration)
                                    { return aRegistration.mHandle == aHandle; });
    return found == mRegistrations.rend() ? 0 : found->mNumber;
}

void Session::beforeFork()
{
    mMutex.lock();
    if (mEvents)
    {
        mEvents->beforeFork();
    }
}

void Session::afterForkInParent()
{
    if (mEvents)
    {
        mEvents->afterForkInParent();
    }
    mMutex.unlock();
}

void Session::afterForkInChild()
{
    if (mEvents)
    {
        mEvents->afterForkInChild();
    }
    mMutex.unlock();
}
}  // namespace qzsim
