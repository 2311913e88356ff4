#include "tools/qzagent/hba/TargetPorts.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>

#include <fmt/format.h>
#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/HbaWitness.h"
#include "agentkit/include/Wwn.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/cli/CurrentStep.h"

namespace qzagent
{
qz::TargetMappings targetMappingsOf(qz::Adapter& aAdapter)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds wait(100);
    Clock::time_point const end = Clock::now() + std::chrono::seconds(5);
    for (;;)
    {
        try
        {
            // Its own wait for a busy adapter would not be visible.
            return aAdapter.targetMappings(Clock::now());
        }
        catch (QZCHbaapiEx const&)
        {
            if (qz::lastHbaCall().mStatus != HBA_STATUS_ERROR_BUSY || Clock::now() >= end)
            {
                throw;
            }
        }
        setBusyCall(qz::lastHbaCall().mFunction);
        std::this_thread::sleep_for(wait);
    }
}

PortNames targetPortsIn(qz::TargetMappings const& aMappings)
{
    PortNames names;
    for (HBA_FCPSCSIENTRY const& mapping : aMappings)
    {
        names.emplace(mapping.FcpId.PortWWN);
    }
    names.erase(qz::Wwn());
    return names;
}

void expectNamedPorts(qz::TargetMappings const& aMappings)
{
    auto const numNameless = std::count_if(aMappings.begin(), aMappings.end(),
                                           [](HBA_FCPSCSIENTRY const& aMapping)
                                           { return qz::Wwn(aMapping.FcpId.PortWWN) == qz::Wwn(); });
    if (numNameless > 0)
    {
        throw QZCHbaapiEx(
            fmt::format("{} of {} target mappings name no port", numNameless, aMappings.size()).c_str(), 802);
    }
}
}  // namespace qzagent
