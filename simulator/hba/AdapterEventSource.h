/// @file
/// Sends the events of the HBA library to the callbacks that are registered for them.
#pragma once

#include <cstddef>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <hbaapi.h>

#include "simulator/scenario/AdapterEvents.h"
#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// A callback and the events that it receives.
struct EventRegistration
{
    EventGroup mGroup;
    std::optional<std::size_t> mAdapter;    ///< nothing: all adapters
    std::optional<HBA_WWN> mPort;           ///< nothing: all ports of the adapter
    std::optional<HBA_WWN> mRemotePort;     ///< nothing: all remote ports
    std::optional<HBA_UINT32> mStatistics;  ///< type of the events of statistics; nothing for other events
    std::function<void(AdapterEvent const& aEvent)> mCallback;
};

/// One thread sends the events of all series. The clock of a series starts with the first registration that matches it.
/// Callbacks run without a lock.
class AdapterEventSource
{
public:
    /// Calls update() when the world has changed. Runs without a lock.
    using Feed = std::function<void()>;

    /// @param aFeed called from time to time while there are registrations; may be empty
    explicit AdapterEventSource(std::vector<Adapter> const& aAdapters, Feed aFeed = {});

    ~AdapterEventSource() { end(); }
    AdapterEventSource(AdapterEventSource const&) = delete;
    AdapterEventSource& operator=(AdapterEventSource const&) = delete;

    /// @return the handle of the registration
    /// @throws std::system_error when a thread cannot be created
    HBA_CALLBACKHANDLE add(EventRegistration aRegistration);

    /// Does not wait for a running callback: the common library holds a lock that the callback may wait for.
    /// @return whether there was such a registration
    bool remove(HBA_CALLBACKHANDLE aHandle);

    /// Starts series for the registrations that exist now.
    /// @param aIsPaused whether no events are sent
    void update(bool aIsPaused, std::vector<InjectedAdapterEvent> const& aEvents);

    /// Ends all registrations. No callback runs after this, except the one that makes this call.
    void end();

    /// @name Around a fork
    /// The thread does not exist in the child process. It starts with the next registration there.
    /// @{
    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();
    /// @}

private:
    /// The thread shares it, because a callback may end the source.
    struct State;

    /// Stops the thread.
    /// @return the thread, which may still run
    std::thread stop();

    std::shared_ptr<State> mState;
    std::thread mThread;
};
}  // namespace qzsim
