#include "tools/qzagent/cli/ExitCodes.h"

#include <array>

namespace qzagent
{
std::array<ExitCodeEntry, 4> const exitCodes{{
    {ExitCode::success, "success", "Nothing to do; notes can still be worth reading."},
    {ExitCode::failed,
     "something failed; the failure is reported and everything else is shown; diff: something changed; "
     "check: "
     "there are findings",
     "Read standard error, or `messages` in the JSON document; --trace shows more."},
    {ExitCode::misused, "usage error: the arguments are invalid, and nothing was done",
     "Correct the arguments; qzagent --help lists the verbs, qzagent VERB --help explains one."},
    {ExitCode::notSeen, "diff and check: not everything could be read; no change or finding is known",
     "Read standard error, and the lines of diff that begin with a question mark."},
}};
}  // namespace qzagent
