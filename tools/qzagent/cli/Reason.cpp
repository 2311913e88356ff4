#include "tools/qzagent/cli/Reason.h"

#include <exception>
#include <new>
#include <string>

namespace qzagent
{
std::string reasonOf(std::exception const& aException)
{
    bool const isMemory = dynamic_cast<std::bad_alloc const*>(&aException) != nullptr;
    return isMemory ? "not enough memory" : aException.what();
}
}  // namespace qzagent
