#include "tools/qzagent/capture/SectionComment.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
constexpr char escape = '%';
constexpr std::size_t digitsOfEscape = 2;

struct Key
{
    std::string_view mName;
    std::optional<std::string> SectionComment::*mValue;
};

constexpr Key keys[] = {
    {"uuid", &SectionComment::mUuid},
    {"boot_id", &SectionComment::mBootId},
    {"diagnostic_library", &SectionComment::mDiagnosticLibrary},
    {"driver", &SectionComment::mDriver},
};

std::string escaped(std::string const& aValue)
{
    std::string text;
    for (char const character : aValue)
    {
        bool const isPlain = character > ' ' && character <= '~' && character != escape;
        text += isPlain ? std::string(1, character)
                        : fmt::format("{}{:02x}", escape, static_cast<unsigned char>(character));
    }
    return text;
}

/// Keeps a % without two hexadecimal digits behind it.
std::string unescaped(std::string_view aText)
{
    std::string value;
    while (!aText.empty())
    {
        std::string_view const digits = aText.substr(1, digitsOfEscape);
        unsigned char byte = 0;
        auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        bool const isEscape = aText.front() == escape && digits.size() == digitsOfEscape &&
                              error == std::errc() && end == digits.data() + digits.size();
        value += isEscape ? static_cast<char>(byte) : aText.front();
        aText.remove_prefix(isEscape ? 1 + digitsOfEscape : 1);
    }
    return value;
}

void takeWord(SectionComment& aComment, std::string_view aWord)
{
    std::size_t const end = std::min(aWord.find('='), aWord.size());
    for (Key const& key : keys)
    {
        if (end != aWord.size() && key.mName == aWord.substr(0, end))
        {
            aComment.*key.mValue = unescaped(aWord.substr(end + 1));
        }
    }
}
}  // namespace

std::string formatSectionComment(SectionComment const& aComment)
{
    std::string text;
    for (Key const& key : keys)
    {
        if (std::optional<std::string> const& value = aComment.*key.mValue)
        {
            text += fmt::format("{}{}={}", text.empty() ? "" : " ", key.mName, escaped(*value));
        }
    }
    return text;
}

SectionComment parseSectionComment(std::string_view aText)
{
    SectionComment parsed;
    while (!aText.empty())
    {
        std::size_t const end = std::min(aText.find(' '), aText.size());
        takeWord(parsed, aText.substr(0, end));
        aText.remove_prefix(std::min(end + 1, aText.size()));
    }
    return parsed;
}
}  // namespace qzagent
