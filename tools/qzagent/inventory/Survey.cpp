#include "tools/qzagent/inventory/Survey.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <hbaapi.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/capture/DocumentRecording.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/GradualAnswer.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/HbaLimits.h"
#include "tools/qzagent/hba/HbaStep.h"
#include "tools/qzagent/hba/Host.h"
#include "tools/qzagent/hba/LogicalUnit.h"
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

/// Names of targets with the numbers of their LUNs.
using LargeTargets = std::set<std::pair<std::string, std::size_t>>;

/// Code of the layer's exceptions for failed queries.
constexpr unsigned int codeOfQueries = 802;

/// The layer does not wrap this call, so the exception is made here in the style of the layer.
/// @return false when the adapter does not support the call. After it has answered the call for the first remote port,
///         the same status is a failure
bool discover(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_UINT32 aIndex, HBA_PORTATTRIBUTES& aRemotePort)
{
    HBA_STATUS const status = HBA_GetDiscoveredPortAttributes(aHandle, aPort, aIndex, &aRemotePort);
    bool const isUnsupported = status == HBA_STATUS_ERROR_NOT_SUPPORTED && aIndex == 0;
    if (status != HBA_STATUS_OK && !isUnsupported)
    {
        throw QZCHbaapiEx(
            fmt::format("HBA_GetDiscoveredPortAttributes method failed, status {}", status).c_str(),
            codeOfQueries);
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
            aRemotePorts.reset();
            return;
        }
        aRemotePorts->push_back({qz::Wwn(attributes.PortWWN), fieldsOfRemotePort(attributes), {}, {}});
    }
}

/// Sorts the mappings, and removes those that say nothing new.
void sortOut(std::vector<MappedLun>& aMapped)
{
    auto const key = [](MappedLun const& aLun) { return std::tie(aLun.mLun, aLun.mDevice); };
    std::sort(aMapped.begin(), aMapped.end(),
              [&](MappedLun const& aLun, MappedLun const& aOther) { return key(aLun) < key(aOther); });
    auto const isSame = [&](MappedLun const& aLun, MappedLun const& aOther)
    { return key(aLun) == key(aOther); };
    aMapped.erase(std::unique(aMapped.begin(), aMapped.end(), isSame), aMapped.end());
}

Targets targetsIn(qz::TargetMappings const& aMappings, LunStyle aStyle)
{
    Targets targets;
    for (HBA_FCPSCSIENTRY const& mapping : aMappings)
    {
        HBA_FCPID const& id = mapping.FcpId;
        qz::Wwn const name(id.PortWWN);
        if (name == qz::Wwn())
        {
            continue;
        }
        RemotePort& target = targets[name];
        if (!target.mLuns)
        {
            target = {name, fieldsOfRemotePort(id), std::make_shared<TargetLuns>(), {}};
            target.mLuns->mAreMappedRaw = aStyle == LunStyle::unknown;
        }
        target.mLuns->mMapped.push_back(
            {lunOf(mapping, aStyle), mapping.FcpId.FcpLun, deviceOf(mapping), {}, {}});
    }
    for (auto& [name, target] : targets)
    {
        sortOut(target.mLuns->mMapped);
    }
    return targets;
}

/// A failure that has not been reported.
struct Refusal
{
    MappedLun* mLun;
    Failure mFailure;
    Subject mSubject;
};

/// A command to the LUNs of an adapter. The status HBA_STATUS_ERROR_NOT_SUPPORTED is also the errno value ENOENT, which
/// libhbalinux2 returns if the device file of a LUN is missing. It means that the HBA library does not support the command
/// unless the library has sent the command to another LUN.
struct LunCommand
{
    char const* mName;
    bool mIsSupported = false;
    std::vector<Refusal> mRefusals = {};  ///< answers with that status while nothing shows what it means
};

bool isRefusal(Failure const& aFailure)
{
    return aFailure.mCause && aFailure.mCause->mStatus &&
           aFailure.mCause->mStatus->mNumber == HBA_STATUS_ERROR_NOT_SUPPORTED;
}

