#include "simulator/hba/TargetMapping.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "simulator/scenario/Scsi.h"
#include "simulator/scenario/Wwn.h"

namespace qzsim
{
namespace
{
/// Writes entries into the caller's block until it is full.
class MappingWriter
{
public:
    explicit MappingWriter(HBA_FCPTARGETMAPPING& aMapping)
        : mNext(aMapping.entry), mRoom(aMapping.NumberOfEntries)
    {
    }

    void write(std::uint32_t aBus, std::uint32_t aTarget, RemotePort const& aPort, LunStyle aStyle)
    {
        std::size_t const count = std::min(mRoom, aPort.mLuns.size());
        for (std::size_t index = 0; index < count; ++index)
        {
            *mNext++ = entryOf(aBus, aTarget, aPort, aPort.mLuns[index], aStyle);
        }
        mRoom -= count;
    }

private:
    static HBA_FCPSCSIENTRY entryOf(std::uint32_t aBus, std::uint32_t aTarget, RemotePort const& aPort,
                                    std::uint16_t aLun, LunStyle aStyle)
    {
        HBA_FCPSCSIENTRY entry{};
        std::optional<std::string> const& device = dataOf(aLun, aPort).mDevice;
        if (device)
        {
            std::memcpy(entry.ScsiId.OSDeviceName, device->c_str(), device->size() + 1);
        }
        else
        {
            fmt::format_to_n(entry.ScsiId.OSDeviceName, sizeof entry.ScsiId.OSDeviceName - 1,
                             "/dev/disk/by-path/fc-0x{:016x}-lun-{}", numberOf(aPort.mAttributes.PortWWN),
                             aLun);
        }
        entry.ScsiId.ScsiBusNumber = aBus;
        entry.ScsiId.ScsiTargetNumber = aTarget;
        entry.ScsiId.ScsiOSLun = aLun;
        entry.FcpId.FcId = aPort.mAttributes.PortFcId;
        entry.FcpId.NodeWWN = aPort.mAttributes.NodeWWN;
        entry.FcpId.PortWWN = aPort.mAttributes.PortWWN;
        entry.FcpId.FcpLun = fcpLun(aLun, aPort.mLunAddressing, aStyle);
        if (aStyle == LunStyle::integer)
        {
            entry.ScsiId.ScsiOSLun = static_cast<HBA_UINT32>(entry.FcpId.FcpLun);
        }
        return entry;
    }

    HBA_FCPSCSIENTRY* mNext;
    std::size_t mRoom;
};
}  // namespace

HBA_STATUS fillTargetMapping(Adapter const& aAdapter, HBA_FCPTARGETMAPPING& aMapping)
{
    MappingWriter writer(aMapping);
    std::uint32_t bus = 0;
    for (Port const& port : aAdapter.mPorts)
    {
        std::uint32_t target = 0;
        for (RemotePort const& remotePort : port.mRemotePorts)
        {
            if (remotePort.mRole == Role::target)
            {
                writer.write(bus, target, remotePort, aAdapter.mLunStyle);
                ++target;
            }
        }
        ++bus;
    }
    auto const needed = static_cast<HBA_UINT32>(numberOfMappings(aAdapter));
    bool const isRoomEnough = needed <= aMapping.NumberOfEntries;
    aMapping.NumberOfEntries = needed;
    return isRoomEnough ? HBA_STATUS_OK : HBA_STATUS_ERROR_MORE_DATA;
}
}  // namespace qzsim
