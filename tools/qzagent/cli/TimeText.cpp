#include "tools/qzagent/cli/TimeText.h"

#include <chrono>
#include <ctime>
#include <string>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace qzagent
{
std::string timeText(std::chrono::system_clock::time_point aTime)
{
    using std::chrono::system_clock;
    auto const second = std::chrono::floor<std::chrono::seconds>(aTime);
    auto const rest = std::chrono::duration_cast<std::chrono::microseconds>(aTime - second);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(system_clock::to_time_t(second)),
                       rest.count());
}
}  // namespace qzagent
