/// @file
/// An HBA API, to be preloaded, that behaves as no simulator of a good one can: it prints to standard output
/// in both ways there are, and its names are raw bytes. It tells every call on standard error.

#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>

#include <hbaapi.h>
#include <unistd.h>

namespace
{
/// A cursor movement with a line end, invalid UTF-8, and a name as long as names can be.
char const* const names[] = {
    "red\x1b[2J\nalert",
    "caf\xc3\xa9-\xff",
    "an-adapter-with-a-name-of-more-characters-than-a-table-has-columns-as-no-one-keeps-a-vendor-"
    "library-from-making-up-one-like-this",
};

void tell(char const* aCall) { std::fprintf(stderr, "%s\n", aCall); }
}  // namespace

extern "C"
{
    HBA_STATUS HBA_LoadLibrary()
    {
        tell("HBA_LoadLibrary");
        std::printf("complaint through stdio\n");
        char const complaint[] = "complaint through the descriptor\n";
        return write(STDOUT_FILENO, complaint, sizeof complaint - 1) > 0 ? HBA_STATUS_OK : HBA_STATUS_ERROR;
    }

    HBA_STATUS HBA_FreeLibrary()
    {
        tell("HBA_FreeLibrary");
        return HBA_STATUS_OK;
    }

    HBA_UINT32 HBA_GetNumberOfAdapters() { return static_cast<HBA_UINT32>(std::size(names)); }

    HBA_STATUS HBA_GetAdapterName(HBA_UINT32 aIndex, char* apName)
    {
        std::strcpy(apName, names[aIndex]);
        return HBA_STATUS_OK;
    }

    HBA_HANDLE HBA_OpenAdapter(char* apName)
    {
        tell("HBA_OpenAdapter");
        return std::strcmp(apName, names[0]) == 0 ? HBA_HANDLE_INVALID : 0xabc;
    }

    void HBA_CloseAdapter(HBA_HANDLE) { tell("HBA_CloseAdapter"); }

    void HBA_RefreshInformation(HBA_HANDLE) { tell("HBA_RefreshInformation"); }
}
