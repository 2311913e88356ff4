#include "simulator/hba/TargetMapping.h"

#include <algorithm>
#include <cstring>
#include <string>

#include <fmt/format.h>

#include "simulator/hba/Answers.h"
#include "simulator/scenario/Scsi.h"
#include "simulator/scenario/Wwn.h"

namespace qzsim
{
namespace
{
void writeEntry(HBA_FCPSCSIENTRYV2 const& aEntry, HBA_FCPSCSIENTRYV2& aPlace) { aPlace = aEntry; }

void writeEntry(HBA_FCPSCSIENTRYV2 const& aEntry, HBA_FCPSCSIENTRY& aPlace)
{
    aPlace = {aEntry.ScsiId, aEntry.FcpId};
}

/// @return how many mappings are written
std::size_t writtenOf(std::size_t aMappings, std::size_t aRoom, Reaction const& aReaction)
{
    // A fault that only asks for a larger block writes nothing.
    std::size_t const most = aReaction.mAnswer == HBA_STATUS_ERROR_MORE_DATA ? 0 : endless;
    return std::min({aMappings, aRoom, static_cast<std::size_t>(aReaction.mShape.mEntries.value_or(most))});
}

template <typename Mapping>
HBA_STATUS fill(std::vector<MappedLun> const& aLuns, LunStyle aStyle, Reaction const& aReaction,
                Mapping& aMapping)
{
    AnswerShape const& shape = aReaction.mShape;
    std::size_t const room = aMapping.NumberOfEntries;
    std::size_t const mappings = aLuns.size() - std::min<std::size_t>(shape.mMissing, aLuns.size());
    std::size_t const written = writtenOf(mappings, room, aReaction);
    auto* const entries = aMapping.entry;
    for (std::size_t index = 0; index < written; ++index)
    {
        writeEntry(mappingOf(aLuns[index], aStyle), entries[index]);
    }
    if (shape.mHasGarbage)
    {
        std::memset(static_cast<void*>(entries + written), garbage, (room - written) * sizeof *entries);
    }
    aMapping.NumberOfEntries = shape.mCount.value_or(static_cast<HBA_UINT32>(mappings));
    bool const isTooSmall = aReaction.mAnswer == HBA_STATUS_ERROR_MORE_DATA || room < mappings;
    return isTooSmall ? HBA_STATUS_ERROR_MORE_DATA : HBA_STATUS_OK;
}
}  // namespace

std::vector<MappedLun> mappedLunsOf(Adapter const& aAdapter, std::optional<std::size_t> aPort)
{
    std::vector<MappedLun> mapped;
    for (std::size_t bus = 0; bus < aAdapter.mPorts.size(); ++bus)
    {
        std::uint32_t target = 0;
        for (RemotePort const& remotePort : aAdapter.mPorts[bus].mRemotePorts)
        {
            if (remotePort.mRole != Role::target || aPort.value_or(bus) != bus)
            {
                continue;
            }
            for (std::uint16_t const lun : remotePort.mLuns)
            {
                if (dataOf(lun, remotePort).mIsMapped)
                {
                    mapped.push_back({static_cast<std::uint32_t>(bus), target, &remotePort, lun});
                }
            }
            ++target;
        }
    }
    return mapped;
}

HBA_FCPSCSIENTRYV2 mappingOf(MappedLun const& aLun, LunStyle aStyle)
{
    HBA_FCPSCSIENTRYV2 entry{};
    RemotePort const& port = *aLun.mPort;
    LunData const& data = dataOf(aLun.mLun, port);
    if (data.mDevice)
    {
        std::memcpy(entry.ScsiId.OSDeviceName, data.mDevice->c_str(), data.mDevice->size() + 1);
    }
    else
    {
        fmt::format_to_n(entry.ScsiId.OSDeviceName, sizeof entry.ScsiId.OSDeviceName - 1,
                         "/dev/disk/by-path/fc-0x{:016x}-lun-{}", numberOf(port.mAttributes.PortWWN),
                         aLun.mLun);
    }
    entry.ScsiId.ScsiBusNumber = aLun.mBus;
    entry.ScsiId.ScsiTargetNumber = aLun.mTarget;
    entry.ScsiId.ScsiOSLun = aLun.mLun;
    entry.FcpId.FcId = port.mAttributes.PortFcId;
    entry.FcpId.NodeWWN = port.mAttributes.NodeWWN;
    entry.FcpId.PortWWN = port.mAttributes.PortWWN;
    entry.FcpId.FcpLun = fcpLun(aLun.mLun, port.mLunAddressing, aStyle);
    if (aStyle == LunStyle::integer)
    {
        entry.ScsiId.ScsiOSLun = static_cast<HBA_UINT32>(entry.FcpId.FcpLun);
    }
    std::copy(data.mLuid.begin(), data.mLuid.end(), entry.LUID.buffer);
    return entry;
}

HBA_STATUS fillTargetMapping(std::vector<MappedLun> const& aLuns, LunStyle aStyle, Reaction const& aReaction,
                             HBA_FCPTARGETMAPPING& aMapping)
{
    return fill(aLuns, aStyle, aReaction, aMapping);
}

HBA_STATUS fillTargetMapping(std::vector<MappedLun> const& aLuns, LunStyle aStyle, Reaction const& aReaction,
                             HBA_FCPTARGETMAPPINGV2& aMapping)
{
    return fill(aLuns, aStyle, aReaction, aMapping);
}
}  // namespace qzsim
