// The diagnostic library: C entry points.
#include <atomic>
#include <ctime>
#include <exception>
#include <stdexcept>

#include <fmt/format.h>
#include <hbaapi.h>

#include "simulator/control/EnvironmentVariables.h"
#include "simulator/diagnostic/DiagnosticSimulation.h"
#include "simulator/include/QzEvent.h"
#include "simulator/library/EntryPoint.h"
#include "simulator/library/HiddenFunctions.h"
#include "simulator/library/KeptLibrary.h"
#include "simulator/library/Lifetime.h"
#include "simulator/scenario/Calls.h"

namespace
{
using Simulation = qzsim::DiagnosticSimulation;
using Lifetime = qzsim::Lifetime<Simulation>;

/// Whether the program has closed the library, which stays loaded to report calls.
std::atomic<bool> gIsClosed = false;

/// An unreadable scenario is reported by the calls.
void hideMissingFunctions() noexcept
{
    try
    {
        for (qzsim::Call const call : qzsim::readScenarioOfEnvironment().mDiagnostics.mMissingFunctions)
        {
            qzsim::hideFunction(nameOf(call));
        }
    }
    catch (std::exception const&)
    {
    }
}

[[gnu::constructor]] void load()
{
    Lifetime::load();
    hideMissingFunctions();
}

[[gnu::destructor]] void unload() { Lifetime::unload(); }

/// @param aFunction the function that the program calls
/// @throws std::runtime_error after the program has closed the library
Simulation& simulationFor(char const* aFunction)
{
    if (gIsClosed)
    {
        throw std::runtime_error(
            fmt::format("{} was called after the last dlclose of the library", aFunction));
    }
    return qzsim::simulation<Simulation>();
}

/// Calls a method that returns a result.
template <typename... Parameters, typename... Arguments>
unsigned int resultOf(char const* aFunction, unsigned int (Simulation::*aMethod)(Parameters...),
                      Arguments... aArguments)
{
    return qzsim::answerOf<unsigned int>(QZ_NO_ENVIRONMENT,
                                         [=] { return (simulationFor(aFunction).*aMethod)(aArguments...); });
}

/// Calls a method that returns nothing.
template <typename... Parameters, typename... Arguments>
void call(char const* aFunction, void (Simulation::*aMethod)(Parameters...), Arguments... aArguments)
{
    qzsim::answerOf<bool>(false,
                          [=]
                          {
                              (simulationFor(aFunction).*aMethod)(aArguments...);
                              return true;
                          });
}
}  // namespace

extern "C" void QZSIM_KeepLoaded()
{
    qzsim::keepLoaded(reinterpret_cast<void const*>(&unload));
    gIsClosed = false;
}

extern "C" void QZSIM_Close() { gIsClosed = Lifetime::close(); }

// QZ_SIMULATOR_MARKER
extern "C" void QZSIM_IsSimulator() {}

extern "C" void VQM_GetLibVer(char* aText) { call(__func__, &Simulation::libraryVersion, aText); }

extern "C" unsigned int VQM_InitDiagEnv(void* aTable, unsigned int aCapacity)
{
    char const* const function = __func__;
    return qzsim::answerOf<unsigned int>(0, [=] { return simulationFor(function).open(aTable, aCapacity); });
}

extern "C" void VQM_FreeDiagEnv() { call(__func__, &Simulation::close); }

extern "C" unsigned int VQM_GetDrvInfo(unsigned int aBoard, void* aRecord)
{
    return resultOf(__func__, &Simulation::driverInfo, aBoard, aRecord);
}

extern "C" unsigned int VQM_GetLinkInfo(unsigned int aBoard, void* aRecord)
{
    return resultOf(__func__, &Simulation::linkInfo, aBoard, aRecord);
}

extern "C" unsigned int RegisterForEvent(unsigned int aBoard, unsigned int aCategory, void* aContext,
                                         unsigned int aSubcategory, qzsim::PlainCallback aCallback, void*)
{
    return resultOf(__func__, &Simulation::registerPlain, aBoard, aCategory, aContext, aSubcategory,
                    aCallback);
}

extern "C" unsigned int unRegisterForEvent(unsigned int aBoard, unsigned int aCategory)
{
    return resultOf(__func__, &Simulation::unregisterPlain, aBoard, aCategory);
}

extern "C" unsigned int VQM_QZ_RegisterForEvent(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory,
                                                unsigned int aSubcategory, void* aContext, unsigned int* aId,
                                                qzsim::QuazorCallback aCallback)
{
    return resultOf(__func__, &Simulation::registerQuazor, aBoard, aPort, aCategory, aSubcategory, aContext,
                    aId, aCallback);
}

extern "C" unsigned int VQM_QZ_unRegisterForEvent(unsigned int aBoard, HBA_WWN aPort, unsigned int aId)
{
    return resultOf(__func__, &Simulation::unregisterQuazor, aBoard, aPort, aId);
}
