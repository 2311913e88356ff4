/// @file
/// Tables that map names in a file to values.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

namespace tomlfile
{
template <typename Value>
struct Named
{
    std::string_view mName;
    Value mValue;
};

/// @return the value with this name; nothing for an unknown name
template <typename Value, std::size_t count>
std::optional<Value> valueNamed(std::string_view aName, Named<Value> const (&aTable)[count])
{
    auto const found = std::find_if(std::begin(aTable), std::end(aTable),
                                    [aName](Named<Value> const& aEntry) { return aEntry.mName == aName; });
    return found == std::end(aTable) ? std::nullopt : std::optional(found->mValue);
}

/// @return all names, for messages: "ONLINE, OFFLINE, ..."
template <typename Value, std::size_t count>
std::string namesIn(Named<Value> const (&aTable)[count])
{
    std::string names;
    for (Named<Value> const& entry : aTable)
    {
        names.append(names.empty() ? "" : ", ").append(entry.mName);
    }
    return names;
}
}  // namespace tomlfile
