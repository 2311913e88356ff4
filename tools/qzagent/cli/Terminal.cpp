#include "tools/qzagent/cli/Terminal.h"

#include <cstdlib>
#include <cstring>

namespace qzagent
{
bool understandsEscapes()
{
    char const* const terminal = std::getenv("TERM");
    return terminal == nullptr || std::strcmp(terminal, "dumb") != 0;
}
}  // namespace qzagent
