#include "tools/qzagent/hba/HbaLimits.h"

#include <fmt/format.h>

#include "backend/sensor/agentcommon/include/Exceptions.h"

namespace qzagent
{
void expectAtMost(HBA_UINT32 aLimit, HBA_UINT32 aNumber, char const* aWhat)
{
    if (aNumber > aLimit)
    {
        throw QZCHbaapiEx(
            fmt::format("implausible number of {}: {} (at most {})", aWhat, aNumber, aLimit).c_str(), 802);
    }
}
}  // namespace qzagent
