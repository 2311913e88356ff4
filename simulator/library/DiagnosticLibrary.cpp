// The diagnostic library: C entry points, and initialization and cleanup of the library.
#include <ctime>
#include <new>

#include <hbaapi.h>
#include <pthread.h>

#include "simulator/diagnostic/DiagnosticSimulation.h"
#include "simulator/include/QzEvent.h"
#include "simulator/library/EntryPoint.h"

namespace
{
qzsim::DiagnosticSimulation& simulation();

/// Ends the simulation when the process ends or the library is unloaded.
struct Lifetime
{
    Lifetime()
    {
        ::pthread_atfork([] { simulation().beforeFork(); }, [] { simulation().afterForkInParent(); },
                         [] { simulation().afterForkInChild(); });
    }
    ~Lifetime() { simulation().end(); }
    Lifetime(Lifetime const&) = delete;
    Lifetime& operator=(Lifetime const&) = delete;
};

/// The object is ended but never destroyed: exit handlers of the program may call the library after that.
qzsim::DiagnosticSimulation& simulation()
{
    alignas(qzsim::DiagnosticSimulation) static unsigned char place[sizeof(qzsim::DiagnosticSimulation)];
    static auto* const instance = new (place) qzsim::DiagnosticSimulation;
    static Lifetime const lifetime;
    return *instance;
}

/// Calls a method that returns a result.
template <typename... Parameters, typename... Arguments>
unsigned int resultOf(unsigned int (qzsim::DiagnosticSimulation::*aMethod)(Parameters...),
                      Arguments... aArguments)
{
    return qzsim::answerOf<unsigned int>(QZ_NO_ENVIRONMENT,
                                         [=] { return (simulation().*aMethod)(aArguments...); });
}

/// Calls a method that returns nothing.
template <typename... Parameters, typename... Arguments>
void call(void (qzsim::DiagnosticSimulation::*aMethod)(Parameters...), Arguments... aArguments)
{
    qzsim::answerOf<bool>(false,
                          [=]
                          {
                              (simulation().*aMethod)(aArguments...);
                              return true;
                          });
}
}  // namespace

// QZ_SIMULATOR_MARKER
extern "C" void QZSIM_IsSimulator() {}

extern "C" void VQM_GetLibVer(char* aText) { call(&qzsim::DiagnosticSimulation::libraryVersion, aText); }

extern "C" unsigned int VQM_InitDiagEnv(void* aTable, unsigned int aCapacity)
{
    return qzsim::answerOf<unsigned int>(0, [=] { return simulation().open(aTable, aCapacity); });
}

extern "C" void VQM_FreeDiagEnv() { call(&qzsim::DiagnosticSimulation::close); }

extern "C" unsigned int VQM_GetDrvInfo(unsigned int aBoard, void* aRecord)
{
    return resultOf(&qzsim::DiagnosticSimulation::driverInfo, aBoard, aRecord);
}

extern "C" unsigned int VQM_GetLinkInfo(unsigned int aBoard, void* aRecord)
{
    return resultOf(&qzsim::DiagnosticSimulation::linkInfo, aBoard, aRecord);
}

extern "C" unsigned int RegisterForEvent(unsigned int aBoard, unsigned int aCategory, void* aContext,
                                         unsigned int aSubcategory, qzsim::PlainCallback aCallback, void*)
{
    return resultOf(&qzsim::DiagnosticSimulation::registerPlain, aBoard, aCategory, aContext, aSubcategory,
                    aCallback);
}

extern "C" unsigned int unRegisterForEvent(unsigned int aBoard, unsigned int aCategory)
{
    return resultOf(&qzsim::DiagnosticSimulation::unregisterPlain, aBoard, aCategory);
}

extern "C" unsigned int VQM_QZ_RegisterForEvent(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory,
                                                unsigned int aSubcategory, void* aContext, unsigned int* aId,
                                                qzsim::QuazorCallback aCallback)
{
    return resultOf(&qzsim::DiagnosticSimulation::registerQuazor, aBoard, aPort, aCategory, aSubcategory,
                    aContext, aId, aCallback);
}

extern "C" unsigned int VQM_QZ_unRegisterForEvent(unsigned int aBoard, HBA_WWN aPort, unsigned int aId)
{
    return resultOf(&qzsim::DiagnosticSimulation::unregisterQuazor, aBoard, aPort, aId);
}
