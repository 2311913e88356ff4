/// @file
/// The commands of qzsimctl.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulator/control/Strikes.h"
#include "simulator/world/World.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// @return one line for each fault that has not struck as often as it should, and each change of the timeline that has not
///         happened
std::vector<std::string> unfinished(World& aWorld, Strikes const& aStrikes, World::Time aNow);

/// Answers commands. Each line of an answer starts with a blank, except the last one: "ok", "left" when something is
/// unfinished, or "error" and the reason.
class Commands
{
public:
    /// Both must outlive the object.
    Commands(World& aWorld, Strikes const& aStrikes) : mWorld(aWorld), mStrikes(aStrikes) {}

    /// @param aCommand one line, whatever a client sends
    std::string answer(std::string const& aCommand, World::Time aNow);

private:
    /// @return the answer
    /// @throws std::exception when the command is refused
    std::string perform(std::string_view aCommand, World::Time aNow);

    std::string setValue(std::string_view aArguments, World::Time aNow);
    std::string startOrEndFault(std::string_view aArguments, World::Time aNow);
    std::string change(tomlfile::TomlValue const& aTable, World::Time aNow);
    std::string verify(World::Time aNow);

    World& mWorld;
    Strikes const& mStrikes;
};
}  // namespace qzsim
