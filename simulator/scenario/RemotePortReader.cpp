#include "simulator/scenario/RemotePortReader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <numeric>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <hbaapi.h>

#include "simulator/scenario/HexBytes.h"
#include "simulator/scenario/PortAttributes.h"
#include "simulator/scenario/Scsi.h"
#include "simulator/scenario/StatisticsReader.h"
#include "simulator/scenario/Wwn.h"
#include "toml/Named.h"
#include "toml/TableReader.h"
#include "toml/ValueReader.h"

namespace qzsim
{
namespace
{
using tomlfile::highestNumber;
using tomlfile::Key;
using tomlfile::Named;
using tomlfile::Presence;
using tomlfile::TomlValue;

constexpr Named<Role> roles[] = {{"target", Role::target}, {"initiator", Role::initiator}};

constexpr Named<LunAddressing> lunAddressings[] = {
    {"auto", LunAddressing::automatic},
    {"flat", LunAddressing::flat},
};

void readRole(TomlValue const& aValue, RemotePort& aPort) { aPort.mRole = readNamed(aValue, roles); }

void readLunAddressing(TomlValue const& aValue, RemotePort& aPort)
{
    aPort.mLunAddressing = readNamed(aValue, lunAddressings);
}

void readReportLunsMinimum(TomlValue const& aValue, RemotePort& aPort)
{
    aPort.mReportLunsMinimum = readNumber(aValue, 0, highestNumber);
}

std::vector<std::uint16_t> lunsIn(TomlValue::Array const& aValues)
{
    std::vector<std::uint16_t> luns;
    std::vector<bool> isThere(highestLun + 1U);
    for (TomlValue const& value : aValues)
    {
        auto const lun = static_cast<std::uint16_t>(readNumber(value, 0, highestLun));
        if (isThere[lun])
        {
            value.refuse("a LUN that is not yet in the list");
        }
        isThere[lun] = true;
        luns.push_back(lun);
    }
    return luns;
}

void readLuns(TomlValue const& aValue, RemotePort& aPort)
{
    if (aPort.mRole != Role::target)
    {
        aValue.refuse("no key \"luns\" for a port that is not a target");
    }
    if (aValue.is<TomlValue::Array>())
    {
        aPort.mLuns = lunsIn(aValue.as<TomlValue::Array>({}));
        return;
    }
    aPort.mLuns.resize(readNumber(aValue, 0, highestLun + 1U,
                                  "a number of LUNs from 0 to 16384 or a list of LUNs from 0 to 16383"));
    std::iota(aPort.mLuns.begin(), aPort.mLuns.end(), std::uint16_t{0});
}

template <std::string LunData::*field, std::size_t longest, typename Record>
void inquiryText(TomlValue const& aValue, Record& aRecord)
{
    aRecord.mLunData.*field = readText(aValue, longest);
}

template <typename Record>
void readBlockSize(TomlValue const& aValue, Record& aRecord)
{
    aRecord.mLunData.mBlockSize = readNumber(aValue, 0, highestNumber);
}

template <typename Record>
void readBlocks(TomlValue const& aValue, Record& aRecord)
{
    constexpr std::string_view expected = "a number from 1 to 0x7fffffffffffffff";
    auto const blocks = aValue.as<TomlValue::Number>(expected);
    if (blocks < 1)
    {
        aValue.refuse(expected);
    }
    aRecord.mLunData.mBlocks = static_cast<std::uint64_t>(blocks);
}

/// One table for a LUN.
struct LunTable
{
    std::uint16_t mLun;
    LunData mLunData;
};

void readLun(TomlValue const& aValue, LunTable& aTable)
{
    aTable.mLun = static_cast<std::uint16_t>(readNumber(aValue, 0, highestLun));
}

void readLuid(TomlValue const& aValue, LunTable& aTable)
{
    aTable.mLunData.mLuid = readHexBytes(aValue, sizeof HBA_LUID::buffer);
}

void readOsDevice(TomlValue const& aValue, LunTable& aTable)
{
    aTable.mLunData.mDevice = readText(aValue, sizeof HBA_SCSIID::OSDeviceName - 1);
}

void readMapped(TomlValue const& aValue, LunTable& aTable)
{
    aTable.mLunData.mIsMapped = aValue.as<TomlValue::Boolean>("true or false");
}

constexpr Key<LunTable> lunKeys[] = {
    {"lun", Presence::required, readLun},
    {"inquiry_vendor", Presence::optional, inquiryText<&LunData::mVendor, vendorSize>},
    {"inquiry_product", Presence::optional, inquiryText<&LunData::mProduct, productSize>},
    {"inquiry_revision", Presence::optional, inquiryText<&LunData::mRevision, revisionSize>},
    {"block_size", Presence::optional, readBlockSize},
    {"blocks", Presence::optional, readBlocks},
    {"os_device", Presence::optional, readOsDevice},
    {"luid", Presence::optional, readLuid},
    {"mapped", Presence::optional, readMapped},
    {"fcp_statistics", Presence::optional,
     [](TomlValue const& aValue, LunTable& aTable)
     {
         readCounters<StartReader>(aValue, "[adapter.port.remote.lun.fcp_statistics]",
                                   aTable.mLunData.mStatistics);
     }},
    {"fcp_statistics_per_second", Presence::optional,
     [](TomlValue const& aValue, LunTable& aTable)
     {
         readCounters<GrowthReader>(aValue, "[adapter.port.remote.lun.fcp_statistics_per_second]",
                                    aTable.mLunData.mStatistics);
     }},
};

void readLunTables(TomlValue const& aValue, RemotePort& aPort)
{
    if (aPort.mRole != Role::target)
    {
        aValue.refuse("no key \"lun\" for a port that is not a target");
    }
    readTables(aValue, "[[adapter.port.remote.lun]]", lunKeys, LunTable{0, aPort.mLunData},
               [&](TomlValue const& aTable, LunTable aLun)
               {
                   if (!aPort.mOwnLunData.emplace(aLun.mLun, std::move(aLun.mLunData)).second)
                   {
                       aTable.find("lun")->refuse("a LUN that no other table of this target has");
                   }
                   aPort.mLunTables.push_back(aLun.mLun);
                   if (std::find(aPort.mLuns.begin(), aPort.mLuns.end(), aLun.mLun) == aPort.mLuns.end())
                   {
                       aPort.mLuns.push_back(aLun.mLun);
                   }
               });
}

// "lun" comes last: it adds to the list of LUNs, and its tables inherit the other keys.
constexpr Key<RemotePort> ownKeys[] = {
    {"role", Presence::optional, readRole},
    {"lun_addressing", Presence::optional, readLunAddressing},
    {"luns", Presence::optional, readLuns},
    {"report_luns_minimum", Presence::optional, readReportLunsMinimum},
    {"inquiry_vendor", Presence::optional, inquiryText<&LunData::mVendor, vendorSize>},
    {"inquiry_product", Presence::optional, inquiryText<&LunData::mProduct, productSize>},
    {"inquiry_revision", Presence::optional, inquiryText<&LunData::mRevision, revisionSize>},
    {"block_size", Presence::optional, readBlockSize},
    {"blocks", Presence::optional, readBlocks},
    {"lun", Presence::optional, readLunTables},
};

constexpr auto remotePortKeys = joined(portAttributeKeys<RemotePort>, ownKeys);
}  // namespace

void readRemotePorts(TomlValue const& aValue, Port& aPort)
{
    RemotePort const usual{usualPort({}, aPort.mAttributes.FabricName),
                           Role::target,
                           LunAddressing::automatic,
                           0,
                           {},
                           {},
                           {},
                           {}};
    std::set<std::uint64_t> names;
    readTables(
        aValue, "[[adapter.port.remote]]", remotePortKeys, usual,
        [&](TomlValue const& aTable, RemotePort aRemotePort)
        {
            if (!names.insert(numberOf(aRemotePort.mAttributes.PortWWN)).second)
            {
                aTable.find("port_wwn")->refuse("a port_wwn that no other remote port of this port has");
            }
            aPort.mRemotePorts.push_back(std::move(aRemotePort));
        });
    aPort.mAttributes.NumberofDiscoveredPorts = static_cast<HBA_UINT32>(aPort.mRemotePorts.size());
}
}  // namespace qzsim
