#include "tools/qzagent/cli/Terminal.h"

#include <cstdlib>
#include <cstring>

#include <langinfo.h>

namespace qzagent
{
bool understandsEscapes()
{
    char const* const terminal = std::getenv("TERM");
    return terminal == nullptr || std::strcmp(terminal, "dumb") != 0;
}

bool isUtf8() { return std::strcmp(::nl_langinfo(CODESET), "UTF-8") == 0; }
}  // namespace qzagent
