// A program that uses the common library of the HBA API and does not know the simulator. Each argument is one step,
// which prints its result.
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <hbaapi.h>

#include "tests/simulator/ProbeLibrary.h"
#include "tests/simulator/Steps.h"

namespace
{
constexpr std::size_t nameBufferSize = 256;

HBA_HANDLE gHandle = HBA_HANDLE_INVALID;

void printName(std::string const& aIndex)
{
    char name[nameBufferSize] = {};
    HBA_STATUS const status = HBA_GetAdapterName(static_cast<HBA_UINT32>(std::stoul(aIndex)), name);
    std::printf("name %s: %u \"%s\"\n", aIndex.c_str(), status, name);
}

void openAdapter(std::string aName)
{
    gHandle = HBA_OpenAdapter(aName.data());
    std::printf("open %s: %u\n", aName.c_str(), gHandle);
}

void printAttributes(std::string const&)
{
    HBA_ADAPTERATTRIBUTES attributes{};
    HBA_STATUS const status = HBA_GetAdapterAttributes(gHandle, &attributes);
    std::printf("attributes: %u \"%s\" with %u ports\n", status, attributes.Model, attributes.NumberOfPorts);
}

void printPort(std::string const& aIndex)
{
    auto const index = static_cast<HBA_UINT32>(std::stoul(aIndex));
    HBA_PORTATTRIBUTES port{};
    HBA_STATUS const status = HBA_GetAdapterPortAttributes(gHandle, index, &port);
    std::printf("port %u: %u id %06x, sees %u\n", index, status, port.PortFcId, port.NumberofDiscoveredPorts);
    for (HBA_UINT32 other = 0; other < port.NumberofDiscoveredPorts; ++other)
    {
        HBA_PORTATTRIBUTES otherPort{};
        HBA_STATUS const otherStatus = HBA_GetDiscoveredPortAttributes(gHandle, index, other, &otherPort);
        std::printf("  port %u: %u id %06x\n", other, otherStatus, otherPort.PortFcId);
    }
}

void printMappings(std::string const& aRoom)
{
    std::size_t const room = std::stoul(aRoom);
    std::vector<std::uint64_t> block(sizeof(HBA_FCPTARGETMAPPING) / sizeof(std::uint64_t) +
                                     room * sizeof(HBA_FCPSCSIENTRY) / sizeof(std::uint64_t) + 1);
    auto* const mapping = reinterpret_cast<HBA_FCPTARGETMAPPING*>(block.data());
    mapping->NumberOfEntries = static_cast<HBA_UINT32>(room);
    HBA_STATUS const status = HBA_GetFcpTargetMapping(gHandle, mapping);
    std::printf("mappings: %u of %u\n", status, mapping->NumberOfEntries);
}

HBA_WWN wwnOf(std::string const& aText)
{
    HBA_WWN name{};
    for (std::size_t index = 0; index < sizeof name.wwn; ++index)
    {
        name.wwn[index] = static_cast<HBA_UINT8>(std::stoul(aText.substr(index * 3, 2), nullptr, 16));
    }
    return name;
}

/// Sends INQUIRY and READ CAPACITY to LUN 0.
void printLun(std::string const& aPort)
{
    HBA_WWN const port = wwnOf(aPort);
    char response[nameBufferSize] = {};
    char sense[nameBufferSize] = {};
    HBA_STATUS const status =
        HBA_SendScsiInquiry(gHandle, port, 0, 0, 0, response, sizeof response, sense, sizeof sense);
    std::printf("inquiry: %u \"%s\"\n", status, response + 8);
    unsigned char capacity[8] = {};
    HBA_STATUS const capacityStatus =
        HBA_SendReadCapacity(gHandle, port, 0, capacity, sizeof capacity, sense, sizeof sense);
    std::printf("capacity: %u with blocks of %u\n", capacityStatus, capacity[6] * 256U + capacity[7]);
}

void printLuns(std::string const& aPort)
{
    HBA_WWN const port = wwnOf(aPort);
    unsigned char response[nameBufferSize] = {};
    unsigned char sense[nameBufferSize] = {};
    HBA_STATUS const status =
        HBA_SendReportLUNs(gHandle, port, response, sizeof response, sense, sizeof sense);
    std::printf("luns: %u, %u bytes, sense key %u\n", status, response[2] * 256U + response[3], sense[2]);
}

void printFirstLine(std::FILE* aFile)
{
    if (aFile == nullptr)
    {
        std::printf("file: absent\n");
        return;
    }
    char line[nameBufferSize] = {};
    std::fgets(line, sizeof line, aFile);
    std::fclose(aFile);
    std::printf("file: %s", line);
}

/// Opens a file between a failed lookup and the question why it failed.
void printPendingError(std::string const& aPath)
{
    ::dlsym(RTLD_DEFAULT, "no_such_function");
    std::FILE* const file = std::fopen(aPath.c_str(), "r");
    char const* const error = ::dlerror();
    std::printf("pending: %s\n", error == nullptr ? "none" : std::strchr(error, ':') + 2);
    if (file != nullptr)
    {
        std::fclose(file);
    }
}

/// Exit function that calls the library after the exit functions of the library.
void callLastly()
{
    std::printf("lastly: %u adapters\n", HBA_GetNumberOfAdapters());
    printName("0");
}

void printVariable(std::string const& aName)
{
    char const* const value = std::getenv(aName.c_str());
    std::printf("%s=%s\n", aName.c_str(), value == nullptr ? "" : value);
}

Steps const steps = {
    {"load", [](std::string const&) { std::printf("load: %u\n", HBA_LoadLibrary()); }},
    {"free", [](std::string const&) { std::printf("free: %u\n", HBA_FreeLibrary()); }},
    {"count", [](std::string const&) { std::printf("count: %u\n", HBA_GetNumberOfAdapters()); }},
    {"name", printName},
    {"open", openAdapter},
    {"close", [](std::string const&) { HBA_CloseAdapter(gHandle); }},
    {"refresh", [](std::string const&) { HBA_RefreshInformation(gHandle); }},
    {"attributes", printAttributes},
    {"port", printPort},
    {"mappings", printMappings},
    {"luns", printLuns},
    {"lun", printLun},
    {"statistics",
     [](std::string const& aIndex)
     {
         HBA_PORTSTATISTICS statistics{};
         auto const port = static_cast<HBA_UINT32>(std::stoul(aIndex));
         HBA_STATUS const status = HBA_GetPortStatistics(gHandle, port, &statistics);
         std::printf("statistics %u: %u rx %lld\n", port, status, statistics.RxFrames);
     }},
    {"file", [](std::string const& aPath) { printFirstLine(std::fopen(aPath.c_str(), "r")); }},
    {"fileFromLibrary", [](std::string const& aPath) { printFirstLine(openFromLibrary(aPath.c_str())); }},
    {"file64", [](std::string const& aPath) { printFirstLine(::fopen64(aPath.c_str(), "r")); }},
    {"pendingError", printPendingError},
    {"ownFunction", [](std::string const&) { std::printf("own function: %u\n", RegisterForEvent(41)); }},
    {"neighbour",
     [](std::string const&) { std::printf("neighbour: %s\n", opensNeighbour() ? "there" : "absent"); }},
    {"lastly", [](std::string const&) { std::atexit(callLastly); }},
    {"variable", printVariable},
    {"exit", [](std::string const& aStatus) { std::exit(std::stoi(aStatus)); }},
    {"raise", [](std::string const& aSignal) { std::raise(std::stoi(aSignal)); }},
};
}  // namespace

int main(int aCount, char** aArguments)
{
    runSteps(steps, aCount, aArguments);
    return 0;
}
