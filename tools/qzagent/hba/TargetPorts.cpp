#include "tools/qzagent/hba/TargetPorts.h"

#include <chrono>
#include <ctime>
#include <thread>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/HbaWitness.h"
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
}  // namespace qzagent
