#include "tools/qzagent/capture/ForeignJson.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
constexpr std::size_t deepest = 100;

/// @param aBegin position behind the quotation mark that begins a string
/// @return the position behind the string
std::size_t endOfString(std::string_view aText, std::size_t aBegin)
{
    std::size_t position = aText.find_first_of("\"\\", aBegin);
    while (position < aText.size() && aText[position] == '\\')
    {
        position = aText.find_first_of("\"\\", position + 2);
    }
    return std::min(position, aText.size() - 1) + 1;
}
}  // namespace

void expectShallowJson(std::string_view aText)
{
    std::size_t depth = 0;
    for (std::size_t position = 0; position < aText.size();)
    {
        char const character = aText[position++];
        if (character == '"')
        {
            position = endOfString(aText, position);
        }
        else if (character == '[' || character == '{')
        {
            if (++depth > deepest)
            {
                throw DeepJsonError(fmt::format("nested more than {} levels deep", deepest));
            }
        }
        else if ((character == ']' || character == '}') && depth > 0)
        {
            --depth;
        }
    }
}
}  // namespace qzagent
