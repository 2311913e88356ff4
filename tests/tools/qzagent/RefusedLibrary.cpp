/// @file
/// An HBA library that the common library does not accept, for the reason in REFUSAL: it returns an error when it is
/// registered, registers no LoadLibrary function, or has one that fails.

#include <cstdlib>
#include <cstring>
#include <ctime>

#include <hbaapi.h>
#include <vendorhbaapi.h>

namespace
{
bool isRefusal(char const* aText)
{
    char const* const refusal = std::getenv("REFUSAL");
    return refusal != nullptr && std::strcmp(refusal, aText) == 0;
}

HBA_UINT32 version() { return 2; }

HBA_STATUS load() { return isRefusal("load") ? HBA_STATUS_ERROR_UNAVAILABLE : HBA_STATUS_OK; }

HBA_UINT32 numberOfAdapters() { return 0; }

template <typename Table>
HBA_STATUS fill(Table& aTable)
{
    if (isRefusal("register"))
    {
        return HBA_STATUS_ERROR_INCOMPATIBLE;
    }
    aTable.GetVersionHandler = &version;
    aTable.LoadLibraryHandler = isRefusal("no load") ? nullptr : &load;
    aTable.GetNumberOfAdaptersHandler = &numberOfAdapters;
    return HBA_STATUS_OK;
}
}  // namespace

extern "C"
{
    HBA_STATUS HBA_RegisterLibrary(HBA_ENTRYPOINTS* aTable) { return fill(*aTable); }

#ifdef SECOND_VERSION
    HBA_STATUS HBA_RegisterLibraryV2(HBA_ENTRYPOINTSV2* aTable) { return fill(*aTable); }
#endif
}
