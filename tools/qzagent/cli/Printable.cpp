#include "tools/qzagent/cli/Printable.h"

#include <cstddef>
#include <cwchar>
#include <cwctype>
#include <string>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
/// @return number of bytes of the printable character at aPosition; 0 when there is none
std::size_t printableLength(std::string const& aText, std::size_t aPosition)
{
    if (aText.compare(aPosition, 2, "\\x") == 0)
    {
        return 0;
    }
    std::mbstate_t state{};
    wchar_t character = 0;
    std::size_t const left = aText.size() - aPosition;
    std::size_t const length = std::mbrtowc(&character, &aText[aPosition], left, &state);
    // For truncated and invalid characters mbrtowc() returns values that are larger than any length.
    bool const isPrintable = length <= left && std::iswprint(static_cast<std::wint_t>(character));
    return isPrintable ? length : 0;
}
}  // namespace

std::string printable(std::string const& aText)
{
    std::string result;
    for (std::size_t position = 0; position < aText.size();)
    {
        std::size_t const length = printableLength(aText, position);
        if (length == 0)
        {
            result += fmt::format("\\x{:02x}", static_cast<unsigned char>(aText[position]));
            ++position;
        }
        else
        {
            result.append(aText, position, length);
            position += length;
        }
    }
    return result;
}
}  // namespace qzagent