class Surveyor
{
public:
    /// @param aLargeTargets the targets for which the note about many LUNs was printed. Several ports of a target and
    ///                      several adapters have the same LUNs
    Surveyor(qz::HbaApi& aApi, Depth aDepth, Report& aReport, Progress& aProgress,
             LargeTargets& aLargeTargets, FoundAdapter& aFound)
        : mApi(aApi),
          mDepth(aDepth),
          mReport(aReport),
          mProgress(aProgress),
          mLargeTargets(aLargeTargets),
          mFound(aFound)
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
        HbaStep const step;
        std::unique_ptr<HBA_ADAPTERATTRIBUTES> const adapter = aOpened.attributes();
        mFound.mFields = fieldsOf(*adapter);
        // An implausible number of ports is an answer of this step.
        attempt(
            mFound.mFailures, [&] { readPorts(aOpened, adapter->NumberOfPorts); }, {}, step);
        if (mDepth >= Depth::mappings)
        {
            attempt(mFound.mFailures, [&] { readTargets(aOpened); });
        }
    }

    void readPorts(qz::Adapter& aOpened, HBA_UINT32 aCount)
    {
        expectAtMost(mostPorts, aCount, "ports");
        for (HBA_UINT32 i = 0; i < aCount; ++i)
        {
            Port& port = mFound.mPorts.emplace_back();
            attempt(port.mFailures, [&] { readPort(aOpened, i, port); }, {{}, i});
        }
    }

    void readPort(qz::Adapter& aOpened, HBA_UINT32 aIndex, Port& aPort)
    {
        setStep(fmt::format("port {}", aIndex));
        HBA_PORTATTRIBUTES const attributes = aOpened.port(aIndex);
        aPort.mFields = fieldsOfPort(attributes);
        if (mDepth >= Depth::mappings)
        {
            setStep(fmt::format("remote ports of port {}", aIndex));
            discoverAll(aOpened.handle(), aIndex, attributes.NumberofDiscoveredPorts, aPort.mRemotePorts);
        }
    }

    void readTargets(qz::Adapter& aOpened)
    {
        setStep("target mappings");
        HbaStep const step;
        qz::TargetMappings const mappings = targetMappingsOf(aOpened);
        attempt(
            mFound.mFailures, [&mappings] { expectNamedPorts(mappings); }, {}, step);
        LunStyle const style = lunStyleOf(mappings);
        if (style == LunStyle::unknown && mDepth >= Depth::luns)
        {
            mReport.addNote(
                mFound.mName +
                ": the LUNs of the target mappings have no known form; they are shown as the digits of "
                "FcpLun and cannot be compared with the LUNs that the targets report");
        }
        Targets targets = targetsIn(mappings, style);
        if (mDepth >= Depth::luns)
        {
            for (auto& [name, target] : targets)
            {
                RemotePort& asked = target;
                attempt(asked.mFailures, [&] { readLuns(aOpened, asked); }, {{}, {}, name.text()});
                noteMissingLun0(asked);
            }
        }
        if (mDepth >= Depth::units)
        {
            for (auto& [name, target] : targets)
            {
                readUnits(aOpened.handle(), target);
            }
            noteUnlessSupported(mInquiry);
            noteUnlessSupported(mReadCapacity);
        }
        place(std::move(targets));
    }

    void readLuns(qz::Adapter& aOpened, RemotePort& aTarget)
    {
        setStep("LUNs of " + aTarget.mName.text());
        Luns const luns = lunsIn(reportLuns(aOpened.handle(), aTarget.mName));
        aTarget.mLuns->mReported = luns;
        std::string const target = aTarget.mFields.value("node_wwn", aTarget.mName.text());
        if (luns.size() > mostLunsOfLayer && mLargeTargets.emplace(target, luns.size()).second)
        {
            mReport.addNote(
                fmt::format("{}: {}: the target reports {} LUNs, more than the library accepts ({}); the "
                            "tool requested the list itself",
                            mFound.mName, aTarget.mName.text(), luns.size(), mostLunsOfLayer));
        }
    }

    /// The HBA API leaves it to the HBA library to which LUN of a target it sends REPORT LUNS.
    void noteMissingLun0(RemotePort const& aTarget)
    {
        auto const& luns = aTarget.mLuns->mMapped;
        bool const isMissing =
            std::none_of(luns.begin(), luns.end(),
                         [](MappedLun const& aLun) { return aLun.mLun == Lun(0U) || aLun.mFcpLun == 0; });
        if (isMissing && !aTarget.mLuns->mReported)
        {
            mReport.addNote(
                fmt::format("{}: {}: the adapter maps no LUN 0 of the target, and some HBA libraries send "
                            "REPORT LUNS only to LUN 0",
                            mFound.mName, aTarget.mName.text()));
        }
    }

    void readUnits(HBA_HANDLE aHandle, RemotePort& aTarget)
    {
        MappedLun const* last = nullptr;
        for (MappedLun& lun : aTarget.mLuns->mMapped)
        {
            if (last != nullptr && last->mLun == lun.mLun)
            {
                lun.mUnit = last->mUnit;
                continue;
            }
            last = &lun;
            Subject const subject{{}, {}, aTarget.mName.text(), lun.mLun};
            LunAddress const address{aHandle, aTarget.mName, lun.mFcpLun};
            attemptCommand(mInquiry, lun, subject, [&] { return inquire(address); });
            if (hasBlocks(lun.mUnit))
            {
                attemptCommand(mReadCapacity, lun, subject,
                               [&] { return readCapacity(address, lun.mDevice); });
            }
        }
    }

    /// Adds the fields that a command returns to the LUN.
    template <typename Send>
    void attemptCommand(LunCommand& aCommand, MappedLun& aLun, Subject const& aSubject, Send aSend)
    {
        setStep(fmt::format("{} to LUN {} of {}", aCommand.mName, textOf(Luns{aLun.mLun}),
                            *aSubject.mRemotePort));
        std::optional<Failure> failure = failureOf([&] { aLun.mUnit.update(aSend()); });
        bool const isRefused = failure && isRefusal(*failure);
        aCommand.mIsSupported = aCommand.mIsSupported || !failure || (failure->mCause && !isRefused);
        if (isRefused)
        {
            aCommand.mRefusals.push_back({&aLun, std::move(*failure), aSubject});
            failure.reset();
        }
        if (aCommand.mIsSupported)
        {
            reportRefusals(aCommand);
        }
        addFailure(aLun.mFailures, std::move(failure), aSubject);
    }

    void reportRefusals(LunCommand& aCommand)
    {
        for (Refusal& refusal : aCommand.mRefusals)
        {
            refusal.mFailure.mCause = withErrno(*refusal.mFailure.mCause);
            addFailure(refusal.mLun->mFailures, std::move(refusal.mFailure), refusal.mSubject);
        }
        aCommand.mRefusals.clear();
    }

    void noteUnlessSupported(LunCommand const& aCommand)
    {
        if (!aCommand.mRefusals.empty())
        {
            mReport.addNote(
                fmt::format("{}: {} failed with status 2: the HBA library does not support the command, or a "
                            "device file is missing (errno ENOENT)",
                            mFound.mName, aCommand.mName));
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
    /// @param aSubject what the action concerns in addition to the adapter
    /// @param aStep    whose last call is the cause; by default the step begins with the action
    template <typename Action>
    void attempt(std::vector<Failure>& aFailures, Action aAction, Subject const& aSubject = {},
                 HbaStep const& aStep = HbaStep())
    {
        addFailure(aFailures, failureOf(aAction, aStep), aSubject);
    }

    /// @return the failure of an action, if it fails
    template <typename Action>
    static std::optional<Failure> failureOf(Action aAction, HbaStep const& aStep = HbaStep())
    {
        try
        {
            aAction();
            return {};
        }
        catch (std::exception const& exception)
        {
            return aStep.failureOf(exception);
        }
    }

    /// Reports a failure, if there is one, and adds it to the list.
    void addFailure(std::vector<Failure>& aFailures, std::optional<Failure> aFailure, Subject const& aSubject)
    {
        if (aFailure)
        {
            Subject subject = aSubject;
            subject.mAdapter = mFound.mName;
            mReport.addFailure(*aFailure, subject);
            aFailures.push_back(std::move(*aFailure));
        }
    }

    LunCommand mInquiry{"INQUIRY"};
    LunCommand mReadCapacity{"READ CAPACITY"};
    qz::HbaApi& mApi;
    Depth const mDepth;
    Report& mReport;
    Progress& mProgress;
    LargeTargets& mLargeTargets;
    FoundAdapter& mFound;
};
}  // namespace

