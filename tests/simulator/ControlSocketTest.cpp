// The socket of qzsim --control, with clients of all kinds.
#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "simulator/control/ControlSocket.h"
#include "simulator/control/Descriptor.h"
#include "simulator/control/SocketAddress.h"
#include "tests/support/ScratchFolder.h"

using qzsim::ControlSocket;
using qzsim::Descriptor;
using qzsim::SocketAddress;
using testing::HasSubstr;

namespace
{
namespace fs = std::filesystem;

/// A client that gives up after a while.
class TestClient
{
public:
    explicit TestClient(std::string const& aPath) : mSocket(::socket(AF_UNIX, SOCK_STREAM, 0))
    {
        timeval const patience{20, 0};
        ::setsockopt(mSocket.number(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        SocketAddress const address(aPath);
        mIsConnected = ::connect(mSocket.number(), address.get(), SocketAddress::size()) == 0;
    }

    bool isConnected() const { return mIsConnected; }

    void send(std::string const& aText) const
    {
        ::send(mSocket.number(), aText.data(), aText.size(), MSG_NOSIGNAL);
    }

    /// @return the next bytes; empty when the server has ended the connection
    std::string receive() const
    {
        std::array<char, 65536> buffer;
        ssize_t const length = ::recv(mSocket.number(), buffer.data(), buffer.size(), 0);
        return std::string(buffer.data(), length < 0 ? 0 : static_cast<std::size_t>(length));
    }

    /// @return whether the server has ended the connection, and not reset it
    bool isEndOfAnswers() const
    {
        char byte = 0;
        return ::recv(mSocket.number(), &byte, sizeof byte, 0) == 0;
    }

    /// @return what follows, as long as the text
    std::string receive(std::size_t aLength) const
    {
        std::string text;
        while (text.size() < aLength)
        {
            std::string const part = receive();
            if (part.empty())
            {
                break;
            }
            text += part;
        }
        return text;
    }

private:
    Descriptor mSocket;
    bool mIsConnected = false;
};

class ControlSocketServer : public testing::Test
{
protected:
    std::unique_ptr<ControlSocket> serve(std::chrono::milliseconds aPatience = std::chrono::seconds(60))
    {
        return std::make_unique<ControlSocket>(
            mPath, [](std::string const& aCommand) { return "<" + aCommand + ">\n"; }, aPatience);
    }

    std::string error()
    {
        try
        {
            serve();
        }
        catch (std::runtime_error const& error)
        {
            return error.what();
        }
        return "(no error)";
    }

    ScratchFolder mFolder;
    std::string mPath = mFolder.path() / "socket";
};

TEST_F(ControlSocketServer, AnswersEachCommandInOrder)
{
    auto const server = serve();
    TestClient const client(mPath);
    client.send("one\ntw");
    EXPECT_EQ(client.receive(), "<one>\n");
    client.send("o\nthree\n");
    EXPECT_EQ(client.receive(14), "<two>\n<three>\n");
}

TEST_F(ControlSocketServer, OnlyTheUserMayOpenIt)
{
    auto const server = serve();
    struct stat status = {};
    ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFSOCK | 0600));
}

TEST_F(ControlSocketServer, RemovesTheSocketAtTheEnd)
{
    serve();
    EXPECT_FALSE(fs::exists(mPath));
}

TEST_F(ControlSocketServer, KeepsAFileThatHasTakenThePlaceOfTheSocket)
{
    auto server = serve();
    fs::rename(mPath, mPath + ".old");
    mFolder.write("socket", "x");
    server.reset();
    EXPECT_TRUE(fs::exists(mPath));
}

TEST_F(ControlSocketServer, ReplacesASocketThatNobodyServes)
{
    Descriptor stale(::socket(AF_UNIX, SOCK_STREAM, 0));
    SocketAddress const address(mPath);
    ASSERT_EQ(::bind(stale.number(), address.get(), SocketAddress::size()), 0);
    stale = Descriptor(-1);
    auto const server = serve();
    TestClient const client(mPath);
    client.send("a\n");
    EXPECT_EQ(client.receive(), "<a>\n");
}

TEST_F(ControlSocketServer, RefusesASocketThatIsInUse)
{
    auto const server = serve();
    EXPECT_EQ(error(), "cannot create the socket \"" + mPath + "\": another process uses it");
    EXPECT_TRUE(TestClient(mPath).isConnected());
}

TEST_F(ControlSocketServer, RefusesAFileThatIsNoSocket)
{
    mFolder.write("socket", "x");
    EXPECT_EQ(error(), "cannot create the socket \"" + mPath + "\": the file exists and is not a socket");
    EXPECT_TRUE(fs::exists(mPath));
}

TEST_F(ControlSocketServer, RefusesAPathThatIsTooLongOrHasNoFolder)
{
    mPath = mFolder.path() / "none" / "socket";
    EXPECT_THAT(error(), HasSubstr("No such file or directory"));
    mPath = mFolder.path() / std::string(108, 'x');
    EXPECT_EQ(error(), "the path of a socket must not be longer than 107 bytes");
}

TEST_F(ControlSocketServer, EndsTheConnectionAfterACommandThatIsTooLong)
{
    auto const server = serve();
    TestClient const client(mPath);
    client.send(std::string(ControlSocket::longestCommand, 'x') + "\n");
    EXPECT_EQ(client.receive(ControlSocket::longestCommand + 3).size(), ControlSocket::longestCommand + 3);
    client.send(std::string(ControlSocket::longestCommand + 1, 'x'));
    EXPECT_EQ(client.receive(), "error a command must not be longer than 65536 bytes\n");
    EXPECT_EQ(client.receive(), "");
}

TEST_F(ControlSocketServer, ClientThatSendsMuchMoreThanACommandGetsTheAnswer)
{
    auto const server = serve();
    TestClient const client(mPath);
    client.send(std::string(ControlSocket::longestCommand + 40000, 'x'));
    EXPECT_EQ(client.receive(), "error a command must not be longer than 65536 bytes\n");
    EXPECT_TRUE(client.isEndOfAnswers());
}

TEST_F(ControlSocketServer, ClientThatSendsNothingDelaysNobody)
{
    auto const server = serve();
    TestClient const idle(mPath);
    TestClient const half(mPath);
    half.send("never comp");
    TestClient const client(mPath);
    client.send("a\n");
    EXPECT_EQ(client.receive(), "<a>\n");
}

TEST_F(ControlSocketServer, ClientThatReadsNothingDelaysNobody)
{
    auto const server = serve();
    TestClient const deaf(mPath);
    std::string const command = std::string(60000, 'x') + '\n';
    deaf.send(command);
    deaf.send("b\n");
    TestClient const client(mPath);
    client.send("a\n");
    EXPECT_EQ(client.receive(), "<a>\n");
    EXPECT_EQ(deaf.receive(60003 + 4).size(), 60003U + 4U);
}

TEST_F(ControlSocketServer, DisconnectsIdleClientsSoThatOthersGetTheirTurn)
{
    auto const server = serve(std::chrono::milliseconds(50));
    std::vector<std::unique_ptr<TestClient>> idle;
    for (std::size_t number = 0; number < ControlSocket::mostClients; ++number)
    {
        idle.push_back(std::make_unique<TestClient>(mPath));
    }
    TestClient const client(mPath);
    client.send("a\n");
    EXPECT_EQ(client.receive(), "<a>\n");
    EXPECT_EQ(idle.front()->receive(), "");
}

TEST_F(ControlSocketServer, SurvivesAClientThatLeavesBeforeTheAnswer)
{
    auto const server = serve();
    for (int number = 0; number < 20; ++number)
    {
        TestClient(mPath).send(std::string(60000, 'x') + "\na\nb\n");
    }
    TestClient const client(mPath);
    client.send("a\n");
    EXPECT_EQ(client.receive(), "<a>\n");
}
}  // namespace
