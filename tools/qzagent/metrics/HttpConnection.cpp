#include "tools/qzagent/metrics/HttpConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/uio.h>

namespace qzagent
{
namespace
{
constexpr int badRequest = 400;
constexpr int methodNotAllowed = 405;
constexpr int headTooLarge = 431;

struct Reason
{
    int mStatus;
    char const* mText;
};

constexpr Reason reasons[] = {{200, "OK"},
                              {badRequest, "Bad Request"},
                              {404, "Not Found"},
                              {methodNotAllowed, "Method Not Allowed"},
                              {headTooLarge, "Request Header Fields Too Large"},
                              {503, "Service Unavailable"}};

std::string statusLine(int aStatus)
{
    auto const* const found = std::find_if(std::begin(reasons), std::end(reasons),
                                           [=](Reason const& aReason) { return aReason.mStatus == aStatus; });
    return fmt::format("{} {}", aStatus, found->mText);
}

HttpResponse refusal(int aStatus)
{
    return {aStatus, "text/plain; charset=utf-8", {shared(statusLine(aStatus) + "\n")}};
}

/// Removes bytes from the start of the texts.
void removeBytes(std::size_t aCount, std::vector<SharedText>& aTexts)
{
    auto text = aTexts.begin();
    for (; text != aTexts.end() && text->mText.size() <= aCount; ++text)
    {
        aCount -= text->mText.size();
    }
    if (text != aTexts.end())
    {
        text->mText.remove_prefix(aCount);
    }
    aTexts.erase(aTexts.begin(), text);
}

bool wouldBlock() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }
}  // namespace

SharedText shared(std::string aText)
{
    auto const owner = std::make_shared<std::string const>(std::move(aText));
    return {owner, *owner};
}

HttpConnection::HttpConnection(int aSocket, Clock::time_point aNow)
    : mSocket(aSocket), mDeadline(aNow + timeForRequest)
{
}

pollfd HttpConnection::descriptor() const
{
    return {mSocket.number(), static_cast<short>(mStep == Step::sending ? POLLOUT : POLLIN), 0};
}

bool HttpConnection::proceed(HttpHandler const& aHandler, Clock::time_point aNow)
{
    if (aNow >= mDeadline)
    {
        return false;
    }
    switch (mStep)
    {
        case Step::receiving:
            return receive(aHandler, aNow);
        case Step::sending:
            return send(aNow);
        default:
            return discard();
    }
}

bool HttpConnection::receive(HttpHandler const& aHandler, Clock::time_point aNow)
{
    std::array<char, largestHead> buffer{};
    ssize_t const size = ::recv(mSocket.number(), buffer.data(), buffer.size() - mHead.size(), 0);
    if (size <= 0)
    {
        return size < 0 && wouldBlock();
    }
    mHead.append(buffer.data(), static_cast<std::size_t>(size));
    std::size_t const end = sizeOfHead(mHead);
    if (end == 0 && mHead.size() < largestHead)
    {
        return true;
    }
    answer(aHandler, end == 0);
    mStep = Step::sending;
    mDeadline = aNow + timeForResponse;
    return send(aNow);
}

void HttpConnection::answer(HttpHandler const& aHandler, bool aIsTooLarge)
{
    std::optional<HttpRequest> const request = aIsTooLarge ? std::nullopt : requestIn(mHead);
    bool const isHead = request && request->mMethod == "HEAD";
    HttpResponse const response = !request ? refusal(aIsTooLarge ? headTooLarge : badRequest)
                                  : isHead || request->mMethod == "GET" ? aHandler(*request)
                                                                        : refusal(methodNotAllowed);
    std::size_t size = 0;
    for (SharedText const& text : response.mBody)
    {
        size += text.mText.size();
    }
    mUnsent.push_back(shared(
        fmt::format("HTTP/1.1 {}\r\nContent-Type: {}\r\nContent-Length: {}\r\n{}Connection: close\r\n\r\n",
                    statusLine(response.mStatus), response.mContentType, size,
                    response.mStatus == methodNotAllowed ? "Allow: GET, HEAD\r\n" : "")));
    if (!isHead)
    {
        mUnsent.insert(mUnsent.end(), response.mBody.begin(), response.mBody.end());
    }
}

bool HttpConnection::send(Clock::time_point aNow)
{
    while (!mUnsent.empty())
    {
        std::vector<iovec> parts;
        for (SharedText const& text : mUnsent)
        {
            parts.push_back({const_cast<char*>(text.mText.data()), text.mText.size()});
        }
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = parts.size();
        ssize_t const sent = ::sendmsg(mSocket.number(), &message, MSG_NOSIGNAL);
        if (sent < 0)
        {
            return wouldBlock();
        }
        removeBytes(static_cast<std::size_t>(sent), mUnsent);
    }
    // If bytes of the client were still unread at the end, the system would discard the end of the response.
    ::shutdown(mSocket.number(), SHUT_WR);
    mStep = Step::closing;
    mDeadline = aNow + timeToClose;
    return discard();
}

/// @return false when the client has closed the connection, or sends more than a rest of its request
bool HttpConnection::discard()
{
    constexpr std::size_t most = std::size_t{16} * largestHead;
    std::array<char, largestHead> buffer{};
    ssize_t const size = ::recv(mSocket.number(), buffer.data(), buffer.size(), 0);
    mDiscarded += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
    return size > 0 ? mDiscarded < most : size < 0 && wouldBlock();
}
}  // namespace qzagent
