/// @file
/// Loads the simulated diagnostic library and finds its functions.
#pragma once

#include <array>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/include/QzEvent.h"
#include "simulator/scenario/Wwn.h"
#include "tests/simulator/EventLog.h"
#include "tests/support/ScratchFolder.h"

constexpr char const* firstPort = "10:00:00:00:00:00:00:01";
constexpr char const* otherPort = "10:00:00:00:00:00:00:02";
constexpr char const* secondBoardsPort = "10:00:00:00:00:00:00:11";

/// A scenario with two boards.
constexpr char const* twoBoards =
    "[diagnostics]\nlibrary_version = \"2.1.0\"\ndriver_version = \"4.0.12\"\n"
    "[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:00\"\n"
    "second_wwn = \"10:00:00:00:00:00:00:01\"\n"
    "[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:10\"\n"
    "second_wwn = \"10:00:00:00:00:00:00:11\"\n";

/// @return an event source of category 3 and subcategory 7 at the first port of board 0, with these lines added
inline std::string events(std::string const& aLines)
{
    return "[[diagnostics.event]]\nboard = 0\ncategory = 3\nsubcategory = 7\n" + aLines;
}

/// Loads the library before each test and unloads it after the test.
class DiagnosticLibraryFixture : public testing::Test
{
protected:
    static constexpr unsigned int any = QZ_ANY_CATEGORY;
    static constexpr unsigned int ok = QZ_OK;

    DiagnosticLibraryFixture() { openLibrary(); }

    ~DiagnosticLibraryFixture() override
    {
        closeLibrary();
        ::unsetenv("QZSIM_SCENARIO");
        ::unsetenv("QZSIM_STRIKES");
    }

    /// Frees the environment while the logs of the test still exist.
    void TearDown() override { mFreeDiagEnv(); }

    void openLibrary()
    {
        mLibrary = ::dlopen(QZSIM_VQM_LIBRARY, RTLD_LAZY);
        if (mLibrary == nullptr)
        {
            throw std::runtime_error(::dlerror());
        }
        find("VQM_GetLibVer", mGetLibVer);
        find("VQM_InitDiagEnv", mInitDiagEnv);
        find("VQM_FreeDiagEnv", mFreeDiagEnv);
        find("VQM_GetDrvInfo", mGetDrvInfo);
        find("VQM_GetLinkInfo", mGetLinkInfo);
        find("RegisterForEvent", mRegister);
        find("unRegisterForEvent", mUnregister);
        find("VQM_QZ_RegisterForEvent", mQuazorRegister);
        find("VQM_QZ_unRegisterForEvent", mQuazorUnregister);
    }

    /// Unloads the library: nothing else has it open.
    void closeLibrary() { ::dlclose(mLibrary); }

    void choose(std::string const& aScenario)
    {
        ::setenv("QZSIM_SCENARIO", mFolder.write("scenario.toml", aScenario).c_str(), 1);
    }

    /// Opens the environment of the scenario.
    /// @return the number of boards
    unsigned int init(std::string const& aScenario)
    {
        choose(aScenario);
        return init();
    }

    unsigned int init() { return mInitDiagEnv(mTable.data(), 32); }

    static HBA_WWN wwn(char const* aText) { return qzsim::wwnIn(aText).value(); }

    unsigned int registerPlain(unsigned int aBoard, unsigned int aCategory, unsigned int aSubcategory,
                               EventLog& aLog)
    {
        return mRegister(aBoard, aCategory, &aLog, aSubcategory, &EventLog::takePlain, nullptr);
    }

    unsigned int registerQuazor(unsigned int aBoard, char const* aPort, unsigned int aCategory,
                                unsigned int aSubcategory, EventLog& aLog)
    {
        return mQuazorRegister(aBoard, wwn(aPort), aCategory, aSubcategory, &aLog, &mId,
                               &EventLog::takeQuazor);
    }

    unsigned int unregisterQuazor(unsigned int aBoard, char const* aPort, unsigned int aId)
    {
        return mQuazorUnregister(aBoard, wwn(aPort), aId);
    }

    ScratchFolder mFolder;
    void* mLibrary = nullptr;
    std::array<unsigned char, 3456> mTable = {};
    unsigned int mId = 0;  ///< identifier of the last Quazor registration
    EventLog mLog;
    EventLog mOther;

    void (*mGetLibVer)(char*) = nullptr;
    unsigned int (*mInitDiagEnv)(void*, unsigned int) = nullptr;
    void (*mFreeDiagEnv)() = nullptr;
    unsigned int (*mGetDrvInfo)(unsigned int, void*) = nullptr;
    unsigned int (*mGetLinkInfo)(unsigned int, void*) = nullptr;
    unsigned int (*mRegister)(unsigned int, unsigned int, void*, unsigned int, decltype(&EventLog::takePlain),
                              void*) = nullptr;
    unsigned int (*mUnregister)(unsigned int, unsigned int) = nullptr;
    unsigned int (*mQuazorRegister)(unsigned int, HBA_WWN, unsigned int, unsigned int, void*, unsigned int*,
                                    decltype(&EventLog::takeQuazor)) = nullptr;
    unsigned int (*mQuazorUnregister)(unsigned int, HBA_WWN, unsigned int) = nullptr;

private:
    template <typename Function>
    void find(char const* aName, Function*& aFunction)
    {
        aFunction = reinterpret_cast<Function*>(::dlsym(mLibrary, aName));
        if (aFunction == nullptr)
        {
            throw std::runtime_error(aName);
        }
    }
};
