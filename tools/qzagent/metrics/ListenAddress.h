/// @file
/// Addresses at which a server listens.
#pragma once

#include <optional>
#include <string>

#include <netinet/in.h>
#include <sys/socket.h>

namespace qzagent
{
/// An IP address and a TCP port.
union ListenAddress
{
    sockaddr mAny;
    sockaddr_in mVersion4;
    sockaddr_in6 mVersion6;
};

/// @param aText such as "127.0.0.1:9912" or "[::1]:9912"; the port 0 stands for one that the system chooses
/// @return none for another text, such as a name that would have to be resolved
std::optional<ListenAddress> listenAddressIn(std::string const& aText);

/// @return the text from which listenAddressIn() makes the address
std::string textOf(ListenAddress const& aAddress);

/// @return whether only this host can reach the address
bool isLoopback(ListenAddress const& aAddress);

/// @return the size of the address for the system
socklen_t sizeOf(ListenAddress const& aAddress);
}  // namespace qzagent
