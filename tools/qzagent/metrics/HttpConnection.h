/// @file
/// A connection of an HTTP client.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <poll.h>

#include "tools/qzagent/cli/Descriptor.h"
#include "tools/qzagent/metrics/HttpRequest.h"

namespace qzagent
{
/// A text that many connections can send without a copy of it.
struct SharedText
{
    std::shared_ptr<void const> mOwner;  ///< keeps the text
    std::string_view mText;
};

/// @return the text with an owner
SharedText shared(std::string aText);

struct HttpResponse
{
    int mStatus;
    std::string mContentType;
    std::vector<SharedText> mBody;  ///< one behind the other
};

using HttpHandler = std::function<HttpResponse(HttpRequest const&)>;

/// Receives one request, sends the response and ends. Nothing waits for the client, and each step has a limit of time and
/// of size, whatever the client sends or does not send.
class HttpConnection
{
public:
    using Clock = std::chrono::steady_clock;

    /// The largest head of a request in bytes.
    static constexpr std::size_t largestHead = 8192;
    /// The time in which a client must send its request.
    static constexpr std::chrono::seconds timeForRequest{5};
    /// The time in which a client must receive the response.
    static constexpr std::chrono::seconds timeForResponse{10};
    /// The time in which a client must close the connection.
    static constexpr std::chrono::seconds timeToClose{1};

    /// @param aSocket is not blocking; the connection owns it
    HttpConnection(int aSocket, Clock::time_point aNow);

    /// Does what is possible at once.
    /// @param aHandler asked once, for a request of a known method; must not throw
    /// @return false when the connection has ended
    bool proceed(HttpHandler const& aHandler, Clock::time_point aNow);

    /// For poll(): ready when proceed() has something to do.
    pollfd descriptor() const;

    /// When proceed() must be called although the descriptor is not ready.
    Clock::time_point deadline() const { return mDeadline; }

private:
    enum class Step
    {
        receiving,
        sending,
        closing
    };

    bool receive(HttpHandler const& aHandler, Clock::time_point aNow);
    void answer(HttpHandler const& aHandler, bool aIsTooLarge);
    bool send(Clock::time_point aNow);
    bool discard();

    Descriptor mSocket;
    Clock::time_point mDeadline;
    Step mStep = Step::receiving;
    std::string mHead;                ///< of the request
    std::vector<SharedText> mUnsent;  ///< of the response
    std::size_t mDiscarded = 0;       ///< number of bytes after the request
};
}  // namespace qzagent
