/// @file
/// The ways in which a World Wide Name can be written.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "agentkit/include/Wwn.h"

inline std::string inLowerCase(std::string aText)
{
    std::transform(aText.begin(), aText.end(), aText.begin(),
                   [](unsigned char aCharacter) { return static_cast<char>(std::tolower(aCharacter)); });
    return aText;
}

/// @return the bytes in hexadecimal
inline std::string inGroups(std::string const& aBytes, std::size_t aGroup, char const* aSeparator)
{
    std::string text;
    for (std::size_t i = 0; i < aBytes.size(); ++i)
    {
        text += fmt::format("{}{:02x}", i != 0 && i % aGroup == 0 ? aSeparator : "",
                            static_cast<unsigned char>(aBytes[i]));
    }
    return text;
}

/// @return the spellings of a name, and its bytes, all in both orders; the bytes last
inline std::vector<std::string> spellingsOf(std::string const& aName)
{
    std::vector<std::string> spellings;
    auto bytes = qz::Wwn::parse(aName)->bytes();
    std::string const inOrder(bytes.begin(), bytes.end());
    std::reverse(bytes.begin(), bytes.end());
    std::string const reversed(bytes.begin(), bytes.end());
    for (std::string const& order : {inOrder, reversed})
    {
        for (std::size_t const group : {1U, 2U, 4U})
        {
            for (char const* const separator : {":", "-", ".", " ", "_"})
            {
                spellings.push_back(inGroups(order, group, separator));
            }
        }
        spellings.push_back(inGroups(order, order.size(), ""));
    }
    spellings.push_back(inOrder);
    spellings.push_back(reversed);
    return spellings;
}
