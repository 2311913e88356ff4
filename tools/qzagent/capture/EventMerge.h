/// @file
/// Merges the events of several captures.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/qzagent/capture/CaptureInput.h"
#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
/// Gives out the events of several captures by time. The events of one capture keep their order. An event without a
/// time comes before those with a time. Needs memory for one event of each capture. All captures are open at once, so
/// the process's limit of open files is raised to the hard limit.
class EventMerge
{
public:
    /// What merged captures contain besides events.
    struct Handlers
    {
        std::function<void(std::string const&)> mDamage;
        std::function<void()> mSection;
        std::function<void(CaptureOther const&)> mOther;  ///< a packet that is not an event
        std::function<void(CaptureLatencies const&)> mLatencies;
    };

    EventMerge(std::vector<std::string> const& aPaths, CaptureOptions const& aOptions,
               Handlers const& aHandlers);

    /// @return the next event, valid until the next call; null when there is none now
    /// @throws std::bad_alloc
    CaptureEvent const* next();

    /// Looks again for events of captures that had none.
    void refresh();

    /// Whether at least one capture could be read so far.
    bool hasRead() const { return mHasRead; }

    /// Whether next() will find nothing more.
    bool hasEnded() const { return mHeap.empty() && mLast == nullptr && mIdle.empty(); }

private:
    struct Input
    {
        CaptureInput mInput;
        std::size_t mNumber;
        CaptureEvent mEvent;
    };

    static bool isLater(Input const* aLeft, Input const* aRight);
    void fill(Input& aInput);
    bool read(Input& aInput);
    bool take(Input& aInput, CaptureItem const& aItem);

    Handlers const mHandlers;
    std::vector<std::unique_ptr<Input>> mInputs;
    std::vector<Input*> mHeap;  ///< inputs with an event
    std::vector<Input*> mIdle;  ///< inputs that may have an event later
    Input* mLast = nullptr;     ///< the input of the event that was given out last
    bool mHasRead = false;
};
}  // namespace qzagent
