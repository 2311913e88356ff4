#include "tools/qzagent/inventory/Survey.h"

#include <cstddef>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/HbaapiGuards.h"
#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/hba/MappedLun.h"
#include "tools/qzagent/hba/TargetPorts.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
namespace
{
using Targets = std::map<HBA_WWN, RemotePort, ByBytes>;

/// The layer does not wrap this call, so the exception is made here in the style of the layer.
/// @return false when the adapter does not support the call
bool discover(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_UINT32 aIndex, HBA_PORTATTRIBUTES& aRemotePort)
{
    HBA_STATUS const status = HBA_GetDiscoveredPortAttributes(aHandle, aPort, aIndex, &aRemotePort);
    if (status != HBA_STATUS_OK && status != HBA_STATUS_ERROR_NOT_SUPPORTED)
    {
        throw QZCHbaapiEx(
            fmt::format("HBA_GetDiscoveredPortAttributes method failed, status {}", status).c_str(), 802);
    }
    return status == HBA_STATUS_OK;
}

/// Stops at the first remote port that fails, because a port may report more remote ports than there are.
void discoverAll(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_UINT32 aCount, RemotePorts& aRemotePorts)
{
    aRemotePorts.emplace();
    for (HBA_UINT32 i = 0; i < aCount; ++i)
    {
        HBA_PORTATTRIBUTES attributes{};
        if (!discover(aHandle, aPort, i, attributes))
        {
            if (i == 0)
            {
                aRemotePorts.reset();
            }
            return;
        }
        aRemotePorts->push_back({attributes.PortWWN, fieldsOfRemotePort(attributes), {}, {}});
    }
}

Targets targetsIn(HBA_FCPTargetMapping const& aMapping, LunStyle aStyle)
{
    Targets targets;
    HBA_FCPSCSIENTRY const* const entries = aMapping.entry;
    for (HBA_UINT32 i = 0; i < aMapping.NumberOfEntries; ++i)
    {
        HBA_FCPID const& id = entries[i].FcpId;
        RemotePort& target = targets[id.PortWWN];
        if (!target.mLuns)
        {
            target = {id.PortWWN, fieldsOfRemotePort(id), TargetLuns(), {}};
        }
        target.mLuns->mMapped.insert(lunOf(entries[i], aStyle));
    }
    return targets;
}

class Surveyor
{
public:
    Surveyor(QZCHbaapiAbs& aHbaapi, Report& aReport, Progress& aProgress, FoundAdapter& aFound)
        : mHbaapi(aHbaapi), mReport(aReport), mProgress(aProgress), mFound(aFound)
    {
    }

    void survey()
    {
        attempt(mFound.mFailures,
                [this]
                {
                    setStep("opening");
                    OpenAdapter const opened(mHbaapi, mFound.mName);
                    surveyOpened(opened.handle());
                });
    }

private:
    /// An adapter that does not report its attributes is not queried further.
    void surveyOpened(HBA_HANDLE aHandle)
    {
        setStep("refresh");
        mHbaapi.HA_RefreshAdapter(aHandle);
        setStep("attributes");
        std::unique_ptr<HBA_ADAPTERATTRIBUTES> const adapter(mHbaapi.HA_GetAdapterAttributes(aHandle));
        mFound.mFields = fieldsOf(*adapter);
        attempt(mFound.mFailures, [&] { readPorts(aHandle, *adapter); });
        attempt(mFound.mFailures, [&] { readTargets(aHandle); });
    }

    void readPorts(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES const& aAdapter)
    {
        setStep("ports");
        unsigned int count = 0;
        std::unique_ptr<HBA_PORTATTRIBUTES[]> const ports(
            mHbaapi.HA_GetAdapterPorts(aHandle, &aAdapter, count));
        for (unsigned int i = 0; i < count; ++i)
        {
            setStep(fmt::format("remote ports of port {}", i));
            Port& port = mFound.mPorts.emplace_back();
            port.mFields = fieldsOfPort(ports[i]);
            attempt(port.mFailures,
                    [&] { discoverAll(aHandle, i, ports[i].NumberofDiscoveredPorts, port.mRemotePorts); });
        }
    }

    void readTargets(HBA_HANDLE aHandle)
    {
        setStep("target mappings");
        auto const mapping = targetMappings(mHbaapi, aHandle);
        LunStyle const style = lunStyleOf(*mapping);
        if (style == LunStyle::unknown)
        {
            mReport.addNote(mFound.mName +
                            ": the LUNs of the target mappings have no known form and are shown "
                            "as the digits of FcpLun");
        }
        Targets targets = targetsIn(*mapping, style);
        for (auto& [name, target] : targets)
        {
            RemotePort& asked = target;
            attempt(
                asked.mFailures, [&] { readLuns(aHandle, asked); }, &name);
        }
        place(std::move(targets));
    }

    void readLuns(HBA_HANDLE aHandle, RemotePort& aTarget)
    {
        setStep("LUNs of " + wwnText(aTarget.mName));
        ReportLunsResponse response;
        response.fetch(mHbaapi, aHandle, aTarget.mName);
        aTarget.mLuns->mReported = lunsInReport(response.bytes(), response.size());
    }

    /// Puts each target under the ports that discovered it, and the others under the adapter.
    void place(Targets&& aTargets)
    {
        PortNames placed;
        for (Port& port : mFound.mPorts)
        {
            placeAt(port, aTargets, placed);
        }
        mFound.mRemotePorts.emplace();
        for (auto& [name, target] : aTargets)
        {
            if (placed.count(name) == 0)
            {
                mFound.mRemotePorts->push_back(std::move(target));
            }
        }
    }

    static void placeAt(Port& aPort, Targets const& aTargets, PortNames& aPlaced)
    {
        if (!aPort.mRemotePorts)
        {
            return;
        }
        for (RemotePort& remotePort : *aPort.mRemotePorts)
        {
            auto const target = aTargets.find(remotePort.mName);
            if (target != aTargets.end())
            {
                remotePort.mLuns = target->second.mLuns;
                remotePort.mFailures = target->second.mFailures;
                aPlaced.insert(remotePort.mName);
            }
        }
    }

    void setStep(std::string const& aStep) { mProgress.setStep(mFound.mName + ": " + aStep); }

    /// Runs an action. Reports its failure and adds it to the list.
    /// @param aRemotePort name of the remote port that the action concerns, if any
    template <typename Action>
    void attempt(std::vector<Failure>& aFailures, Action aAction, HBA_WWN const* aRemotePort = nullptr)
    {
        try
        {
            aAction();
        }
        catch (std::exception const& exception)
        {
            aFailures.push_back(failureOf(exception));
            mReport.addFailure(aFailures.back(), mFound.mName,
                               aRemotePort == nullptr ? std::nullopt : std::optional(wwnText(*aRemotePort)));
        }
    }

    QZCHbaapiAbs& mHbaapi;
    Report& mReport;
    Progress& mProgress;
    FoundAdapter& mFound;
};
}  // namespace

FoundAdapter survey(QZCHbaapiAbs& aHbaapi, std::size_t aIndex, std::string const& aName, Report& aReport,
                    Progress& aProgress)
{
    FoundAdapter found{aIndex, aName, {}, {}, {}, {}};
    Surveyor(aHbaapi, aReport, aProgress, found).survey();
    return found;
}
}  // namespace qzagent
