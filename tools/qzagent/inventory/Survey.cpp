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

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/HbaLimits.h"
#include "tools/qzagent/hba/HbaStep.h"
#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/hba/MappedLun.h"
#include "tools/qzagent/hba/ReportLuns.h"
#include "tools/qzagent/hba/TargetPorts.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
namespace
{
using Targets = std::map<qz::Wwn, RemotePort>;

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
    expectAtMost(mostDiscoveredPorts, aCount, "discovered ports");
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
        aRemotePorts->push_back({qz::Wwn(attributes.PortWWN), fieldsOfRemotePort(attributes), {}, {}});
    }
}

Targets targetsIn(qz::TargetMappings const& aMappings, LunStyle aStyle)
{
    Targets targets;
    for (HBA_FCPSCSIENTRY const& mapping : aMappings)
    {
        HBA_FCPID const& id = mapping.FcpId;
        qz::Wwn const name(id.PortWWN);
        RemotePort& target = targets[name];
        if (!target.mLuns)
        {
            target = {name, fieldsOfRemotePort(id), TargetLuns(), {}};
        }
        target.mLuns->mMapped.insert(lunOf(mapping, aStyle));
    }
    return targets;
}

class Surveyor
{
public:
    Surveyor(qz::HbaApi& aApi, Report& aReport, Progress& aProgress, FoundAdapter& aFound)
        : mApi(aApi), mReport(aReport), mProgress(aProgress), mFound(aFound)
    {
    }

    void survey()
    {
        attempt(mFound.mFailures,
                [this]
                {
                    setStep("opening");
                    qz::Adapter opened(mApi, mFound.mName);
                    surveyOpened(opened);
                });
    }

private:
    /// An adapter that does not report its attributes is not queried further.
    void surveyOpened(qz::Adapter& aOpened)
    {
        setStep("refresh");
        aOpened.refresh();
        setStep("attributes");
        std::unique_ptr<HBA_ADAPTERATTRIBUTES> const adapter = aOpened.attributes();
        mFound.mFields = fieldsOf(*adapter);
        attempt(mFound.mFailures, [&] { readPorts(aOpened.handle(), *adapter); });
        attempt(mFound.mFailures, [&] { readTargets(aOpened); });
    }

    void readPorts(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES const& aAdapter)
    {
        setStep("ports");
        expectAtMost(mostPorts, aAdapter.NumberOfPorts, "ports");
        unsigned int count = 0;
        std::unique_ptr<HBA_PORTATTRIBUTES[]> const ports(
            mApi.layer().HA_GetAdapterPorts(aHandle, &aAdapter, count));
        for (unsigned int i = 0; i < count; ++i)
        {
            setStep(fmt::format("remote ports of port {}", i));
            Port& port = mFound.mPorts.emplace_back();
            port.mFields = fieldsOfPort(ports[i]);
            attempt(port.mFailures,
                    [&] { discoverAll(aHandle, i, ports[i].NumberofDiscoveredPorts, port.mRemotePorts); });
        }
    }

    void readTargets(qz::Adapter& aOpened)
    {
        setStep("target mappings");
        qz::TargetMappings const mappings = targetMappingsOf(aOpened);
        LunStyle const style = lunStyleOf(mappings);
        if (style == LunStyle::unknown)
        {
            mReport.addNote(mFound.mName +
                            ": the LUNs of the target mappings have no known form and are shown "
                            "as the digits of FcpLun");
        }
        Targets targets = targetsIn(mappings, style);
        for (auto& [name, target] : targets)
        {
            RemotePort& asked = target;
            attempt(
                asked.mFailures, [&] { readLuns(aOpened, asked); }, &name);
        }
        place(std::move(targets));
    }

    void readLuns(qz::Adapter& aOpened, RemotePort& aTarget)
    {
        setStep("LUNs of " + aTarget.mName.text());
        Luns const luns = lunsIn(reportLuns(aOpened.handle(), aTarget.mName));
        aTarget.mLuns->mReported = luns;
        if (luns.size() > mostLunsOfLayer)
        {
            mReport.addNote(
                fmt::format("{}: {}: the target reports {} LUNs, more than the library accepts ({}); the "
                            "tool requested the list itself",
                            mFound.mName, aTarget.mName.text(), luns.size(), mostLunsOfLayer));
        }
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
    void attempt(std::vector<Failure>& aFailures, Action aAction, qz::Wwn const* aRemotePort = nullptr)
    {
        HbaStep const step;
        try
        {
            aAction();
        }
        catch (std::exception const& exception)
        {
            aFailures.push_back(step.failureOf(exception));
            mReport.addFailure(aFailures.back(), mFound.mName,
                               aRemotePort == nullptr ? std::nullopt : std::optional(aRemotePort->text()));
        }
    }

    qz::HbaApi& mApi;
    Report& mReport;
    Progress& mProgress;
    FoundAdapter& mFound;
};
}  // namespace

FoundAdapter survey(qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName, Report& aReport,
                    Progress& aProgress)
{
    FoundAdapter found{aIndex, aName, {}, {}, {}, {}};
    Surveyor(aApi, aReport, aProgress, found).survey();
    return found;
}
}  // namespace qzagent
