#include "simulator/control/SocketAddress.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

namespace qzsim
{
SocketAddress::SocketAddress(std::string const& aPath)
{
    constexpr std::size_t longest = sizeof mAddress.sun_path - 1;
    if (aPath.size() > longest)
    {
        throw std::runtime_error(
            fmt::format("the path of a socket must not be longer than {} bytes", longest));
    }
    mAddress.sun_family = AF_UNIX;
    std::copy(aPath.begin(), aPath.end(), mAddress.sun_path);
}
}  // namespace qzsim
