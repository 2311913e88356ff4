/// @file
/// A result whose parts become known one after another.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// Collects the items of a result, such as adapters. All items that are known within half a second form one table. If
/// the next item takes longer, the items so far are written as text, so that an item that hangs does not hide them. In
/// JSON nothing is written early. When a timeout ends the verb, the items so far are its result.
template <typename Item>
class GradualAnswer
{
public:
    using Keys = std::function<nlohmann::ordered_json(std::vector<Item> const&)>;

    /// Takes all items and the index of the first one to show. Not called without items to show.
    using Text = std::function<std::string(std::vector<Item> const&, std::size_t)>;

    GradualAnswer(Setting const& aSetting, Keys aKeys, Text aText)
        : mSetting(aSetting), mKeys(std::move(aKeys)), mText(std::move(aText))
    {
        mSetting.mPartial.provide([this] { return partial(); });
        if (!mSetting.mIsJson)
        {
            mThread = std::thread([this] { showEarly(); });
        }
    }
    ~GradualAnswer()
    {
        mSetting.mPartial.provide({});
        stop();
    }
    GradualAnswer(GradualAnswer const&) = delete;
    GradualAnswer& operator=(GradualAnswer const&) = delete;

    void add(Item aItem)
    {
        std::lock_guard const lock(mMutex);
        mItems.push_back(std::move(aItem));
        mChange.notify_one();
    }

    /// @return the items so far, without the text that has been written. It is the partial answer of the verb, unless the
    ///         verb provides another one. Thread-safe
    Answer partial()
    {
        std::lock_guard const lock(mMutex);
        return unshown();
    }

    /// @return the result without the text that has been written
    /// @throws std::system_error when the text could not be written
    Answer rest()
    {
        stop();
        if (mError)
        {
            std::rethrow_exception(mError);
        }
        return unshown();
    }

    /// All items; call it only after rest().
    std::vector<Item> const& items() const { return mItems; }

private:
    /// Makes only the form that is shown, because a large result takes long in each form.
    Answer unshown() const
    {
        Answer answer;
        if (mSetting.mIsJson)
        {
            answer.mKeys = mKeys(mItems);
        }
        else if (mShown < mItems.size())
        {
            answer.mText = mText(mItems, mShown);
        }
        return answer;
    }

    void stop()
    {
        if (!mThread.joinable())
        {
            return;
        }
        {
            std::lock_guard const lock(mMutex);
            mIsEnded = true;
            mChange.notify_one();
        }
        mThread.join();
    }

    void showEarly()
    {
        constexpr std::chrono::milliseconds delay(500);
        std::unique_lock lock(mMutex);
        while (!mIsEnded && !mError)
        {
            std::size_t const known = mItems.size();
            auto const isChanged = [this, known] { return mIsEnded || mItems.size() > known; };
            if (known == mShown)
            {
                mChange.wait(lock, isChanged);
            }
            else if (!mChange.wait_for(lock, delay, isChanged))
            {
                std::string const text = mText(mItems, mShown);
                mShown = known;
                lock.unlock();
                write(text);
                lock.lock();
            }
        }
    }

    void write(std::string const& aText)
    {
        try
        {
            mSetting.mReport.errors().eraseStatus();
            mSetting.mOutput.write(aText);
        }
        catch (std::exception const&)
        {
            std::lock_guard const lock(mMutex);
            mError = std::current_exception();
        }
    }

    Setting const& mSetting;
    Keys const mKeys;
    Text const mText;
    std::mutex mMutex;
    std::condition_variable mChange;
    std::vector<Item> mItems;
    std::size_t mShown = 0;  ///< number of the first items that have been written
    std::exception_ptr mError;
    bool mIsEnded = false;
    std::thread mThread;
};
}  // namespace qzagent
