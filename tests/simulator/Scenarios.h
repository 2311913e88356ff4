/// @file
/// Scenario texts, and a function to read them.
#pragma once

#include <string>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/ScenarioReader.h"
#include "tests/support/ScratchFolder.h"

constexpr char const* oneBoard =
    "[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:00\"\n"
    "second_wwn = \"10:00:00:00:00:00:00:01\"\n";

/// @return this many boards, at most 90, with different names; three lines each
inline std::string boards(int aCount)
{
    constexpr int firstNumber = 10;
    std::string text;
    for (int number = firstNumber; number < firstNumber + aCount; ++number)
    {
        text +=
            "[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:00\"\n"
            "second_wwn = \"10:00:00:00:00:00:00:" +
            std::to_string(number) + "\"\n";
    }
    return text;
}

/// A port, to append to an adapter.
constexpr char const* onePort = "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n";

/// A remote port, to append to a port.
constexpr char const* oneRemotePort = "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\n";

inline qzsim::Scenario scenarioOf(std::string const& aText)
{
    ScratchFolder const folder;
    return qzsim::readScenario(folder.write("scenario.toml", aText));
}
