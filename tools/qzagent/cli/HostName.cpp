#include "tools/qzagent/cli/HostName.h"

#include <string>

#include <limits.h>
#include <unistd.h>

namespace qzagent
{
std::string hostName()
{
    char name[HOST_NAME_MAX + 1] = {};
    return ::gethostname(name, HOST_NAME_MAX) == 0 ? std::string(name) : std::string();
}
}  // namespace qzagent
