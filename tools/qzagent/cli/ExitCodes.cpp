#include "tools/qzagent/cli/ExitCodes.h"

#include <array>

namespace qzagent
{
std::array<ExitCodeEntry, 3> const exitCodes{{
    {ExitCode::allWell, "all well", "Nothing needs to be done; notes may still be worth reading."},
    {ExitCode::failed, "something failed and was reported; the rest is shown",
     "Read the lines on standard error, or `messages` in the JSON; --trace shows the way there."},
    {ExitCode::misused, "misuse: the arguments were not understood, and nothing was done",
     "Correct the arguments; --help shows the verbs, and --help after a verb how it is used."},
}};
}  // namespace qzagent
