// A program that uses the common library of the HBA API and does not know the simulator. Each argument is one step,
// which prints its result.
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <hbaapi.h>
#include <unistd.h>

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
    char const* const read = std::fgets(line, sizeof line, aFile);
    std::fclose(aFile);
    std::printf("file: %s", read == nullptr ? "" : read);
}

/// Opens a file between a failed lookup and the question why it failed.
void printPendingError(std::string const& aPath)
{
    static_cast<void>(::dlsym(RTLD_DEFAULT, "no_such_function"));
    std::FILE* const file = std::fopen(aPath.c_str(), "r");
    char const* const error = ::dlerror();
    std::printf("pending: %s\n", error == nullptr ? "none" : std::strchr(error, ':') + 2);
    if (file != nullptr)
    {
        std::fclose(file);
    }
}

/// Closes all descriptors that the program does not know, as many programs do before they start another one.
void closeFiles(std::string const&)
{
    constexpr int mostFiles = 1024;
    for (int file = 3; file < mostFiles; ++file)
    {
        ::close(file);
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

/// @return the parts of "a/b"
std::pair<std::string, std::string> halvesOf(std::string const& aText)
{
    std::size_t const middle = aText.find('/');
    return {aText.substr(0, middle), aText.substr(middle + 1)};
}

void openByWwn(std::string const& aName)
{
    HBA_STATUS const status = HBA_OpenAdapterByWWN(&gHandle, wwnOf(aName));
    std::printf("open %s: %u, %s\n", aName.c_str(), status,
                gHandle == HBA_HANDLE_INVALID ? "no handle" : "handle");
}

void printMappingsV2(std::string const& aPort)
{
    HBA_FCPTARGETMAPPINGV2 mapping{};
    mapping.NumberOfEntries = 1;
    HBA_STATUS const status = HBA_GetFcpTargetMappingV2(gHandle, wwnOf(aPort), &mapping);
    std::printf("mappings V2: %u of %u, id %06x, luid ", status, mapping.NumberOfEntries,
                mapping.entry[0].FcpId.FcId);
    std::string luid(mapping.entry[0].LUID.buffer, sizeof mapping.entry[0].LUID.buffer);
    luid.resize(luid.find_last_not_of('\0') + 1);
    for (char const byte : luid)
    {
        std::printf("%02x", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
    }
    std::printf("\n");
}

/// Sends REPORT LUNS, and INQUIRY and READ CAPACITY to LUN 0.
void printTargetV2(std::string const& aPortAndTarget)
{
    auto const [portName, targetName] = halvesOf(aPortAndTarget);
    HBA_WWN const port = wwnOf(portName);
    HBA_WWN const target = wwnOf(targetName);
    char response[nameBufferSize] = {};
    char sense[nameBufferSize] = {};
    HBA_UINT8 scsiStatus = 0xff;
    HBA_UINT32 size = sizeof response;
    HBA_UINT32 senseSize = sizeof sense;
    HBA_STATUS status =
        HBA_ScsiReportLUNsV2(gHandle, port, target, response, &size, &scsiStatus, sense, &senseSize);
    std::printf("luns V2: %u, SCSI status %u, %u bytes, %u of sense\n", status, scsiStatus, size, senseSize);
    size = sizeof response;
    senseSize = sizeof sense;
    status =
        HBA_ScsiInquiryV2(gHandle, port, target, 0, 0, 0, response, &size, &scsiStatus, sense, &senseSize);
    std::printf("inquiry V2: %u, SCSI status %u, %u bytes \"%s\"\n", status, scsiStatus, size, response + 8);
    size = 8;
    senseSize = sizeof sense;
    status =
        HBA_ScsiReadCapacityV2(gHandle, port, target, 0, response, &size, &scsiStatus, sense, &senseSize);
    std::printf("capacity V2: %u, SCSI status %u, %u bytes\n", status, scsiStatus, size);
}

void printFc4Statistics(std::string const& aPort)
{
    constexpr HBA_UINT8 fcp = 8;
    HBA_FC4STATISTICS statistics{};
    HBA_STATUS const status = HBA_GetFC4Statistics(gHandle, wwnOf(aPort), fcp, &statistics);
    std::printf("FC-4 statistics: %u, %lld\n", status, static_cast<long long>(statistics.InputRequests));
}

void printFcpStatistics(std::string const& aLun)
{
    HBA_SCSIID lun{};
    lun.ScsiOSLun = static_cast<HBA_UINT32>(std::stoul(aLun));
    HBA_FC4STATISTICS statistics{};
    HBA_STATUS const status = HBA_GetFCPStatistics(gHandle, &lun, &statistics);
    std::printf("FCP statistics: %u, %lld\n", status, static_cast<long long>(statistics.InputRequests));
}

constexpr std::size_t lineSize = 128;

std::mutex gEventMutex;
std::condition_variable gEventArrived;
std::vector<std::string> gEvents;
HBA_CALLBACKHANDLE gCallback = nullptr;
HBA_CALLBACKHANDLE gNewAdaptersCallback = nullptr;
char gLinkBuffer[4] = {};

/// Keeps the line for the step that waits for it. Printed at once, it could come before the line of the registration.
void addEvent(char const* aLine)
{
    std::lock_guard const lock(gEventMutex);
    gEvents.emplace_back(aLine);
    gEventArrived.notify_all();
}

/// @return the last byte of a name
unsigned int endOf(HBA_WWN const& aName) { return aName.wwn[7]; }

void onAdapterEvent(void* aData, HBA_WWN aPort, HBA_UINT32 aType)
{
    char line[lineSize];
    std::snprintf(line, sizeof line, "%s: %03x of %u\n", static_cast<char const*>(aData), aType,
                  endOf(aPort));
    addEvent(line);
}

void onPortEvent(void* aData, HBA_WWN aPort, HBA_UINT32 aType, HBA_UINT32 aFabricPortId)
{
    char line[lineSize];
    std::snprintf(line, sizeof line, "%s: %03x of %u, fabric port %06x\n", static_cast<char const*>(aData),
                  aType, endOf(aPort), aFabricPortId);
    addEvent(line);
}

void onTargetEvent(void* aData, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT32 aType)
{
    char line[lineSize];
    std::snprintf(line, sizeof line, "%s: %03x of %u at %u\n", static_cast<char const*>(aData), aType,
                  endOf(aTarget), endOf(aPort));
    addEvent(line);
}

void onLinkEvent(void* aData, HBA_WWN aAdapter, HBA_UINT32 aType, void* aBuffer, HBA_UINT32 aSize)
{
    char line[lineSize];
    std::snprintf(line, sizeof line, "%s: %03x of %u, %u bytes, first %u\n", static_cast<char const*>(aData),
                  aType, endOf(aAdapter), aSize,
                  static_cast<unsigned int>(*static_cast<unsigned char*>(aBuffer)));
    addEvent(line);
}

char* dataNamed(char const* aText)
{
    static std::map<std::string, std::string> texts;
    return texts.emplace(aText, aText).first->second.data();
}

void watchPort(std::string const& aPort)
{
    HBA_STATUS const status = HBA_RegisterForAdapterPortEvents(onPortEvent, dataNamed("port event"), gHandle,
                                                               wwnOf(aPort), &gCallback);
    std::printf("watch port: %u\n", status);
}

void watchStatistics(std::string const& aPort)
{
    HBA_STATUS const status =
        HBA_RegisterForAdapterPortStatEvents(onAdapterEvent, dataNamed("statistics event"), gHandle,
                                             wwnOf(aPort), {}, HBA_EVENT_PORT_STAT_GROWTH, &gCallback);
    std::printf("watch statistics: %u\n", status);
}

void watchTargets(std::string const& aPort)
{
    HBA_STATUS const status = HBA_RegisterForTargetEvents(onTargetEvent, dataNamed("target event"), gHandle,
                                                          wwnOf(aPort), {}, &gCallback, 1);
    std::printf("watch targets: %u\n", status);
}

void awaitEvents(std::string const& aNumber)
{
    constexpr std::chrono::seconds longest(20);
    std::size_t const number = std::stoul(aNumber);
    std::unique_lock lock(gEventMutex);
    bool const isThere = gEventArrived.wait_for(lock, longest, [number] { return gEvents.size() >= number; });
    for (std::string const& event : gEvents)
    {
        std::fputs(event.c_str(), stdout);
    }
    gEvents.clear();
    std::printf("events: %s\n", isThere ? "all" : "missing");
}

Steps const steps = {
    {"openByWwn", openByWwn},
    {"mappingsV2", printMappingsV2},
    {"targetV2", printTargetV2},
    {"fc4Statistics", printFc4Statistics},
    {"fcpStatistics", printFcpStatistics},
    {"watchAdapters",
     [](std::string const&)
     {
         std::printf("watch adapters: %u\n",
                     HBA_RegisterForAdapterAddEvents(onAdapterEvent, dataNamed("new adapter"),
                                                     &gNewAdaptersCallback));
     }},
    {"watchAdapter",
     [](std::string const&)
     {
         std::printf(
             "watch adapter: %u\n",
             HBA_RegisterForAdapterEvents(onAdapterEvent, dataNamed("adapter event"), gHandle, &gCallback));
     }},
    {"watchPort", watchPort},
    {"watchStatistics", watchStatistics},
    {"watchTargets", watchTargets},
    {"watchLink",
     [](std::string const&)
     {
         std::printf("watch link: %u\n",
                     HBA_RegisterForLinkEvents(onLinkEvent, dataNamed("link event"), gLinkBuffer,
                                               sizeof gLinkBuffer, gHandle, &gCallback));
     }},
    {"unwatch", [](std::string const&) { std::printf("unwatch: %u\n", HBA_RemoveCallback(gCallback)); }},
    {"unwatchAdapters", [](std::string const&)
     { std::printf("unwatch adapters: %u\n", HBA_RemoveCallback(gNewAdaptersCallback)); }},
    {"await", awaitEvents},
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
    {"closefiles", closeFiles},
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
