#include "simulator/control/ControlSocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "simulator/control/SignalBlock.h"
#include "simulator/control/SocketAddress.h"

namespace qzsim
{
namespace
{
constexpr int socketKind = SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK;

[[noreturn]] void refuseSocket(std::string const& aPath, std::string const& aReason)
{
    throw std::runtime_error(fmt::format("cannot create the socket \"{}\": {}", aPath, aReason));
}

[[noreturn]] void refuseSocket(std::string const& aPath)
{
    refuseSocket(aPath, std::generic_category().message(errno));
}

/// Removes a socket that nobody serves.
void removeStale(std::string const& aPath, SocketAddress const& aAddress)
{
    struct stat status = {};
    if (::lstat(aPath.c_str(), &status) != 0)
    {
        return;
    }
    if (!S_ISSOCK(status.st_mode))
    {
        refuseSocket(aPath, "the file exists and is not a socket");
    }
    Descriptor const probe(::socket(AF_UNIX, socketKind, 0));
    if (::connect(probe.number(), aAddress.get(), SocketAddress::size()) == 0 || errno != ECONNREFUSED)
    {
        refuseSocket(aPath, "another process uses it");
    }
    ::unlink(aPath.c_str());
}

std::uint64_t inodeOf(std::string const& aPath)
{
    struct stat status = {};
    return ::lstat(aPath.c_str(), &status) == 0 ? status.st_ino : 0;
}

Descriptor listeningAt(std::string const& aPath)
{
    constexpr mode_t othersForbidden = 0177;
    SocketAddress const address(aPath);
    removeStale(aPath, address);
    Descriptor listener(::socket(AF_UNIX, socketKind, 0));
    mode_t const formerMask = ::umask(othersForbidden);
    bool const isBound = ::bind(listener.number(), address.get(), SocketAddress::size()) == 0;
    ::umask(formerMask);
    if (!isBound || ::listen(listener.number(), ControlSocket::mostClients) != 0)
    {
        refuseSocket(aPath);
    }
    return listener;
}

bool wouldBlock() { return errno == EAGAIN || errno == EINTR; }
}  // namespace

ControlSocket::ControlSocket(std::string aPath, Answer aAnswer, std::chrono::milliseconds aPatience)
    : mPath(std::move(aPath)),
      mAnswer(std::move(aAnswer)),
      mPatience(aPatience),
      mSocket(listeningAt(mPath)),
      mStop(::eventfd(0, EFD_CLOEXEC)),
      mInode(inodeOf(mPath))
{
    SignalBlock const signals;
    mThread = std::thread(&ControlSocket::run, this);
}

ControlSocket::~ControlSocket()
{
    ::eventfd_write(mStop.number(), 1);
    mThread.join();
    if (inodeOf(mPath) == mInode)  // another simulation may have taken the place
    {
        ::unlink(mPath.c_str());
    }
}

void ControlSocket::run()
{
    std::vector<pollfd> polled;
    while (polled.empty() || polled.front().revents == 0)
    {
        polled.assign({{mStop.number(), POLLIN, 0}});
        for (Client const& client : mClients)
        {
            bool const isSending = !client.mToSend.empty();
            polled.push_back(
                {client.mDescriptor.number(), static_cast<short>(isSending ? POLLOUT : POLLIN), 0});
        }
        if (mClients.size() < mostClients)
        {
            polled.push_back({mSocket.number(), POLLIN, 0});
        }
        ::poll(polled.data(), polled.size(), mClients.empty() ? -1 : static_cast<int>(mPatience.count()));
        std::size_t index = 0;
        bool const isCalled = mClients.size() < mostClients && polled.back().revents != 0;
        mClients.remove_if([&](Client& aClient) { return !serve(aClient, polled[++index].revents); });
        if (isCalled)
        {
            accept();
        }
    }
}

void ControlSocket::accept()
{
    Descriptor client(::accept4(mSocket.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (client.number() >= 0)
    {
        mClients.push_back({std::move(client), Clock::now()});
    }
}

bool ControlSocket::serve(Client& aClient, short aEvents)
{
    if (aEvents == 0)
    {
        return Clock::now() - aClient.mLastActive < mPatience;
    }
    aClient.mLastActive = Clock::now();
    return aClient.mToSend.empty() ? receive(aClient) : send(aClient);
}

bool ControlSocket::receive(Client& aClient)
{
    std::array<char, 4096> buffer;
    ssize_t const length = ::recv(aClient.mDescriptor.number(), buffer.data(), buffer.size(), 0);
    if (length <= 0)
    {
        return length < 0 && wouldBlock();
    }
    if (aClient.mIsEnding)
    {
        return true;
    }
    aClient.mReceived.append(buffer.data(), static_cast<std::size_t>(length));
    answerCommands(aClient);
    return aClient.mToSend.empty() || send(aClient);
}

void ControlSocket::answerCommands(Client& aClient)
{
    // One command at a time: the answers of a client that does not read them must not pile up.
    std::string& received = aClient.mReceived;
    std::size_t const end = received.find('\n');
    if (end <= longestCommand && end < received.size())
    {
        aClient.mToSend = mAnswer(received.substr(0, end));
        received.erase(0, end + 1);
    }
    else if (received.size() > longestCommand)
    {
        aClient.mToSend = fmt::format("error a command must not be longer than {} bytes\n", longestCommand);
        aClient.mIsEnding = true;
    }
}

bool ControlSocket::send(Client& aClient)
{
    while (!aClient.mToSend.empty())
    {
        ssize_t const length = ::send(aClient.mDescriptor.number(), aClient.mToSend.data(),
                                      aClient.mToSend.size(), MSG_NOSIGNAL);
        if (length < 0)
        {
            return wouldBlock();
        }
        aClient.mToSend.erase(0, static_cast<std::size_t>(length));
        if (aClient.mToSend.empty() && !aClient.mIsEnding)
        {
            answerCommands(aClient);
        }
    }
    if (aClient.mIsEnding)
    {
        // The system drops an answer when the socket is closed before everything is read, so the client closes first.
        ::shutdown(aClient.mDescriptor.number(), SHUT_WR);
    }
    return true;
}
}  // namespace qzsim
