#include "tools/qzagent/capture/EventMerge.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include <sys/resource.h>

namespace qzagent
{
namespace
{
/// Opening a file reports that the limit is too low.
void raiseLimitOfOpenFiles()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0)
    {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}
}  // namespace

EventMerge::EventMerge(std::vector<std::string> const& aPaths, CaptureOptions const& aOptions,
                       Handlers const& aHandlers)
    : mHandlers(aHandlers)
{
    raiseLimitOfOpenFiles();
    for (std::string const& path : aPaths)
    {
        try
        {
            mInputs.push_back(
                std::make_unique<Input>(Input{CaptureInput(path, aOptions), mInputs.size(), CaptureEvent()}));
            mIdle.push_back(mInputs.back().get());
        }
        catch (CaptureError const& error)
        {
            mHandlers.mDamage(error.what());
        }
    }
    refresh();
}

CaptureEvent const* EventMerge::next()
{
    if (mLast != nullptr)
    {
        fill(*std::exchange(mLast, nullptr));
    }
    if (mHeap.empty())
    {
        return nullptr;
    }
    std::pop_heap(mHeap.begin(), mHeap.end(), &isLater);
    mLast = mHeap.back();
    mHeap.pop_back();
    return &mLast->mEvent;
}

void EventMerge::refresh()
{
    for (Input* const input : std::exchange(mIdle, {}))
    {
        fill(*input);
    }
}

bool EventMerge::isLater(Input const* aLeft, Input const* aRight)
{
    return std::tie(aLeft->mEvent.mOrigin.mTime, aLeft->mNumber) >
           std::tie(aRight->mEvent.mOrigin.mTime, aRight->mNumber);
}

/// Reads the next event of an input.
void EventMerge::fill(Input& aInput)
{
    if (read(aInput))
    {
        mHeap.push_back(&aInput);
        std::push_heap(mHeap.begin(), mHeap.end(), &isLater);
    }
    else if (!aInput.mInput.hasEnded())
    {
        mIdle.push_back(&aInput);
    }
}

/// @return whether the input has an event
bool EventMerge::read(Input& aInput)
{
    try
    {
        for (;;)
        {
            std::optional<CaptureItem> const item = aInput.mInput.next();
            mHasRead = true;
            if (!item)
            {
                return false;
            }
            if (take(aInput, *item))
            {
                return true;
            }
        }
    }
    catch (CaptureError const& error)
    {
        mHandlers.mDamage(error.what());
        aInput.mInput.close();
        return false;
    }
}

/// @return whether the item has an event
bool EventMerge::take(Input& aInput, CaptureItem const& aItem)
{
    if (auto const* const event = std::get_if<CaptureEvent>(&aItem))
    {
        aInput.mEvent = *event;
        return true;
    }
    if (auto const* const counts = std::get_if<CaptureCounts>(&aItem))
    {
        aInput.mEvent = counts->mDrops;
        return counts->mDrops.mDropped != 0;
    }
    if (auto const* const damage = std::get_if<CaptureDamage>(&aItem))
    {
        mHandlers.mDamage(damage->mText);
    }
    else if (std::holds_alternative<CaptureSectionStart>(aItem))
    {
        mHandlers.mSection();
    }
    else if (auto const* const latencies = std::get_if<CaptureLatencies>(&aItem))
    {
        mHandlers.mLatencies(*latencies);
    }
    else
    {
        mHandlers.mOther(std::get<CaptureOther>(aItem));
    }
    return false;
}
}  // namespace qzagent
