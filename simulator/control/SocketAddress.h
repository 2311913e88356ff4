/// @file
/// Addresses of sockets in the file system.
#pragma once

#include <string>

#include <sys/socket.h>
#include <sys/un.h>

namespace qzsim
{
class SocketAddress
{
public:
    /// @throws std::runtime_error when the path is too long for a socket
    explicit SocketAddress(std::string const& aPath);

    /// The address as the system calls expect it.
    /// @{
    sockaddr const* get() const { return reinterpret_cast<sockaddr const*>(&mAddress); }
    static socklen_t size() { return sizeof(sockaddr_un); }
    /// @}

private:
    sockaddr_un mAddress{};
};
}  // namespace qzsim
