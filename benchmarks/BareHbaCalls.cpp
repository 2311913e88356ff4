// Makes the calls of the HBA API that qzagent inventory makes, and nothing else. The argument "ports" leaves out
// REPORT LUNS, as qzagent ports does. Prints the number of mappings.
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include <hbaapi.h>

namespace
{
constexpr HBA_UINT32 firstCount = 256;
constexpr std::size_t reportSize = 8 + 512 * 8;

using Mapping = std::unique_ptr<HBA_FCPTARGETMAPPING, decltype(&std::free)>;

void require(bool aIsDone, char const* aCall)
{
    if (!aIsDone)
    {
        std::fprintf(stderr, "bare calls: %s failed\n", aCall);
        std::exit(1);
    }
}

Mapping allocate(HBA_UINT32 aCount)
{
    std::size_t const size = offsetof(HBA_FCPTARGETMAPPING, entry) + aCount * sizeof(HBA_FCPSCSIENTRY);
    Mapping mapping(static_cast<HBA_FCPTARGETMAPPING*>(std::calloc(1, size)), &std::free);
    require(mapping != nullptr, "calloc");
    mapping->NumberOfEntries = aCount;
    return mapping;
}

Mapping mappingsOf(HBA_HANDLE aHandle)
{
    Mapping mapping = allocate(firstCount);
    HBA_STATUS status = HBA_GetFcpTargetMapping(aHandle, mapping.get());
    if (status == HBA_STATUS_ERROR_MORE_DATA)
    {
        mapping = allocate(mapping->NumberOfEntries);
        status = HBA_GetFcpTargetMapping(aHandle, mapping.get());
    }
    require(status == HBA_STATUS_OK, "HBA_GetFcpTargetMapping");
    return mapping;
}

void readPorts(HBA_HANDLE aHandle)
{
    HBA_ADAPTERATTRIBUTES adapter{};
    require(HBA_GetAdapterAttributes(aHandle, &adapter) == HBA_STATUS_OK, "HBA_GetAdapterAttributes");
    for (HBA_UINT32 i = 0; i < adapter.NumberOfPorts; ++i)
    {
        HBA_PORTATTRIBUTES port{};
        require(HBA_GetAdapterPortAttributes(aHandle, i, &port) == HBA_STATUS_OK,
                "HBA_GetAdapterPortAttributes");
        for (HBA_UINT32 j = 0; j < port.NumberofDiscoveredPorts; ++j)
        {
            HBA_PORTATTRIBUTES remote{};
            require(HBA_GetDiscoveredPortAttributes(aHandle, i, j, &remote) == HBA_STATUS_OK,
                    "HBA_GetDiscoveredPortAttributes");
        }
    }
}

/// Queries one target port, that of the first mapping: the scenario of benchmarks/inventory has no others.
void reportLuns(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING const& aMapping)
{
    std::array<unsigned char, reportSize> report{};
    std::array<unsigned char, 252> sense{};
    require(HBA_SendReportLUNs(aHandle, aMapping.entry[0].FcpId.PortWWN, report.data(), reportSize,
                               sense.data(), sense.size()) == HBA_STATUS_OK,
            "HBA_SendReportLUNs");
}

HBA_UINT32 readAdapter(HBA_UINT32 aIndex, bool aHasReports)
{
    std::array<char, 256> name{};
    require(HBA_GetAdapterName(aIndex, name.data()) == HBA_STATUS_OK, "HBA_GetAdapterName");
    HBA_HANDLE const handle = HBA_OpenAdapter(name.data());
    require(handle != HBA_HANDLE_INVALID, "HBA_OpenAdapter");
    HBA_RefreshInformation(handle);
    readPorts(handle);
    Mapping const mapping = mappingsOf(handle);
    if (aHasReports && mapping->NumberOfEntries > 0)
    {
        reportLuns(handle, *mapping);
    }
    HBA_CloseAdapter(handle);
    return mapping->NumberOfEntries;
}
}  // namespace

int main(int aCount, char** aArguments)
{
    bool const hasReports = aCount < 2 || std::string(aArguments[1]) != "ports";
    require(HBA_LoadLibrary() == HBA_STATUS_OK, "HBA_LoadLibrary");
    HBA_UINT32 mappings = 0;
    for (HBA_UINT32 i = 0, count = HBA_GetNumberOfAdapters(); i < count; ++i)
    {
        mappings += readAdapter(i, hasReports);
    }
    HBA_FreeLibrary();
    std::printf("%u\n", static_cast<unsigned int>(mappings));
}
