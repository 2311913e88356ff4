#include "tools/qzagent/metrics/ListenAddress.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <arpa/inet.h>
#include <fmt/format.h>

namespace qzagent
{
namespace
{
std::optional<std::uint16_t> portNumberIn(std::string_view aText)
{
    std::uint16_t port = 0;
    char const* const end = aText.data() + aText.size();
    auto const [last, error] = std::from_chars(aText.data(), end, port);
    return error == std::errc() && last == end ? std::optional(port) : std::nullopt;
}
}  // namespace

std::optional<ListenAddress> listenAddressIn(std::string const& aText)
{
    std::size_t const colon = aText.rfind(':');
    if (colon == std::string::npos)
    {
        return {};
    }
    std::optional<std::uint16_t> const port = portNumberIn(std::string_view(aText).substr(colon + 1));
    if (!port)
    {
        return {};
    }
    std::string const host = aText.substr(0, colon);
    ListenAddress address = {};
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
    {
        address.mVersion6 = {};
        address.mVersion6.sin6_family = AF_INET6;
        address.mVersion6.sin6_port = htons(*port);
        bool const isAddress =
            ::inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &address.mVersion6.sin6_addr) == 1;
        return isAddress ? std::optional(address) : std::nullopt;
    }
    address.mVersion4.sin_family = AF_INET;
    address.mVersion4.sin_port = htons(*port);
    bool const isAddress = ::inet_pton(AF_INET, host.c_str(), &address.mVersion4.sin_addr) == 1;
    return isAddress ? std::optional(address) : std::nullopt;
}

std::string textOf(ListenAddress const& aAddress)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (aAddress.mAny.sa_family == AF_INET6)
    {
        ::inet_ntop(AF_INET6, &aAddress.mVersion6.sin6_addr, text.data(), text.size());
        return fmt::format("[{}]:{}", text.data(), ntohs(aAddress.mVersion6.sin6_port));
    }
    ::inet_ntop(AF_INET, &aAddress.mVersion4.sin_addr, text.data(), text.size());
    return fmt::format("{}:{}", text.data(), ntohs(aAddress.mVersion4.sin_port));
}

bool isLoopback(ListenAddress const& aAddress)
{
    constexpr unsigned int shiftOfFirstByte = 24;
    return aAddress.mAny.sa_family == AF_INET6
               ? IN6_IS_ADDR_LOOPBACK(&aAddress.mVersion6.sin6_addr)
               : ntohl(aAddress.mVersion4.sin_addr.s_addr) >> shiftOfFirstByte == IN_LOOPBACKNET;
}

socklen_t sizeOf(ListenAddress const& aAddress)
{
    return aAddress.mAny.sa_family == AF_INET6 ? sizeof aAddress.mVersion6 : sizeof aAddress.mVersion4;
}
}  // namespace qzagent
