/// @file
/// A small HTTP server for a program with one thread.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <vector>

#include <poll.h>

#include "tools/qzagent/cli/Descriptor.h"
#include "tools/qzagent/metrics/HttpConnection.h"
#include "tools/qzagent/metrics/ListenAddress.h"

namespace qzagent
{
/// Serves any number of clients with bounded memory, time and descriptors, without a thread: the program calls poll() with
/// the descriptors of the server and then serve(). A library with a thread for each connection can be blocked by as many
/// slow clients as it has threads.
class HttpServer
{
public:
    using Clock = HttpConnection::Clock;

    /// The largest number of connections. For a further one, the oldest connection is closed.
    static constexpr std::size_t mostConnections = 64;

    /// Listens at the address.
    /// @throws std::system_error "cannot listen at ADDRESS: ..."
    HttpServer(ListenAddress const& aAddress, HttpHandler aHandler);

    /// The address with the port that the system chose.
    ListenAddress const& address() const { return mAddress; }

    /// Appends the descriptors of the server for poll().
    void addDescriptors(std::vector<pollfd>& aDescriptors) const;

    /// When serve() must be called although no descriptor is ready; the largest time if never.
    Clock::time_point deadline() const;

    /// Accepts connections and serves them as far as possible at once.
    void serve(Clock::time_point aNow);

    /// Number of open connections.
    std::size_t size() const { return mConnections.size(); }

    /// Closes all descriptors, for a forked process.
    void close();

private:
    void accept(Clock::time_point aNow);

    ListenAddress mAddress;
    std::unique_ptr<Descriptor> mListener;
    HttpHandler const mHandler;
    std::list<HttpConnection> mConnections;  ///< the oldest first
    Clock::time_point mPauseEnd;             ///< until which no connection is accepted
};
}  // namespace qzagent
