#include "tools/qzagent/capture/BoardInterface.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "tools/qzagent/capture/LinkTypes.h"

namespace qzagent
{
namespace
{
constexpr std::string_view startOfName = "board ";
}  // namespace

pcapng::Interface interfaceOfBoard(std::optional<std::uint32_t> const& aBoard,
                                   std::optional<qz::Wwn> const& aFirst,
                                   std::optional<qz::Wwn> const& aSecond)
{
    return {scopeDataLinkType, aBoard ? fmt::format("{}{}", startOfName, *aBoard) : "",
            aFirst ? fmt::format("{} {}", aFirst->text(), aSecond->text()) : ""};
}

std::optional<std::uint32_t> boardNamed(std::string_view aName)
{
    if (aName.substr(0, startOfName.size()) != startOfName)
    {
        return {};
    }
    aName.remove_prefix(startOfName.size());
    std::uint32_t number = 0;
    auto const [end, error] = std::from_chars(aName.data(), aName.data() + aName.size(), number);
    return error == std::errc() && end == aName.data() + aName.size() ? std::optional(number) : std::nullopt;
}
}  // namespace qzagent
