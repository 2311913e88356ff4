/// @file
/// An HBA API to preload that behaves in ways that the simulator cannot. It prints to standard output through
/// stdio and through the descriptor. Its names are arbitrary bytes, its texts are not terminated and its values have no
/// names in the standard. The name of the host has an escape sequence. It prints its calls on standard error.

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>

#include <dlfcn.h>
#include <hbaapi.h>
#include <unistd.h>

namespace
{
/// A name with an escape sequence and a line end, one with invalid UTF-8, and one of great length.
char const* const names[] = {
    "red\x1b[2J\nalert",
    "caf\xc3\xa9-\xff",
    "an-adapter-with-a-name-of-more-characters-than-a-table-has-columns-as-no-one-keeps-a-vendor-"
    "library-from-making-up-one-like-this",
};

constexpr HBA_UINT8 targetName[] = {0x50, 0, 0, 0, 0xab, 0, 0, 1};

/// LUN 5 in flat space addressing, and a LUN in extended addressing, which has no plain number.
constexpr HBA_UINT8 flatLun[] = {0x40, 5, 0, 0, 0, 0, 0, 0};
constexpr HBA_UINT8 extendedLun[] = {0xd2, 0, 0, 1, 0, 0, 0, 9};

template <std::size_t size>
void fillUp(char (&aField)[size], char aByte)
{
    std::memset(aField, aByte, size);
}

/// Loads and calls the library that the environment names, if any.
void loadNoisyLibrary()
{
    char const* const path = std::getenv("NOISY_LIBRARY");
    void* const library = path == nullptr ? nullptr : dlopen(path, RTLD_NOW);
    if (library != nullptr)
    {
        reinterpret_cast<void (*)(char const*)>(dlsym(library, "printNoise"))("call");
    }
}

void printCall(char const* aCall) { std::fprintf(stderr, "%s\n", aCall); }
}  // namespace

extern "C"
{
    /// Replaces the function of the C library.
    int gethostname(char* aName, std::size_t aSize) noexcept
    {
        std::snprintf(aName, aSize, "host\x1b[2J");
        return 0;
    }

    HBA_STATUS HBA_LoadLibrary()
    {
        printCall("HBA_LoadLibrary");
        std::printf("complaint through stdio\n");
        loadNoisyLibrary();
        char const complaint[] = "complaint through the descriptor\n";
        return write(STDOUT_FILENO, complaint, sizeof complaint - 1) > 0 ? HBA_STATUS_OK : HBA_STATUS_ERROR;
    }

    HBA_STATUS HBA_FreeLibrary()
    {
        printCall("HBA_FreeLibrary");
        return HBA_STATUS_OK;
    }

    HBA_UINT32 HBA_GetNumberOfAdapters() { return static_cast<HBA_UINT32>(std::size(names)); }

    HBA_STATUS HBA_GetAdapterName(HBA_UINT32 aIndex, char* aName)
    {
        std::strcpy(aName, names[aIndex]);
        return HBA_STATUS_OK;
    }

    HBA_HANDLE HBA_OpenAdapter(char* aName)
    {
        printCall("HBA_OpenAdapter");
        return std::strcmp(aName, names[0]) == 0 ? HBA_HANDLE_INVALID : 0xabc;
    }

    void HBA_CloseAdapter(HBA_HANDLE) { printCall("HBA_CloseAdapter"); }

    void HBA_RefreshInformation(HBA_HANDLE) { printCall("HBA_RefreshInformation"); }

    HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE, HBA_ADAPTERATTRIBUTES* aAttributes)
    {
        *aAttributes = HBA_ADAPTERATTRIBUTES{};
        fillUp(aAttributes->Manufacturer, 'm');
        fillUp(aAttributes->SerialNumber, 's');
        fillUp(aAttributes->Model, '\x1b');
        std::strcpy(aAttributes->DriverName, "driver\x1b[2J\n");
        aAttributes->NumberOfPorts = 1;
        return HBA_STATUS_OK;
    }

    HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE, HBA_UINT32, HBA_PORTATTRIBUTES* aAttributes)
    {
        *aAttributes = HBA_PORTATTRIBUTES{};
        aAttributes->PortType = 99;
        aAttributes->PortState = 77;
        aAttributes->PortSpeed = 0x40000000;
        aAttributes->PortSupportedSpeed = 0xc0000001;
        fillUp(aAttributes->OSDeviceName, 'd');
        aAttributes->NumberofDiscoveredPorts = 0xffff;
        return HBA_STATUS_OK;
    }

    HBA_STATUS HBA_GetDiscoveredPortAttributes(HBA_HANDLE, HBA_UINT32, HBA_UINT32, HBA_PORTATTRIBUTES*)
    {
        return HBA_STATUS_ERROR_NOT_SUPPORTED;
    }

    HBA_STATUS HBA_GetPortStatistics(HBA_HANDLE, HBA_UINT32, HBA_PORTSTATISTICS* aStatistics)
    {
        char const* const file = std::getenv("CRASH_ONCE");
        if (file != nullptr && std::remove(file) == 0)
        {
            std::abort();
        }
        // The other counters stay as they are.
        aStatistics->TxFrames = 1;
        aStatistics->RxFrames = -2;
        aStatistics->InvalidCRCCount = 0x7fffffffffffffff;
        return HBA_STATUS_OK;
    }

    HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE, HBA_FCPTARGETMAPPING* aMapping)
    {
        aMapping->NumberOfEntries = 1;
        std::memcpy(aMapping->entry[0].FcpId.PortWWN.wwn, targetName, sizeof targetName);
        std::memcpy(&aMapping->entry[0].FcpId.FcpLun, flatLun, sizeof flatLun);
        return HBA_STATUS_OK;
    }

    HBA_STATUS HBA_SendReportLUNs(HBA_HANDLE, HBA_WWN, void* aResponse, HBA_UINT32, void*, HBA_UINT32)
    {
        auto* const response = static_cast<HBA_UINT8*>(aResponse);
        std::memset(response, 0, 8);
        response[3] = sizeof extendedLun;
        std::memcpy(response + 8, extendedLun, sizeof extendedLun);
        return HBA_STATUS_OK;
    }
}
