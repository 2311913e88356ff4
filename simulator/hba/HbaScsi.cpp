// The calls that send a SCSI command to a target.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <variant>
#include <vector>

#include <hbaapi.h>

#include "simulator/hba/Answers.h"
#include "simulator/hba/HbaSimulation.h"
#include "simulator/scenario/Scsi.h"
#include "simulator/scenario/Wwn.h"

namespace qzsim
{
namespace
{
constexpr std::uint8_t illegalRequest = 0x05;  // sense key
constexpr Sense invalidFieldInCommand{illegalRequest, 0x24, 0};
constexpr Sense lunNotSupported{illegalRequest, 0x25, 0};

constexpr HBA_UINT8 good = 0x00;  // SCSI status
constexpr HBA_UINT8 checkCondition = 0x02;

bool isUsable(void const* aStart, HBA_UINT32 const* aSize)
{
    return aSize != nullptr && (aStart != nullptr || *aSize == 0);
}

bool areUsable(ScsiBuffers const& aBuffers)
{
    return aBuffers.mStatus != nullptr && isUsable(aBuffers.mResponse, aBuffers.mResponseSize) &&
           isUsable(aBuffers.mSense, aBuffers.mSenseSize);
}

/// Writes as much of the content as fits, and the number of bytes that were written.
void fill(void* aStart, HBA_UINT32& aSize, std::vector<std::uint8_t> const& aContent,
          AnswerShape const& aShape = {})
{
    aSize = static_cast<HBA_UINT32>(writeBytes({aStart, aSize}, aContent.data(), aContent.size(), aShape));
}

Call callOf(ScsiAddress const& aAddress, Call aFirstVersion, Call aSecondVersion)
{
    return aAddress.mPort ? aSecondVersion : aFirstVersion;
}

/// @return the ports that the command may be sent through
std::vector<Port const*> portsFor(ScsiAddress const& aAddress, Adapter const& aAdapter, Behaviour aBehaviour)
{
    std::vector<Port const*> ports;
    if (aAddress.mPort)
    {
        auto const index = indexOfPortNamed(*aAddress.mPort, aAdapter);
        return index ? std::vector{&aAdapter.mPorts[*index]} : ports;
    }
    for (Port const& port : aAdapter.mPorts)
    {
        ports.push_back(&port);
    }
    // libhbalinux uses only the first port.
    ports.resize(
        std::min<std::size_t>(ports.size(), aBehaviour == Behaviour::libhbalinux ? 1 : ports.size()));
    return ports;
}

RemotePort const* remotePortNamed(HBA_WWN const& aName, std::vector<Port const*> const& aPorts)
{
    for (Port const* const port : aPorts)
    {
        if (RemotePort const* const remotePort = remotePortNamed(aName, *port))
        {
            return remotePort;
        }
    }
    return nullptr;
}

/// libhbalinux sends a command to the device of a LUN, so it needs one: LUN 0 for REPORT LUNS.
bool isDeviceMissing(RemotePort const& aTarget, std::optional<std::uint16_t> const& aLun)
{
    return !aLun || std::find(aTarget.mLuns.begin(), aTarget.mLuns.end(), *aLun) == aTarget.mLuns.end() ||
           !dataOf(*aLun, aTarget).mIsMapped;
}
}  // namespace

HBA_STATUS HbaSimulation::reportLuns(ScsiAddress const& aAddress, ScsiBuffers const& aBuffers)
{
    Call const call = callOf(aAddress, Call::sendReportLuns, Call::scsiReportLunsV2);
    return send({call, aAddress, std::nullopt, aBuffers},
                [&](RemotePort const& aTarget, std::uint16_t, AnswerShape const& aShape)
                {
                    return *aBuffers.mResponseSize < aTarget.mReportLunsMinimum
                               ? ScsiResult(invalidFieldInCommand)
                               : ScsiResult(reportLunsResponse(aTarget, aShape));
                });
}

HBA_STATUS HbaSimulation::inquiry(ScsiAddress const& aAddress, HBA_UINT64 aLun, HBA_UINT8 aIsVitalProductData,
                                  HBA_UINT32 aPage, ScsiBuffers const& aBuffers)
{
    bool const isStandard = aIsVitalProductData == 0 && aPage == 0;
    Call const call = callOf(aAddress, Call::sendScsiInquiry, Call::scsiInquiryV2);
    return send({call, aAddress, aLun, aBuffers},
                [=](RemotePort const& aTarget, std::uint16_t aKnownLun, AnswerShape const&)
                {
                    return isStandard ? ScsiResult(inquiryResponse(dataOf(aKnownLun, aTarget)))
                                      : ScsiResult(invalidFieldInCommand);
                });
}

HBA_STATUS HbaSimulation::readCapacity(ScsiAddress const& aAddress, HBA_UINT64 aLun,
                                       ScsiBuffers const& aBuffers)
{
    // With room for the numbers of READ CAPACITY(16), libhbalinux sends that command.
    constexpr HBA_UINT32 sizeOfLongNumbers = 12;
    Call const call = callOf(aAddress, Call::sendReadCapacity, Call::scsiReadCapacityV2);
    bool const isLinux = behaviour() == Behaviour::libhbalinux;
    return send({call, aAddress, aLun, aBuffers},
                [&](RemotePort const& aTarget, std::uint16_t aKnownLun, AnswerShape const&)
                {
                    LunData const& data = dataOf(aKnownLun, aTarget);
                    bool const isLong = isLinux && *aBuffers.mResponseSize >= sizeOfLongNumbers;
                    return ScsiResult(isLong ? readCapacity16Response(data) : readCapacityResponse(data));
                });
}

HBA_STATUS HbaSimulation::send(Command const& aCommand, Respond const& aRespond)
{
    ScsiAddress const& address = aCommand.mAddress;
    return withAdapter(aCommand.mCall, address.mHandle, areUsable(aCommand.mBuffers),
                       [&](Query const& aQuery)
                       {
                           auto const ports = portsFor(address, aQuery.mAdapter, aQuery.mBehaviour);
                           if (ports.empty())
                           {
                               return aQuery.refused(Reason::port);
                           }
                           RemotePort const* const target = remotePortNamed(address.mTarget, ports);
                           if (target == nullptr)
                           {
                               return aQuery.refused(Reason::target);
                           }
                           return target->mRole == Role::target ? sendTo(*target, aQuery, aCommand, aRespond)
                                                                : aQuery.refused(Reason::notATarget);
                       });
}

HBA_STATUS HbaSimulation::sendTo(RemotePort const& aTarget, Query const& aQuery, Command const& aCommand,
                                 Respond const& aRespond)
{
    ScsiBuffers const& buffers = aCommand.mBuffers;
    bool const isLinux = aQuery.mBehaviour == Behaviour::libhbalinux;
    std::optional<std::uint16_t> const lun = aCommand.mLun
                                                 ? lunOf(aTarget, *aCommand.mLun, aQuery.mAdapter.mLunStyle)
                                                 : std::optional<std::uint16_t>(0);
    if (isLinux && isDeviceMissing(aTarget, lun))
    {
        return aQuery.refused(Reason::lun);
    }
    Reaction const reaction = react(aCommand.mCall, aQuery.mAdapter.mName, textOf(aCommand.mAddress.mTarget));
    auto const status = statusOf(reaction);
    if (status && *status != HBA_STATUS_SCSI_CHECK_CONDITION)
    {
        return *status;
    }
    ScsiResult const result = status ? ScsiResult(reaction.mSense.value_or(usualSense))
                              : lun  ? aRespond(aTarget, *lun, reaction.mShape)
                                     : ScsiResult(lunNotSupported);
    if (auto const* const sense = std::get_if<Sense>(&result))
    {
        *buffers.mStatus = checkCondition;
        *buffers.mResponseSize = 0;
        fill(buffers.mSense, *buffers.mSenseSize, senseData(*sense));
        bool const isOk = isLinux && aCommand.mAddress.mPort;  // there, the SCSI status says it all
        return isOk ? HBA_STATUS_OK : HBA_STATUS_SCSI_CHECK_CONDITION;
    }
    *buffers.mStatus = good;
    *buffers.mSenseSize = 0;
    fill(buffers.mResponse, *buffers.mResponseSize, std::get<std::vector<std::uint8_t>>(result),
         reaction.mShape);
    return HBA_STATUS_OK;
}
}  // namespace qzsim
