/// @file
/// The situations in which code may have to release what it owns.
#pragma once

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// Runs an action in its destructor, and ends the action's exception there.
class AtTheEnd
{
public:
    explicit AtTheEnd(std::function<void()> aAction) : mAction(std::move(aAction)) {}
    ~AtTheEnd()
    {
        try
        {
            mAction();
        }
        catch (std::exception const&)
        {
            // The propagating exception continues.
        }
    }
    AtTheEnd(AtTheEnd const&) = delete;
    AtTheEnd& operator=(AtTheEnd const&) = delete;

private:
    std::function<void()> const mAction;
};

/// A situation with regard to other exceptions.
struct Circumstance
{
    std::string mName;
    std::function<void(std::function<void()> const&)> mRun;  ///< runs an action, and throws
};

inline std::vector<Circumstance> const circumstances = {
    {"by itself", [](std::function<void()> const& aAction) { aAction(); }},
    {"while an exception is handled",
     [](std::function<void()> const& aAction)
     {
         try
         {
             throw std::logic_error("another failure");
         }
         catch (std::logic_error const&)
         {
             aAction();
         }
     }},
    {"while an exception propagates",
     [](std::function<void()> const& aAction)
     {
         AtTheEnd const action(aAction);
         throw std::logic_error("another failure");
     }},
};