void addOptions(CommandLine& aCommandLine, ArgumentList& aArguments, SurveyOptions& aOptions)
{
    aArguments.addText("--adapter", "ADAPTER", aOptions.mAdapter,
                       "Show only this adapter: its name or index, or the WWN of its node or of a port");
    aArguments.addText("--output", "FILE", aOptions.mOutput,
                       "Also append the JSON document to this pcapng capture, or create it");
    aCommandLine.addTimeout(aArguments);
}

Answer survey(Setting const& aSetting, SurveyOptions const& aOptions, Depth aDepth, AdapterJson aJson,
              AdaptersText aText)
{
    auto const keys = [aJson, wanted = aOptions.mAdapter](std::vector<FoundAdapter> const& aAdapters)
    {
        auto json = nlohmann::ordered_json::object();
        if (wanted)
        {
            json["only_adapter"] = *wanted;
        }
        auto list = nlohmann::ordered_json::array();
        std::transform(aAdapters.begin(), aAdapters.end(), std::back_inserter(list), aJson);
        json["adapters"] = std::move(list);
        return json;
    };
    DocumentRecording recording(aSetting, aOptions.mOutput);
    if (!recording.isPossible())
    {
        return {keys({}), {}};
    }
    GradualAnswer<FoundAdapter> found(aSetting, keys, std::move(aText));
    Report& report = aSetting.mReport;
    // The trace already shows each step.
    Progress progress(report.errors(), !aSetting.mIsTraced && ErrorStream::canShowStatus());
    LargeTargets largeTargets;
    visitAdapters(report, aOptions.mAdapter,
                  [&](qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName)
                  {
                      FoundAdapter adapter{aIndex, aName, {}, {}, {}, {}};
                      Surveyor(aApi, aDepth, report, progress, largeTargets, adapter).survey();
                      found.add(std::move(adapter));
                  });
    Answer answer = found.rest();
    recording.finish([&] { return keys(found.items()); });
    return answer;
}
}  // namespace qzagent
