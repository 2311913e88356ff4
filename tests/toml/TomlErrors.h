/// @file
/// TOML texts as values, and the errors in them.
#pragma once

#include <string>

#include "tests/support/ScratchFolder.h"
#include "toml/TomlError.h"
#include "toml/TomlValue.h"

/// @return the text without the folder of a position
inline std::string withoutFolder(std::string const& aText)
{
    std::string::size_type const name = aText.find("test.toml:");
    return name == std::string::npos ? aText : aText.substr(name);
}

/// @return the content of a file with this text, which is called test.toml
inline tomlfile::TomlValue valueOf(std::string const& aText)
{
    ScratchFolder const folder;
    return tomlfile::readToml(folder.write("test.toml", aText));
}

/// @return the error message of the action; a position in test.toml has no folder
template <typename Action>
std::string tomlErrorOf(Action aAction)
{
    try
    {
        aAction();
    }
    catch (tomlfile::TomlError const& error)
    {
        return withoutFolder(error.what());
    }
    return "(no error)";
}
