/// @file
/// A common library of the HBA API for the tests of the witness. It is a shared library, because the witness forwards
/// to the next library that has the function.
#pragma once

#include <ctime>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include <hbaapi.h>

/// The answers of the library, and the arguments of its last call.
struct CommonLibrary
{
    HBA_STATUS mStatus = HBA_STATUS_OK;  ///< of every call that has one
    HBA_HANDLE mHandle = 0;              ///< given by HBA_OpenAdapter
    int mScsiStatus = -1;                ///< written by the SCSI calls that report one; none when negative
    std::vector<unsigned char> mSense;   ///< written by the SCSI calls

    std::function<void()> mOnCall;  ///< runs in each call before its answer

    unsigned int mCalls = 0;
    std::string mFunction;
    std::string
        mArguments;  ///< the values of the last SCSI call: numbers, names, and the sizes of the blocks
    std::vector<std::string> mArgumentBytes;  ///< the arguments of the last other call, as they are in memory
};

/// The state of the library.
CommonLibrary& commonLibrary();

/// @return the value as it is in memory
template <typename Value>
std::string bytesOf(Value const& aValue)
{
    auto const* const start = reinterpret_cast<char const*>(&aValue);
    return {start, reinterpret_cast<char const*>(&aValue + 1)};
}

/// @return each of the values as it is in memory
template <typename... Values>
std::vector<std::string> bytesOfEach(std::tuple<Values...> const& aValues)
{
    return std::apply([](auto const&... aValue) { return std::vector<std::string>{bytesOf(aValue)...}; },
                      aValues);
}

/// The functions that return a status, except the SCSI commands, with their numbers of parameters.
#define QZ_HBA_STATUS_FUNCTIONS(X)             \
    X(0, HBA_LoadLibrary)                      \
    X(0, HBA_FreeLibrary)                      \
    X(2, HBA_GetAdapterName)                   \
    X(2, HBA_OpenAdapterByWWN)                 \
    X(2, HBA_GetAdapterAttributes)             \
    X(3, HBA_GetAdapterPortAttributes)         \
    X(3, HBA_GetPortStatistics)                \
    X(4, HBA_GetDiscoveredPortAttributes)      \
    X(3, HBA_GetPortAttributesByWWN)           \
    X(6, HBA_SendCTPassThruV2)                 \
    X(5, HBA_SendCTPassThru)                   \
    X(3, HBA_GetEventBuffer)                   \
    X(2, HBA_SetRNIDMgmtInfo)                  \
    X(2, HBA_GetRNIDMgmtInfo)                  \
    X(7, HBA_SendRNIDV2)                       \
    X(5, HBA_SendRNID)                         \
    X(7, HBA_SendRPL)                          \
    X(8, HBA_SendRPS)                          \
    X(6, HBA_SendSRL)                          \
    X(5, HBA_SendRLS)                          \
    X(7, HBA_SendLIRR)                         \
    X(4, HBA_GetFC4Statistics)                 \
    X(3, HBA_GetFCPStatistics)                 \
    X(2, HBA_GetFcpTargetMapping)              \
    X(3, HBA_GetFcpTargetMappingV2)            \
    X(3, HBA_GetBindingCapability)             \
    X(3, HBA_GetBindingSupport)                \
    X(3, HBA_SetPersistentBindingV2)           \
    X(3, HBA_GetPersistentBindingV2)           \
    X(3, HBA_RemovePersistentBinding)          \
    X(2, HBA_GetFcpPersistentBinding)          \
    X(2, HBA_RemoveAllPersistentBindings)      \
    X(1, HBA_RemoveCallback)                   \
    X(3, HBA_RegisterForAdapterAddEvents)      \
    X(4, HBA_RegisterForAdapterEvents)         \
    X(5, HBA_RegisterForAdapterPortEvents)     \
    X(7, HBA_RegisterForAdapterPortStatEvents) \
    X(7, HBA_RegisterForTargetEvents)          \
    X(6, HBA_RegisterForLinkEvents)

/// The functions that return a number or nothing.
#define QZ_HBA_OTHER_FUNCTIONS(X)         \
    X(0, HBA_GetVersion)                  \
    X(0, HBA_GetNumberOfAdapters)         \
    X(1, HBA_CloseAdapter)                \
    X(0, HBA_RefreshAdapterConfiguration) \
    X(1, HBA_RefreshInformation)          \
    X(2, HBA_ResetStatistics)             \
    X(2, HBA_GetVendorLibraryAttributes)  \
    X(1, HBA_GetWrapperLibraryAttributes)
