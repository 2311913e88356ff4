#include "tools/qzagent/metrics/HttpServer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/socket.h>

namespace qzagent
{
namespace
{
/// Number of connections that are accepted before the others are served again.
constexpr int mostAtOnce = 16;
/// Time without new connections when the system has no room for one.
constexpr std::chrono::milliseconds pause(100);

[[noreturn]] void refuseAddress(ListenAddress const& aAddress)
{
    throw std::system_error(errno, std::generic_category(), "cannot listen at " + textOf(aAddress));
}

std::unique_ptr<Descriptor> listenAt(ListenAddress& aAddress)
{
    constexpr int mostPending = 128;
    auto listener = std::make_unique<Descriptor>(
        ::socket(aAddress.mAny.sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    int const socket = listener->number();
    int const isReused = 1;  // otherwise a server could not start again for a minute
    socklen_t size = sizeOf(aAddress);
    if (socket < 0 || ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &isReused, sizeof isReused) != 0 ||
        ::bind(socket, &aAddress.mAny, size) != 0 || ::listen(socket, mostPending) != 0 ||
        ::getsockname(socket, &aAddress.mAny, &size) != 0)
    {
        refuseAddress(aAddress);
    }
    return listener;
}
}  // namespace

HttpServer::HttpServer(ListenAddress const& aAddress, HttpHandler aHandler)
    : mAddress(aAddress), mListener(listenAt(mAddress)), mHandler(std::move(aHandler))
{
}

void HttpServer::addDescriptors(std::vector<pollfd>& aDescriptors) const
{
    if (mPauseEnd == Clock::time_point())
    {
        aDescriptors.push_back({mListener->number(), POLLIN, 0});
    }
    std::transform(mConnections.begin(), mConnections.end(), std::back_inserter(aDescriptors),
                   [](HttpConnection const& aConnection) { return aConnection.descriptor(); });
}

HttpServer::Clock::time_point HttpServer::deadline() const
{
    auto deadline = mPauseEnd == Clock::time_point() ? Clock::time_point::max() : mPauseEnd;
    for (HttpConnection const& connection : mConnections)
    {
        deadline = std::min(deadline, connection.deadline());
    }
    return deadline;
}

void HttpServer::serve(Clock::time_point aNow)
{
    auto const serveOne = [&](HttpConnection& aConnection) { return !aConnection.proceed(mHandler, aNow); };
    mConnections.remove_if(serveOne);
    if (aNow >= mPauseEnd)
    {
        mPauseEnd = {};
        accept(aNow);
    }
}

/// Most clients have sent their request before the connection is accepted, so it is served at once. Otherwise a flood of
/// connections could close it before.
void HttpServer::accept(Clock::time_point aNow)
{
    for (int i = 0; i < mostAtOnce; ++i)
    {
        int const socket = ::accept4(mListener->number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (socket < 0)
        {
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            {
                mPauseEnd = aNow + pause;
            }
            return;
        }
        if (mConnections.size() == mostConnections)
        {
            mConnections.pop_front();
        }
        mConnections.emplace_back(socket, aNow);
        if (!mConnections.back().proceed(mHandler, aNow))
        {
            mConnections.pop_back();
        }
    }
}

void HttpServer::close()
{
    mConnections.clear();
    mListener.reset();
}
}  // namespace qzagent
