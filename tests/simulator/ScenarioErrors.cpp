#include "tests/simulator/ScenarioErrors.h"

#include <cstddef>

#include "simulator/scenario/ScenarioReader.h"
#include "tests/support/ScratchFolder.h"
#include "toml/TomlError.h"

namespace
{
std::string without(std::string const& aPart, std::string aText)
{
    for (std::size_t at = aText.find(aPart); at != std::string::npos; at = aText.find(aPart))
    {
        aText.erase(at, aPart.size());
    }
    return aText;
}
}  // namespace

std::string errorOfFile(std::string const& aPath)
{
    try
    {
        qzsim::readScenario(aPath);
    }
    catch (tomlfile::TomlError const& error)
    {
        return error.what();
    }
    return "(no error)";
}

std::string errorOf(std::string const& aText)
{
    ScratchFolder const folder;
    return without(folder.path().string() + '/', errorOfFile(folder.write("bad.toml", aText)));
}
