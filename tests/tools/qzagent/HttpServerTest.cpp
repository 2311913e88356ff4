#include <cerrno>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <list>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/types.h>

#include "tools/qzagent/cli/Descriptor.h"
#include "tools/qzagent/metrics/HttpConnection.h"
#include "tools/qzagent/metrics/HttpServer.h"
#include "tools/qzagent/metrics/ListenAddress.h"

namespace
{
using qzagent::HttpConnection;
using qzagent::HttpRequest;
using qzagent::HttpResponse;
using qzagent::HttpServer;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// A client that never waits longer than the test needs.
class HttpClient
{
public:
    explicit HttpClient(qzagent::ListenAddress const& aAddress)
        : mSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        EXPECT_EQ(::connect(mSocket.number(), &aAddress.mAny, sizeOf(aAddress)), 0);
    }

    void send(std::string const& aText) const
    {
        ::send(mSocket.number(), aText.data(), aText.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }

    void endSending() const { ::shutdown(mSocket.number(), SHUT_WR); }

    /// Receives what has arrived.
    /// @return whether the server has ended the connection
    bool receive()
    {
        std::vector<char> buffer(65536);
        ssize_t size = 0;
        while ((size = ::recv(mSocket.number(), buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0)
        {
            mText.append(buffer.data(), static_cast<std::size_t>(size));
        }
        return size == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
    }

    std::string const& text() const { return mText; }

private:
    qzagent::Descriptor mSocket;
    std::string mText;
};

/// A server on a thread with its clients, whose clock the test sets.
class HttpServerTest : public testing::Test
{
protected:
    using Clock = HttpServer::Clock;

    HttpClient& connect() { return mClients.emplace_back(mServer.address()); }

    HttpClient& request(std::string const& aText)
    {
        HttpClient& client = connect();
        client.send(aText);
        return client;
    }

    /// Lets the server do what it can. The descriptors are ready when something is to be done.
    void serve()
    {
        std::vector<pollfd> descriptors;
        do
        {
            mServer.serve(mNow);
            descriptors.clear();
            mServer.addDescriptors(descriptors);
        } while (::poll(descriptors.data(), descriptors.size(), 1) > 0);
    }

    /// @return the whole response to a request
    std::string responseTo(std::string const& aText)
    {
        HttpClient& client = request(aText);
        while (!client.receive())
        {
            serve();
        }
        return client.text();
    }

    Clock::time_point mNow = Clock::now();
    std::vector<qzagent::SharedText> mBody{qzagent::shared("body\n")};
    std::vector<HttpRequest> mRequests;
    HttpServer mServer{*qzagent::listenAddressIn("127.0.0.1:0"), [this](HttpRequest const& aRequest)
                       {
                           mRequests.push_back(aRequest);
                           return HttpResponse{200, "text/plain", mBody};
                       }};
    std::list<HttpClient> mClients;
};

TEST_F(HttpServerTest, SendsTheResponseWithItsHead)
{
    EXPECT_EQ(responseTo("GET /metrics?a=b HTTP/1.1\r\nHost: a\r\naccept: x;q=1\r\nAccept:y\r\n\r\n"),
              "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 5\r\nConnection: close\r\n\r\n"
              "body\n");
    ASSERT_EQ(mRequests.size(), 1U);
    EXPECT_EQ(mRequests[0].mMethod, "GET");
    EXPECT_EQ(mRequests[0].mPath, "/metrics");
    EXPECT_EQ(mRequests[0].mAccept, " x;q=1,y");
}

TEST_F(HttpServerTest, AcceptsHttp10AndBareLineEnds)
{
    EXPECT_THAT(responseTo("GET / HTTP/1.0\n\n"), StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(HttpServerTest, AcceptsAWholeAddressAsTheTarget)
{
    for (auto const& [target, path] : std::vector<std::pair<std::string, std::string>>{
             {"http://a:9912/metrics?a=b", "/metrics"}, {"HTTP://a", "/"}, {"http://a?b=/c", "/"}})
    {
        EXPECT_THAT(responseTo("GET " + target + " HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 200 OK\r\n"));
        EXPECT_EQ(mRequests.back().mPath, path);
    }
    for (std::string const target : {"http://", "ftp://a/metrics", "metrics"})
    {
        EXPECT_THAT(responseTo("GET " + target + " HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    }
}

TEST_F(HttpServerTest, IgnoresOneEmptyLineBeforeARequest)
{
    for (std::string const end : {"\n", "\r\n"})
    {
        EXPECT_THAT(responseTo(end + "GET / HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 200 OK\r\n"));
        EXPECT_THAT(responseTo(end + end + "GET / HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    }
}

TEST_F(HttpServerTest, SendsNoBodyAfterHead)
{
    EXPECT_THAT(responseTo("HEAD / HTTP/1.1\r\n\r\n"), HasSubstr("Content-Length: 5\r\n"));
    EXPECT_THAT(mClients.back().text(), EndsWith("\r\n\r\n"));
}

TEST_F(HttpServerTest, RefusesOtherMethods)
{
    std::string const text = responseTo("POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_THAT(text, StartsWith("HTTP/1.1 405 Method Not Allowed\r\n"));
    EXPECT_THAT(text, HasSubstr("\r\nAllow: GET, HEAD\r\n"));
    EXPECT_TRUE(mRequests.empty());
}

TEST_F(HttpServerTest, RefusesWhatIsNoRequest)
{
    std::string const zero(1, '\0');
    for (std::string const& head :
         {std::string("\r\n"), std::string("GET\r\n"), std::string("GET /\r\n"),
          std::string(" / HTTP/1.1\r\n"), std::string("GET  HTTP/1.1\r\n"), std::string("GET a HTTP/1.1\r\n"),
          std::string("GET / b HTTP/1.1\r\n"), std::string("GET / HTTP/2.0\r\n"),
          std::string("GET / http/1.1\r\n"), std::string("GET /\x7f HTTP/1.1\r\n"),
          "GET /" + zero + " HTTP/1.1\r\n", std::string("GET / HTTP/1.1\r\nname\r\n"),
          std::string("GET / HTTP/1.1\r\n: a\r\n"), std::string("GET / HTTP/1.1\r\nHost : a\r\n"),
          std::string("GET / HTTP/1.1\r\nHost: a\r\n b\r\n"), "GET / HTTP/1.1\r\nHost: " + zero + "\r\n",
          std::string("\x16\x03\x01\x02\n")})
    {
        EXPECT_THAT(responseTo(head + "\r\n"), StartsWith("HTTP/1.1 400 Bad Request\r\n"))
            << testing::PrintToString(head);
    }
    EXPECT_TRUE(mRequests.empty());
}

TEST_F(HttpServerTest, AnswersAClientThatOnlyReceives)
{
    HttpClient& client = request("GET / HTTP/1.1\r\n\r\n");
    client.endSending();
    serve();
    client.receive();
    EXPECT_THAT(client.text(), EndsWith("\r\n\r\nbody\n"));
    EXPECT_EQ(mServer.size(), 0U);
}

TEST_F(HttpServerTest, EndsAConnectionWithoutAWholeRequest)
{
    HttpClient& client = request("GET / HTTP/1.1\r\n");
    client.endSending();
    serve();
    EXPECT_TRUE(client.receive());
    EXPECT_EQ(client.text(), "");
    EXPECT_EQ(mServer.size(), 0U);
}

TEST_F(HttpServerTest, ReadsARequestThatArrivesInPieces)
{
    HttpClient& client = connect();
    for (char const character : std::string("GET / HTTP/1.1\r\n\r\n"))
    {
        EXPECT_EQ(client.text(), "");
        client.send(std::string(1, character));
        serve();
        client.receive();
    }
    EXPECT_THAT(client.text(), StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(HttpServerTest, EndsAConnectionWhoseRequestIsSlow)
{
    HttpClient& client = connect();
    Clock::time_point const start = mNow;
    for (; mNow < start + HttpConnection::timeForRequest; mNow += std::chrono::seconds(1))
    {
        client.send("G");
        serve();
        EXPECT_FALSE(client.receive());
    }
    EXPECT_EQ(mServer.deadline(), mNow);
    serve();
    EXPECT_TRUE(client.receive());
    EXPECT_EQ(mServer.deadline(), Clock::time_point::max());
}

TEST_F(HttpServerTest, RefusesAHeadThatIsTooLarge)
{
    std::string const start = "GET / HTTP/1.1\r\na: ";
    std::string const largest = start + std::string(HttpConnection::largestHead - start.size() - 4, 'x');
    EXPECT_THAT(responseTo(largest + "\r\n\r\n"), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(responseTo(largest + "x\r\n\r\n"),
                StartsWith("HTTP/1.1 431 Request Header Fields Too Large\r\n"));
    EXPECT_THAT(responseTo(std::string(HttpConnection::largestHead, '\n')), StartsWith("HTTP/1.1 4"));
}

TEST_F(HttpServerTest, EndsAConnectionThatSendsWithoutEnd)
{
    HttpClient& client = request("GET / HTTP/1.1\r\n\r\n");
    std::size_t sent = 0;
    for (constexpr std::size_t size = 8192; mServer.size() > 0 || sent == 0; sent += size)
    {
        ASSERT_LT(sent, std::size_t{1} << 20U);
        client.send(std::string(size, 'x'));
        serve();
    }
}

TEST_F(HttpServerTest, EndsAConnectionThatTheClientDoesNotClose)
{
    request("GET / HTTP/1.1\r\n\r\n");
    serve();
    EXPECT_EQ(mServer.size(), 1U);
    mNow += HttpConnection::timeToClose;
    serve();
    EXPECT_EQ(mServer.size(), 0U);
}

TEST_F(HttpServerTest, SendsALargeResponseToAClientThatReadsSlowly)
{
    mBody = {qzagent::shared(std::string(std::size_t{16} << 20U, 'x'))};
    std::string const text = responseTo("GET / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(text.size() - text.find("\r\n\r\n") - 4, mBody.front().mText.size());
}

TEST_F(HttpServerTest, SendsThePartsOfAResponseOneBehindTheOther)
{
    std::string const large(std::size_t{5} << 20U, 'x');
    mBody = {
        qzagent::shared("a"), {}, qzagent::shared(large), qzagent::shared(large + "b"), qzagent::shared("c")};
    std::string const text = responseTo("GET / HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(text.substr(text.find("\r\n\r\n") + 4) == "a" + large + large + "bc");
}

TEST_F(HttpServerTest, SendsAnEmptyResponse)
{
    mBody = {};
    EXPECT_THAT(responseTo("GET / HTTP/1.1\r\n\r\n"), HasSubstr("Content-Length: 0\r\n"));
}

TEST_F(HttpServerTest, AnswersOnlyTheFirstOfSeveralRequests)
{
    std::string const request = "GET / HTTP/1.1\r\n\r\n";
    EXPECT_THAT(responseTo(request + request + request), EndsWith("\r\n\r\nbody\n"));
    EXPECT_EQ(mRequests.size(), 1U);
}

TEST_F(HttpServerTest, EndsAConnectionThatDoesNotReadItsResponse)
{
    mBody = {qzagent::shared(std::string(std::size_t{16} << 20U, 'x'))};
    request("GET / HTTP/1.1\r\n\r\n");
    serve();
    EXPECT_EQ(mServer.size(), 1U);
    mNow += HttpConnection::timeForResponse;
    serve();
    EXPECT_EQ(mServer.size(), 0U);
}

TEST_F(HttpServerTest, EndsAConnectionWhoseClientHasLeft)
{
    mBody = {qzagent::shared(std::string(std::size_t{16} << 20U, 'x'))};
    request("GET / HTTP/1.1\r\n\r\n");
    serve();
    mClients.clear();
    serve();
    EXPECT_EQ(mServer.size(), 0U);
}

TEST_F(HttpServerTest, ClosesTheOldestConnectionForOneThatIsTooMany)
{
    for (std::size_t i = 0; i < HttpServer::mostConnections; ++i)
    {
        connect();
    }
    serve();
    EXPECT_EQ(mServer.size(), HttpServer::mostConnections);
    EXPECT_FALSE(mClients.front().receive());
    EXPECT_THAT(responseTo("GET / HTTP/1.1\r\n\r\n"), EndsWith("body\n"));
    EXPECT_TRUE(mClients.front().receive());
    EXPECT_FALSE(std::next(mClients.begin())->receive());
}

TEST_F(HttpServerTest, PausesWhileTheSystemHasNoDescriptorLeft)
{
    HttpClient& client = request("GET / HTTP/1.1\r\n\r\n");
    rlimit usual{};
    ::getrlimit(RLIMIT_NOFILE, &usual);
    rlimit const none{0, usual.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    mServer.serve(mNow);
    ::setrlimit(RLIMIT_NOFILE, &usual);
    std::vector<pollfd> descriptors;
    mServer.addDescriptors(descriptors);
    EXPECT_TRUE(descriptors.empty());
    EXPECT_GT(mServer.deadline(), mNow);
    mNow = mServer.deadline();
    serve();
    client.receive();
    EXPECT_THAT(client.text(), EndsWith("body\n"));
}

TEST_F(HttpServerTest, RefusesAnAddressInUse)
{
    try
    {
        HttpServer const second(mServer.address(), nullptr);
        FAIL();
    }
    catch (std::system_error const& error)
    {
        EXPECT_EQ(error.what(), "cannot listen at " + textOf(mServer.address()) + ": Address already in use");
    }
}

TEST_F(HttpServerTest, LeavesItsClientsToTheOtherProcessAfterAFork)
{
    HttpClient& client = connect();
    serve();
    mServer.close();
    EXPECT_TRUE(client.receive());
    EXPECT_EQ(mServer.size(), 0U);
}
}  // namespace
