/// @file
/// A scripted vendor diagnostic library, with a scripted dynamic linker to find it.
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

/// The answers that dynamic linker and library give while it lives, and what they were handed. One at a time.
/// AllocationFailure does not notice it.
class FakeVqm : public FakeLinker
{
public:
    static constexpr std::size_t versionTextSize = 128;
    static constexpr std::size_t driverRecordSize = 152;
    static constexpr std::size_t tableSize = 3456;
    static constexpr std::size_t driverTextPosition = 52;
    static constexpr std::size_t linkRecordSize = 168;

    using Name = std::array<unsigned char, 8>;

    FakeVqm();
    ~FakeVqm() override;

    void* open(char const* aPath, int aMode) noexcept override;
    void* find(void* aHandle, char const* aSymbol) noexcept override;
    char* takeError() noexcept override;
    int close(void* aHandle) noexcept override;

    /// The instance that the library's functions answer from.
    static FakeVqm& instance();

    /// Is told each call with its arguments, before it is answered: "dlopen(/usr/lib/libvqm.so, 1)" with the
    /// mode, "dlsym(1, VQM_GetLibVer)" and "dlclose(1)" with the handle, "VQM_GetDrvInfo(0)" with the board.
    /// Areas and callbacks are left out: they are in the members below. A call that reaches mMoved at its new
    /// place is told as "moved" first.
    std::function<void(char const* aCall)> mOnCall;

    /// @name What the dynamic linker answers
    /// @{
    std::uintptr_t mHandle = 1;                              ///< given by dlopen; 0 when there is no library
    std::string mMissing;                                    ///< the one function that the library lacks
    std::string mMoved;                                      ///< the one function found elsewhere than before
    char const* mError = nullptr;                            ///< given by dlerror, once
    char const* mOpenError = "libvqm.so: no such file";      ///< of the failed dlopen
    char const* mFindError = "libvqm.so: no such function";  ///< of the failed dlsym
    /// @}

    /// @name What the library answers
    /// Texts are cut, without a terminator, where the area that they go to ends.
    /// @{
    std::string mLibraryVersion = "7.2.20.6";
    unsigned int mNumAdapters = 1;
    std::string mDriverVersion = "8.0.1";
    unsigned int mDriverResult = 0;
    unsigned char mDriverRecordVersion = 4;
    unsigned long long mFeatureList = 0x100;
    unsigned int mLinkResult = 0;
    Name mSecondName = {0x10, 0, 0, 0, 0xc9, 0, 0, 1};  ///< at 152
    Name mFirstName = {0x20, 0, 0, 0, 0xc9, 0, 0, 1};   ///< at 160
    unsigned int mEventResult = 0;
    std::optional<unsigned int> mRegistrationId = 0;  ///< stored for the caller; none when nothing is
    /// @}

    UncountedVector<void const*> mAreas;  ///< all that the library was handed to fill

    /// @name What the library was handed last
    /// @{
    std::array<unsigned char, versionTextSize> mVersionTextOnEntry = {};
    std::array<unsigned char, tableSize> mTableOnEntry = {};
    std::array<unsigned char, driverRecordSize> mDriverRecordOnEntry = {};
    std::array<unsigned char, linkRecordSize> mLinkRecordOnEntry = {};
    QZVqmCallback mVqmCallback = nullptr;
    QZQzapiCallback mQzapiCallback = nullptr;
    void* mQzapiContext = nullptr;
    unsigned int* mRegistrationIdPlace = nullptr;
    HBA_wwn mQzapiPort = {};
    /// @}
};
