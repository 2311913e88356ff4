// The vendor library's side of the HBA API: the entry points in C, and their registration.
#include <cstdio>
#include <ctime>
#include <exception>

#include <fmt/format.h>
#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "simulator/Environment.h"
#include "simulator/HbaSimulation.h"
#include "simulator/ScenarioError.h"
#include "simulator/ScenarioReader.h"

namespace
{
qzsim::HbaSimulation& simulation()
{
    static qzsim::HbaSimulation instance;
    return instance;
}

/// What the action returns; the other answer when it throws, as no exception may cross into C.
template <typename Answer, typename Action>
Answer answerOf(Answer aFailure, Action aAction) noexcept
{
    try
    {
        return aAction();
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "libqzsim: %s\n", error.what());
        return aFailure;
    }
}

qzsim::Scenario readScenarioOfEnvironment()
{
    char const* const path = qzsim::scenarioOfEnvironment();
    if (path == nullptr)
    {
        throw qzsim::ScenarioError(
            fmt::format("{} names no scenario, and must hold the path of one", qzsim::scenarioVariable));
    }
    return qzsim::readScenario(path);
}

HBA_UINT32 getVersion() { return HBA_LIBVERSION; }

HBA_STATUS loadLibrary()
{
    return answerOf<HBA_STATUS>(HBA_STATUS_ERROR,
                                [] { return simulation().load(readScenarioOfEnvironment()); });
}

HBA_STATUS freeLibrary()
{
    return answerOf<HBA_STATUS>(HBA_STATUS_ERROR, [] { return simulation().free(); });
}

HBA_UINT32 getNumberOfAdapters()
{
    return answerOf<HBA_UINT32>(0, [] { return simulation().numberOfAdapters(); });
}

HBA_STATUS getAdapterName(HBA_UINT32 aIndex, char* aName)
{
    return answerOf<HBA_STATUS>(HBA_STATUS_ERROR, [=] { return simulation().adapterName(aIndex, aName); });
}

HBA_HANDLE openAdapter(char* aName)
{
    return answerOf<HBA_HANDLE>(HBA_HANDLE_INVALID, [=] { return simulation().openAdapter(aName); });
}

void closeAdapter(HBA_HANDLE aHandle)
{
    answerOf<HBA_STATUS>(HBA_STATUS_ERROR,
                         [=]
                         {
                             simulation().closeAdapter(aHandle);
                             return HBA_STATUS_OK;
                         });
}

// Scenarios do not change while they are loaded, so there is nothing to read again.
void refreshInformation(HBA_HANDLE) {}

/// Fills either form of the entry table; what is left null the common library answers as not supported.
template <typename Table>
HBA_STATUS fillTable(Table* aTable)
{
    if (aTable == nullptr)
    {
        return HBA_STATUS_ERROR_ARG;
    }
    *aTable = Table{};
    aTable->GetVersionHandler = getVersion;
    aTable->LoadLibraryHandler = loadLibrary;
    aTable->FreeLibraryHandler = freeLibrary;
    aTable->GetNumberOfAdaptersHandler = getNumberOfAdapters;
    aTable->GetAdapterNameHandler = getAdapterName;
    aTable->OpenAdapterHandler = openAdapter;
    aTable->CloseAdapterHandler = closeAdapter;
    aTable->RefreshInformationHandler = refreshInformation;
    return HBA_STATUS_OK;
}
}  // namespace

extern "C" HBA_STATUS HBA_RegisterLibrary(HBA_ENTRYPOINTS* aTable) { return fillTable(aTable); }

extern "C" HBA_STATUS HBA_RegisterLibraryV2(HBA_ENTRYPOINTSV2* aTable) { return fillTable(aTable); }
