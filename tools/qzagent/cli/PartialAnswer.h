/// @file
/// The part of a verb's result that is known before the verb ends.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <utility>

#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// What is shown when a timeout ends the verb. Thread-safe.
class PartialAnswer
{
public:
    /// @return the part that is known and not yet written; none when the verb writes its output itself
    using Source = std::function<std::optional<Answer>()>;

    /// Sets the source. It is called on another thread while the verb runs, so it must be thread-safe.
    void provide(Source aSource)
    {
        std::lock_guard const lock(mMutex);
        mSource = std::move(aSource);
    }

    /// @return what the source returns; an empty answer without a source
    std::optional<Answer> get() const
    {
        std::lock_guard const lock(mMutex);
        return mSource ? mSource() : Answer();
    }

private:
    mutable std::mutex mMutex;
    Source mSource;
};

/// The source of a partial answer while this object exists, since a source may use what does not outlive it.
class ScopedSource
{
public:
    ScopedSource(PartialAnswer& aPartial, PartialAnswer::Source aSource) : mPartial(aPartial)
    {
        mPartial.provide(std::move(aSource));
    }
    ~ScopedSource()
    {
        mPartial.provide([last = std::move(mLast)] { return last; });
    }
    ScopedSource(ScopedSource const&) = delete;
    ScopedSource& operator=(ScopedSource const&) = delete;

    /// Sets what is shown from the end of this object on; by default an empty answer.
    void setLast(std::optional<Answer> aLast) { mLast = std::move(aLast); }

private:
    PartialAnswer& mPartial;
    std::optional<Answer> mLast = Answer();
};
}  // namespace qzagent
