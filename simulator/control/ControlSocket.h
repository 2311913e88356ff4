/// @file
/// The socket through which qzsimctl controls a simulation.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <list>
#include <string>
#include <thread>

#include "simulator/control/Descriptor.h"

namespace qzsim
{
/// A socket that only its user may open, and a thread that answers commands on it. The thread belongs to the runner, so
/// no client can delay the simulated libraries. It blocks all signals.
///
/// A client sends commands, one per line, and gets the answer to each.
class ControlSocket
{
public:
    /// Returns the answer to a command, which ends with a line end.
    using Answer = std::function<std::string(std::string const& aCommand)>;

    static constexpr std::size_t longestCommand = 65536;
    static constexpr std::size_t mostClients = 16;

    /// Creates the socket, and replaces one that a killed simulation has left.
    /// @param aAnswer   must not throw
    /// @param aPatience a client that sends nothing and reads nothing for so long is disconnected
    /// @throws std::runtime_error when the socket cannot be created, or a simulation uses it
    ControlSocket(std::string aPath, Answer aAnswer,
                  std::chrono::milliseconds aPatience = std::chrono::seconds(10));

    /// Ends the thread and removes the socket.
    ~ControlSocket();
    ControlSocket(ControlSocket const&) = delete;
    ControlSocket& operator=(ControlSocket const&) = delete;

private:
    using Clock = std::chrono::steady_clock;

    struct Client
    {
        Descriptor mDescriptor;
        Clock::time_point mLastActive;
        std::string mReceived = {};
        std::string mToSend = {};
        bool mIsEnding = false;  ///< once everything is sent; what it still sends is dropped
    };

    void run();
    void accept();

    /// Receives, answers and sends what is possible without waiting.
    /// @return whether the client is still there
    bool serve(Client& aClient, short aEvents);
    bool receive(Client& aClient);
    bool send(Client& aClient);
    void answerCommands(Client& aClient);

    std::string const mPath;
    Answer const mAnswer;
    std::chrono::milliseconds const mPatience;
    Descriptor mSocket;
    Descriptor mStop;
    std::uint64_t mInode = 0;
    std::list<Client> mClients;
    std::thread mThread;
};
}  // namespace qzsim
