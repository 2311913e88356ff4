// Reads scenarios. Each is accepted with a printable summary, or refused with the position of the mistake.
#include <algorithm>
#include <cstddef>
#include <string>

#include "fuzz/Fuzz.h"
#include "fuzz/MemoryFile.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/ScenarioReader.h"
#include "toml/TomlError.h"

namespace
{
bool isPrintable(std::string const& aText)
{
    return std::none_of(aText.begin(), aText.end(),
                        [](char aCharacter)
                        {
                            auto const byte = static_cast<unsigned char>(aCharacter);
                            return (byte < ' ' && byte != '\n') || byte == 0x7f;
                        });
}

/// Removes a number and a colon from the front.
bool takeNumber(std::string& aText)
{
    std::size_t const digits = std::min(aText.find_first_not_of("0123456789"), aText.size());
    bool const isNumber = digits != 0 && aText.compare(digits, 1, ":") == 0;
    aText.erase(0, digits + 1);
    return isNumber;
}

/// Whether the text begins as "file:line:column: ".
bool hasPlace(std::string const& aText, std::string const& aFile)
{
    std::string const start = aFile + ":";
    if (aText.compare(0, start.size(), start) != 0)
    {
        return false;
    }
    std::string rest = aText.substr(start.size());
    bool const hasLine = takeNumber(rest);
    bool const hasColumn = takeNumber(rest);
    return hasLine && hasColumn && rest.size() > 1 && rest[0] == ' ';
}
}  // namespace

void fuzz::check(Input aInput)
{
    static MemoryFile file;
    file.write(aInput.data(), aInput.size());
    try
    {
        std::string const summary = summaryOf(qzsim::readScenario(file.path()));
        expect(!summary.empty() && isPrintable(summary), "a scenario has a printable summary");
    }
    catch (tomlfile::TomlError const& error)
    {
        expect(hasPlace(error.what(), file.path()), "a refusal has the position");
        expect(isPrintable(error.what()), "a refusal is printable");
    }
}
