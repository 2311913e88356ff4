#include "tools/qzagent/cli/ExitCodes.h"

#include <array>

namespace qzagent
{
std::array<ExitCodeEntry, 3> const exitCodes{{
    {ExitCode::success, "success", "Nothing to do; notes can still be worth reading."},
    {ExitCode::failed, "something failed; the failure is reported and everything else is shown",
     "Read standard error, or `messages` in the JSON document; --trace shows more."},
    {ExitCode::misused, "usage error: the arguments are invalid, and nothing was done",
     "Correct the arguments; qzagent --help lists the verbs, qzagent VERB --help explains one."},
}};
}  // namespace qzagent
