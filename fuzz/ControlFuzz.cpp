// Sends commands to a simulation, one per line. Each has one printable answer, and the world stays valid.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <exception>
#include <string>

#include "fuzz/Fuzz.h"
#include "simulator/control/Strikes.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/world/Commands.h"
#include "simulator/world/World.h"
#include "toml/TomlValue.h"

namespace
{
constexpr char const* content = R"(
[[adapter]]
name = "a"
[[adapter.port]]
port_wwn = "10:00:00:00:00:00:00:01"
statistics_per_second = { tx_frames = 1000 }
[[adapter.port.remote]]
port_wwn = "50:00:00:00:00:00:00:01"
luns = 2
[[adapter.port.remote.lun]]
lun = 1
fcp_statistics_per_second = { input_requests = 1000 }
[[diagnostics.board]]
first_wwn = "20:00:00:00:00:00:00:00"
second_wwn = "10:00:00:00:00:00:00:01"
[[fault]]
name = "f"
active = false
call = "HBA_OpenAdapter"
nth = 1
status = 1
[[timeline]]
at_ms = 5
fault_start = "f"
)";

constexpr std::size_t mostCommands = 20;

bool isPrintable(std::string const& aText)
{
    return std::none_of(aText.begin(), aText.end(),
                        [](char aCharacter)
                        {
                            auto const byte = static_cast<unsigned char>(aCharacter);
                            return (byte < ' ' && byte != '\n') || byte == 0x7f;
                        });
}

/// Whether the text consists of lines that start with a blank, and a last one that tells the result.
bool isAnswer(std::string aText)
{
    while (!aText.empty() && aText.front() == ' ')
    {
        aText.erase(0, std::min(aText.find('\n'), aText.size() - 1) + 1);
    }
    return aText == "ok\n" || aText == "left\n" ||
           (aText.compare(0, 6, "error ") == 0 && aText.find('\n') == aText.size() - 1);
}
}  // namespace

void fuzz::check(Input aInput)
{
    qzsim::World world(tomlfile::readToml("world", content));
    qzsim::Strikes const strikes;
    qzsim::Commands commands(world, strikes);
    std::string rest(aInput.data(), aInput.data() + aInput.size());
    for (std::size_t number = 0; number < mostCommands && !rest.empty(); ++number)
    {
        std::size_t const end = std::min(rest.find('\n'), rest.size());
        std::string const answer = commands.answer(rest.substr(0, end), std::chrono::milliseconds(number));
        rest.erase(0, end + 1);
        expect(isAnswer(answer), "a command has one answer");
        expect(isPrintable(answer), "an answer is printable");
        expect(!summaryOf(*world.at(std::chrono::milliseconds(number))).empty(), "the world is a scenario");
    }
}
