/// @file
/// A scripted vendor library, and a scripted dynamic linker that finds it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>

#include <hbaapi.h>

#include "agentkit/testing/FakeLinker.h"
#include "agentkit/testing/UncountedAllocator.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"

namespace qz
{
/// Holds the answers of the dynamic linker and the vendor library, and records their arguments. Only one object
/// may exist at a time. It takes nothing from operator new once it is set up.
/// @ingroup agentkit
class FakeVqm : public FakeLinker
{
public:
    static constexpr std::size_t versionTextSize = 128;    ///< size of the area for the library's version
    static constexpr std::size_t driverRecordSize = 152;   ///< size of the driver record
    static constexpr std::size_t tableSize = 3456;         ///< size of the diagnostic environment's table
    static constexpr std::size_t driverTextPosition = 52;  ///< where the driver's version is in the table
    static constexpr std::size_t linkRecordSize = 168;     ///< size of the link record

    using Name = std::array<unsigned char, 8>;  ///< the bytes of a World Wide Name

    FakeVqm();
    ~FakeVqm() override;

    void* open(char const* aPath, int aMode) noexcept override;
    void* find(void* aHandle, char const* aSymbol) noexcept override;
    char* takeError() noexcept override;
    int close(void* aHandle) noexcept override;

    /// @return the instance that the library's functions use
    static FakeVqm& instance();

    /// Receives each call with its arguments before it is answered: "dlopen(/usr/lib/libvqm.so, 1)" with the
    /// mode, "dlsym(1, VQM_GetLibVer)" and "dlclose(1)" with the handle, "VQM_GetDrvInfo(0)" with the board.
    /// The text has no areas and callbacks, which the members below contain. A call of the function mMoved is
    /// preceded by "moved".
    std::function<void(char const* aCall)> mOnCall;

    /// @name Answers of the dynamic linker
    /// @{
    std::uintptr_t mHandle = 1;                          ///< returned by dlopen; 0 when there is no library
    std::string mMissing;                                ///< the function that the library lacks
    std::string mMoved;                                  ///< the function that dlsym finds at another address
    char const* mError = nullptr;                        ///< returned by dlerror, once
    char const* mOpenError = "libvqm.so: no such file";  ///< the error of a failed dlopen
    char const* mFindError = "libvqm.so: no such function";  ///< the error of a failed dlsym
    /// @}

    /// @name Answers of the vendor library
    /// A text that is longer than its area is truncated without a terminator.
    /// @{
    std::string mLibraryVersion = "7.2.20.6";           ///< of VQM_GetLibVer
    unsigned int mNumAdapters = 1;                      ///< returned by VQM_InitDiagEnv
    std::string mDriverVersion = "8.0.1";               ///< in the table of VQM_InitDiagEnv
    unsigned int mDriverResult = 0;                     ///< returned by VQM_GetDrvInfo
    unsigned char mDriverRecordVersion = 4;             ///< in the driver record
    unsigned long long mFeatureList = 0x100;            ///< in the driver record
    unsigned int mLinkResult = 0;                       ///< returned by VQM_GetLinkInfo
    Name mSecondName = {0x10, 0, 0, 0, 0xc9, 0, 0, 1};  ///< at 152
    Name mFirstName = {0x20, 0, 0, 0, 0xc9, 0, 0, 1};   ///< at 160
    unsigned int mEventResult = 0;                      ///< returned by the four event functions
    std::optional<unsigned int> mRegistrationId = 0;    ///< stored for the caller, if any
    /// @}

    UncountedVector<void const*> mAreas;  ///< the areas that the library was asked to fill

    /// @name Arguments of the last calls
    /// @{
    std::array<unsigned char, versionTextSize> mVersionTextOnEntry = {};  ///< the area before it was filled
    std::array<unsigned char, tableSize> mTableOnEntry = {};              ///< the table before it was filled
    std::array<unsigned char, driverRecordSize> mDriverRecordOnEntry =
        {};                                                             ///< the record before it was filled
    std::array<unsigned char, linkRecordSize> mLinkRecordOnEntry = {};  ///< the record before it was filled
    QZVqmCallback mVqmCallback = nullptr;                               ///< of RegisterForEvent
    QZQzapiCallback mQzapiCallback = nullptr;                           ///< of VQM_QZ_RegisterForEvent
    void* mQzapiContext = nullptr;                                      ///< of VQM_QZ_RegisterForEvent
    unsigned int* mRegistrationIdPlace = nullptr;                       ///< of VQM_QZ_RegisterForEvent
    HBA_wwn mQzapiPort = {};                                            ///< of VQM_QZ_RegisterForEvent
    /// @}
};
}  // namespace qz
