// The owners with a scripted vendor library. The layer's state belongs to the process, so each run has its own process.
#include <algorithm>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>
#include <sys/mman.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/ScopeEvents.h"
#include "agentkit/include/VqmLibrary.h"
#include "agentkit/include/Wwn.h"
#include "agentkit/testing/FakeHbaapi.h"
#include "agentkit/testing/FakeVqm.h"
#include "agentkit/testing/UncountedAllocator.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Circumstances.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using qz::BoardNames;
using qz::VqmEnvironment;
using qz::VqmLibrary;
using qz::VqmRegistration;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Not;

namespace
{
using Calls = std::vector<std::string>;

constexpr char functionMissing[] = "QZCNotAllowedEx 9: dlsym Failed";
constexpr char libraryFreed[] = "QZCNotAllowedEx 9: LIBVQM is not loaded";
constexpr char loadFailed[] = "QZCNotFoundEx 8: No libvqm located";
constexpr char loading[] = "dlopen(/usr/lib/libvqm.so, 1)";
constexpr char freeing[] = "dlclose(1)";
constexpr char initialising[] = "VQM_InitDiagEnv(32)";
constexpr char closing[] = "VQM_FreeDiagEnv()";
constexpr char quazorBegin[] = "VQM_QZ_RegisterForEvent(0, 10000000c9000001, 3, 7)";
constexpr char quazorEnd[] = "VQM_QZ_unRegisterForEvent(0, 10000000c9000001, 42)";
constexpr char plainBegin[] = "RegisterForEvent(0, 5, (nil), 6, 0)";
constexpr char plainEnd[] = "unRegisterForEvent(0, 5)";

/// The calls of the first opening of the environment in a process.
Calls const opening = {initialising, "VQM_GetLibVer()", "VQM_GetDrvInfo(0)"};

std::vector<std::string> const vqmFunctions = {
    "VQM_InitDiagEnv",           "VQM_GetLibVer",           "VQM_GetDrvInfo",
    "VQM_GetLinkInfo",           "VQM_QZ_RegisterForEvent", "RegisterForEvent",
    "VQM_QZ_unRegisterForEvent", "unRegisterForEvent",      "VQM_FreeDiagEnv"};

Calls operator+(Calls aFirst, Calls const& aSecond)
{
    aFirst.insert(aFirst.end(), aSecond.begin(), aSecond.end());
    return aFirst;
}

void ignoreQuazorEvent(unsigned int, HBA_wwn, unsigned int, unsigned int, void*, QZ_event*) {}
void ignorePlainEvent(unsigned int, ...) {}

/// A vendor library that records its calls, without the lookups.
class LoggedVqm
{
public:
    LoggedVqm()
    {
        mVqm.mRegistrationId = 42;
        mVqm.mOnCall = [this](char const* aCall)
        {
            qz::UncountedString const call = aCall;
            if (call != "dlerror()" && call.rfind("dlsym(", 0) != 0)
            {
                keep(aCall);
            }
        };
    }

    void keep(char const* aCall) { mCalls.emplace_back(aCall); }

    Calls calls() const
    {
        Calls calls;
        for (qz::UncountedString const& call : mCalls)
        {
            calls.emplace_back(call.c_str());
        }
        return calls;
    }

    long timesOf(std::string const& aFunction) const
    {
        Calls const all = calls();
        return std::count_if(all.begin(), all.end(),
                             [&](std::string const& aCall) { return aCall.rfind(aFunction + '(', 0) == 0; });
    }

    qz::FakeVqm mVqm;

private:
    qz::UncountedVector<qz::UncountedString> mCalls;
};

VqmRegistration registerQuazor(VqmLibrary& aLibrary, QZCPointer<QZCWorldWideName> const& aPort)
{
    return VqmRegistration::quazor(aLibrary, 0, aPort, qz::makeScopeEvent(3, 7), nullptr, ignoreQuazorEvent);
}

VqmRegistration registerPlain(VqmLibrary& aLibrary)
{
    return VqmRegistration::plain(aLibrary, 0, 5, nullptr, 6, ignorePlainEvent);
}

/// Number of steps of an agent from loading the library to its last registration.
constexpr unsigned int allSteps = 5;

/// The exception that the agent throws.
constexpr char agentFailed[] = "std::runtime_error: the agent failed";

/// Takes the first steps of an agent, which then fails unless it has taken all of them.
void takeSteps(unsigned int aSteps)
{
    auto const failAfter = [&](unsigned int aStep)
    {
        if (aStep == aSteps)
        {
            throw std::runtime_error("the agent failed");
        }
    };
    failAfter(0);
    VqmLibrary library;
    failAfter(1);
    VqmEnvironment environment(library);
    failAfter(2);
    BoardNames const names = environment.names(0);
    failAfter(3);
    VqmRegistration const quazor = registerQuazor(library, names.mSecond);
    failAfter(4);
    VqmRegistration const plain = registerPlain(library);
}

/// The calls of an agent that takes these steps, in a library that has all functions.
Calls callsOf(unsigned int aSteps)
{
    Calls begin;
    Calls end;
    begin = aSteps >= 2 ? begin + opening : begin;
    begin = aSteps >= 3 ? begin + Calls{"VQM_GetLinkInfo(0)"} : begin;
    begin = aSteps >= 4 ? begin + Calls{quazorBegin} : begin;
    begin = aSteps >= 5 ? begin + Calls{plainBegin} : begin;
    end = aSteps >= 5 ? end + Calls{plainEnd} : end;
    end = aSteps >= 4 ? end + Calls{quazorEnd} : end;
    end = aSteps >= 2 ? end + Calls{closing} : end;
    return aSteps == 0 ? Calls{} : Calls{loading} + begin + end + Calls{freeing};
}

/// The same in a library that lacks a function. It is freed immediately and not called again.
Calls callsWithout(std::string const& aFunction, unsigned int aSteps)
{
    Calls calls = callsOf(aSteps);
    auto const missing =
        std::find_if(calls.begin(), calls.end(),
                     [&](std::string const& aCall) { return aCall.rfind(aFunction + '(', 0) == 0; });
    if (missing != calls.end())
    {
        calls.erase(missing, calls.end());
        calls.emplace_back(freeing);
    }
    return calls;
}

bool isLoggedAsAssertion(LogLine const& aLine) { return aLine.mTag == "-H-"; }

/// Runs the body in a new process, and fails the test when an assertion fails in it.
template <typename Body>
void inVqmProcess(Body const& aBody)
{
    inFreshProcess(
        [&]
        {
            LogCapture const log;
            LoggedVqm vqm;
            aBody(vqm);
            EXPECT_FALSE(std::any_of(log.lines().begin(), log.lines().end(), isLoggedAsAssertion));
            EXPECT_FALSE(QZCLibvqmAbs::LIBVQM_IsLoaded()) << "the library is still loaded";
        });
}

TEST(VqmLibrary, EachMissingFunctionStillLetsEveryStepRelease)
{
    std::vector<std::string> missing = vqmFunctions;
    missing.emplace_back("");
    for (Circumstance const& circumstance : circumstances)
    {
        for (unsigned int steps = 0; steps <= allSteps; ++steps)
        {
            for (std::string const& function : missing)
            {
                SCOPED_TRACE(std::to_string(steps) + " steps " + circumstance.mName + " without " + function);
                inVqmProcess(
                    [&](LoggedVqm& aVqm)
                    {
                        aVqm.mVqm.mMissing = function;
                        outcomeOf([&] { circumstance.mRun([&] { takeSteps(steps); }); });
                        EXPECT_THAT(aVqm.calls(), ElementsAreArray(callsWithout(function, steps)));
                    });
            }
        }
    }
}

TEST(VqmLibrary, GivesTheAgentTheFirstFailure)
{
    for (std::string const& function : vqmFunctions)
    {
        bool const isOfTheEnd =
            function == "VQM_FreeDiagEnv" || function.find("unRegister") != std::string::npos;
        inVqmProcess(
            [&](LoggedVqm& aVqm)
            {
                aVqm.mVqm.mMissing = function;
                EXPECT_EQ(outcomeOf([] { takeSteps(allSteps); }), isOfTheEnd ? done : functionMissing)
                    << function;
            });
    }
}

/// A call that the vendor library refuses.
struct Refusal
{
    std::string mCall;
    Calls mNotMade;  ///< the calls that are left out then
    std::function<void(qz::FakeVqm&, unsigned int)> mAnswer;
};

/// Takes the steps while the vendor library refuses the call, and compares the calls.
void expectReleased(unsigned int aSteps, Refusal const& aRefusal, Circumstance const& aCircumstance)
{
    SCOPED_TRACE(std::to_string(aSteps) + " steps " + aCircumstance.mName + ", " + aRefusal.mCall +
                 " refused");
    Calls expected = callsOf(aSteps);
    expected.erase(std::remove_if(expected.begin(), expected.end(),
                                  [&](std::string const& aCall) {
                                      return std::find(aRefusal.mNotMade.begin(), aRefusal.mNotMade.end(),
                                                       aCall) != aRefusal.mNotMade.end();
                                  }),
                   expected.end());
    inVqmProcess(
        [&](LoggedVqm& aVqm)
        {
            auto const keep = std::move(aVqm.mVqm.mOnCall);
            aVqm.mVqm.mOnCall = [&](char const* aCall)
            {
                keep(aCall);
                aRefusal.mAnswer(aVqm.mVqm, aRefusal.mCall == aCall ? 1 : 0);
            };
            outcomeOf([&] { aCircumstance.mRun([&] { takeSteps(aSteps); }); });
            EXPECT_THAT(aVqm.calls(), ElementsAreArray(expected));
        });
}

TEST(VqmLibrary, EachRefusedCallStillLetsEveryStepRelease)
{
    auto const answerEvent = [](qz::FakeVqm& aVqm, unsigned int aResult) { aVqm.mEventResult = aResult; };
    std::vector<Refusal> const refusals = {
        {"VQM_GetDrvInfo(0)",
         {},
         [](qz::FakeVqm& aVqm, unsigned int aResult) { aVqm.mDriverResult = aResult; }},
        {"VQM_GetLinkInfo(0)",
         {quazorBegin, plainBegin, plainEnd, quazorEnd},
         [](qz::FakeVqm& aVqm, unsigned int aResult) { aVqm.mLinkResult = aResult; }},
        {quazorBegin, {quazorEnd}, answerEvent},
        {plainBegin, {plainEnd}, answerEvent},
        {plainEnd, {}, answerEvent},
        {quazorEnd, {}, answerEvent},
    };
    for (Circumstance const& circumstance : circumstances)
    {
        for (Refusal const& refusal : refusals)
        {
            for (unsigned int steps = 0; steps <= allSteps; ++steps)
            {
                expectReleased(steps, refusal, circumstance);
            }
        }
    }
}

/// A call of an agent that uses both libraries.
struct StepOfBoth
{
    std::string mCall;
    std::string
        mRelease;  ///< the call that releases what this one acquired; empty when there is nothing to release
    std::function<void(qz::FakeHbaapi&)> mRefuse;  ///< makes the HBA API refuse the call
};

std::vector<StepOfBoth> const stepsOfBoth = {
    {"HBA_LoadLibrary()", "HBA_FreeLibrary()",
     [](qz::FakeHbaapi& aHbaapi) { aHbaapi.mLoadStatus = HBA_STATUS_ERROR; }},
    {"HBA_GetAdapterName(0)", "",
     [](qz::FakeHbaapi& aHbaapi) {
         aHbaapi.mNames = {{HBA_STATUS_ERROR, ""}};
     }},
    {"HBA_OpenAdapter(qz-0)", "HBA_CloseAdapter(1)",
     [](qz::FakeHbaapi& aHbaapi) { aHbaapi.mOpenHandle = 0; }},
    {"HBA_GetAdapterAttributes(1)", "",
     [](qz::FakeHbaapi& aHbaapi) { aHbaapi.mAdapterAttributes = {{HBA_STATUS_ERROR}}; }},
    {"HBA_GetAdapterPortAttributes(1, 0)", "",
     [](qz::FakeHbaapi& aHbaapi) { aHbaapi.mPortAttributes = {{HBA_STATUS_ERROR}}; }},
    {"HBA_GetFcpTargetMapping(1, 256)", "",
     [](qz::FakeHbaapi& aHbaapi) { aHbaapi.mTargetMappings = {{HBA_STATUS_ERROR}}; }},
    {"HBA_SendReportLUNs(1, 10000000c9000001, 4104, 256)", "",
     [](qz::FakeHbaapi& aHbaapi) { aHbaapi.mReportLuns = {{HBA_STATUS_ERROR}}; }},
    {loading, freeing, {}},
    {initialising, closing, {}},
    {"VQM_GetLibVer()", "", {}},
    {"VQM_GetDrvInfo(0)", "", {}},
    {"VQM_GetLinkInfo(0)", "", {}},
    {quazorBegin, quazorEnd, {}},
    {plainBegin, plainEnd, {}},
};

/// Position of the first call of the vendor library.
constexpr std::size_t firstVqmStep = 7;

/// Takes the steps of an agent that uses both libraries, which fails after the call unless it is empty.
void takeStepsOfBoth(std::string const& aLast)
{
    auto const failAfter = [&](std::string const& aCall)
    {
        if (aCall == aLast)
        {
            throw std::runtime_error("the agent failed");
        }
    };
    qz::HbaApi api;
    failAfter("HBA_LoadLibrary()");
    std::string const name = api.adapterName(0);
    failAfter("HBA_GetAdapterName(0)");
    qz::Adapter adapter(api, name);
    failAfter("HBA_OpenAdapter(qz-0)");
    auto const attributes = adapter.attributes();
    failAfter("HBA_GetAdapterAttributes(1)");
    qz::Wwn const port(adapter.port(0).PortWWN);
    failAfter("HBA_GetAdapterPortAttributes(1, 0)");
    qz::TargetMappings const mappings = adapter.targetMappings();
    failAfter("HBA_GetFcpTargetMapping(1, 256)");
    qz::LunReport const report = adapter.reportLuns(port);
    failAfter("HBA_SendReportLUNs(1, 10000000c9000001, 4104, 256)");
    VqmLibrary library;
    failAfter(loading);
    VqmEnvironment environment(library);
    failAfter("VQM_GetDrvInfo(0)");
    BoardNames const names = environment.names(0);
    failAfter("VQM_GetLinkInfo(0)");
    VqmRegistration const quazor = registerQuazor(library, names.mSecond);
    failAfter(quazorBegin);
    VqmRegistration const plain = registerPlain(library);
    failAfter(plainBegin);
}

/// The first calls.
Calls firstCallsOfBoth(std::size_t aNumber)
{
    Calls calls;
    for (std::size_t step = 0; step < aNumber; ++step)
    {
        calls.push_back(stepsOfBoth[step].mCall);
    }
    return calls;
}

/// The releases of what the first calls acquired, from a step on.
Calls releasesOfBoth(std::size_t aNumber, std::size_t aFrom = 0)
{
    Calls calls;
    for (std::size_t step = aNumber; step > aFrom; --step)
    {
        if (!stepsOfBoth[step - 1].mRelease.empty())
        {
            calls.push_back(stepsOfBoth[step - 1].mRelease);
        }
    }
    return calls;
}

/// Takes the steps with two scripted libraries, and compares the calls of both.
void expectCallsOfBoth(std::string const& aLast,
                       std::function<void(qz::FakeHbaapi&, qz::FakeVqm&)> const& aScript,
                       Calls const& aExpected)
{
    for (Circumstance const& circumstance : circumstances)
    {
        SCOPED_TRACE(circumstance.mName);
        inVqmProcess(
            [&](LoggedVqm& aVqm)
            {
                qz::FakeHbaapi hbaapi;
                hbaapi.mOnCall = [&](char const* aCall) { aVqm.keep(aCall); };
                hbaapi.mNames = {{HBA_STATUS_OK, "qz-0"}};
                hbaapi.mAdapterAttributes = {{HBA_STATUS_OK, [](HBA_ADAPTERATTRIBUTES& aAttributes)
                                              { aAttributes.NumberOfPorts = 1; }}};
                hbaapi.mPortAttributes = {{HBA_STATUS_OK, [](HBA_PORTATTRIBUTES& aAttributes) {
                                               aAttributes.PortWWN = {{0x10, 0, 0, 0, 0xc9, 0, 0, 1}};
                                           }}};
                hbaapi.mTargetMappings = {
                    {HBA_STATUS_OK, [](HBA_FCPTargetMapping& aBlock) { aBlock.NumberOfEntries = 0; }}};
                hbaapi.mReportLuns = {{HBA_STATUS_OK}};
                aScript(hbaapi, aVqm.mVqm);
                outcomeOf([&] { circumstance.mRun([&] { takeStepsOfBoth(aLast); }); });
                EXPECT_THAT(aVqm.calls(), ElementsAreArray(aExpected));
            });
    }
}

void changeNothing(qz::FakeHbaapi&, qz::FakeVqm&) {}

TEST(BothLibraries, AreReleasedOnceWhereverTheAgentFails)
{
    std::size_t const all = stepsOfBoth.size();
    for (std::size_t steps = 1; steps <= all; ++steps)
    {
        SCOPED_TRACE("the agent fails after " + stepsOfBoth[steps - 1].mCall);
        bool const endsWithinOpening = steps == firstVqmStep + 2 || steps == firstVqmStep + 3;
        std::size_t const taken = endsWithinOpening ? all : steps;  // the opening is one step of the agent
        expectCallsOfBoth(stepsOfBoth[steps - 1].mCall, changeNothing,
                          firstCallsOfBoth(taken) + releasesOfBoth(taken));
    }
}

TEST(BothLibraries, AreReleasedOnceWhicheverCallOfTheHbaApiFails)
{
    for (std::size_t failing = 0; failing < firstVqmStep; ++failing)
    {
        SCOPED_TRACE(stepsOfBoth[failing].mCall);
        expectCallsOfBoth(
            "", [&](qz::FakeHbaapi& aHbaapi, qz::FakeVqm&) { stepsOfBoth[failing].mRefuse(aHbaapi); },
            firstCallsOfBoth(failing + 1) + releasesOfBoth(failing));
    }
}

TEST(BothLibraries, AreReleasedOnceWhenTheVendorLibraryDoesNotLoad)
{
    expectCallsOfBoth(
        "", [](qz::FakeHbaapi&, qz::FakeVqm& aVqm) { aVqm.mHandle = 0; },
        firstCallsOfBoth(firstVqmStep + 1) + releasesOfBoth(firstVqmStep));
}

TEST(BothLibraries, AreReleasedOnceWhicheverFunctionTheVendorLibraryLacks)
{
    std::size_t const all = stepsOfBoth.size();
    Calls const complete = firstCallsOfBoth(all) + releasesOfBoth(all, firstVqmStep);
    for (std::string const& function : vqmFunctions)
    {
        SCOPED_TRACE(function);
        Calls expected = complete;
        auto const isOfFunction = [&](std::string const& aCall)
        { return aCall.rfind(function + '(', 0) == 0; };
        expected.erase(std::find_if(expected.begin(), expected.end(), isOfFunction), expected.end());
        expected = expected + Calls{freeing} + releasesOfBoth(firstVqmStep);
        expectCallsOfBoth(
            "", [&](qz::FakeHbaapi&, qz::FakeVqm& aVqm) { aVqm.mMissing = function; }, expected);
    }
}

TEST(VqmLibrary, FailedLoadIsNotFreed)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            aVqm.mVqm.mHandle = 0;
            EXPECT_EQ(outcomeOf([] { takeSteps(allSteps); }), loadFailed);
            EXPECT_THAT(aVqm.calls(), ElementsAre(loading));
        });
}

TEST(VqmLibrary, LibraryWithoutBoardsIsReleased)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            aVqm.mVqm.mNumAdapters = 0;
            EXPECT_EQ(outcomeOf([] { takeSteps(2); }), agentFailed);
            EXPECT_THAT(aVqm.calls(), ElementsAre(loading, initialising, closing, freeing));
        });
}

/// A number that a child process returns to its parent.
class SharedNumber
{
public:
    SharedNumber()
        : mPlace(static_cast<unsigned int*>(::mmap(nullptr, sizeof(unsigned int), PROT_READ | PROT_WRITE,
                                                   MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
    }
    ~SharedNumber() { ::munmap(mPlace, sizeof(unsigned int)); }
    SharedNumber(SharedNumber const&) = delete;
    SharedNumber& operator=(SharedNumber const&) = delete;

    unsigned int& operator*() { return *mPlace; }

private:
    unsigned int* const mPlace;
};

/// Takes all steps while allocations fail.
/// @return number of allocations
unsigned int takeStepsWithoutMemory(unsigned int aFirst, unsigned int aLast)
{
    SharedNumber allocations;
    inVqmProcess(
        [&](LoggedVqm& aVqm)
        {
            // A handle leaks its object when memory for the count is unavailable.
            DeliberateLeak const leak;
            bool isOutOfMemory = false;
            {
                AllocationFailure const failure(aFirst, aLast);
                try
                {
                    takeSteps(std::numeric_limits<unsigned int>::max());
                }
                catch (std::exception const& error)
                {
                    isOutOfMemory = dynamic_cast<QZCNoMemoryEx const*>(&error) != nullptr ||
                                    dynamic_cast<std::bad_alloc const*>(&error) != nullptr;
                }
                *allocations = failure.allocations();
            }
            EXPECT_EQ(isOutOfMemory, aFirst != 0);
            EXPECT_EQ(aVqm.timesOf("dlopen"), 1);
            EXPECT_EQ(aVqm.timesOf("dlclose"), 1);
            EXPECT_EQ(aVqm.timesOf("VQM_FreeDiagEnv"), aVqm.timesOf("VQM_InitDiagEnv"));
            EXPECT_EQ(aVqm.timesOf("VQM_QZ_unRegisterForEvent"), aVqm.timesOf("VQM_QZ_RegisterForEvent"));
            EXPECT_EQ(aVqm.timesOf("unRegisterForEvent"), aVqm.timesOf("RegisterForEvent"));
            EXPECT_EQ(aVqm.calls().back(), freeing);
        });
    return *allocations;
}

TEST(VqmLibrary, EachFailedAllocationStillLetsTheLibraryBeReleased)
{
    unsigned int const allocations = takeStepsWithoutMemory(0, 0);
    ASSERT_GT(allocations, 5u) << "versions, names and the kind of event allocate";
    for (unsigned int failing = 1; failing <= allocations; ++failing)
    {
        SCOPED_TRACE("allocation " + std::to_string(failing));
        takeStepsWithoutMemory(failing, failing);
        takeStepsWithoutMemory(failing, std::numeric_limits<unsigned int>::max());
    }
}

TEST(VqmLibrary, LastObjectFreesTheSharedLibrary)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            auto first = std::make_unique<VqmLibrary>();
            auto second = std::make_unique<VqmLibrary>();
            first.reset();
            EXPECT_TRUE(second->isLoaded());
            EXPECT_THAT(aVqm.calls(), ElementsAre(loading));
            second.reset();
            EXPECT_THAT(aVqm.calls(), ElementsAre(loading, freeing));
        });
}

TEST(VqmLibrary, NextObjectAfterTheLastLoadsAgain)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            for (int times = 0; times < 2; ++times)
            {
                VqmLibrary const library;
                EXPECT_TRUE(library.isLoaded());
            }
            EXPECT_THAT(aVqm.calls(), ElementsAre(loading, freeing, loading, freeing));
        });
}

/// The owners of an agent, which a test destroys in any allowed order.
struct Owners
{
    std::unique_ptr<VqmLibrary> mLibrary = std::make_unique<VqmLibrary>();
    std::unique_ptr<VqmEnvironment> mEnvironment = std::make_unique<VqmEnvironment>(*mLibrary);
    std::unique_ptr<VqmRegistration> mQuazor =
        std::make_unique<VqmRegistration>(registerQuazor(*mLibrary, mEnvironment->names(0).mSecond));
    std::unique_ptr<VqmRegistration> mPlain = std::make_unique<VqmRegistration>(registerPlain(*mLibrary));

    /// Makes the layer free the library because it lacks a function.
    void loseLibrary(qz::FakeVqm& aVqm)
    {
        aVqm.mMissing = "VQM_GetLinkInfo";
        EXPECT_EQ(outcomeOf([&] { mEnvironment->names(0); }), functionMissing);
        aVqm.mMissing.clear();
    }
};

/// The calls of the owners until everything is acquired.
Calls acquiring() { return Calls{loading} + opening + Calls{"VQM_GetLinkInfo(0)", quazorBegin, plainBegin}; }

TEST(VqmLibrary, OwnersCanBeReleasedInAnyOrder)
{
    std::vector<std::pair<char const*, std::function<void(Owners&)>>> users = {
        {closing, [](Owners& aOwners) { aOwners.mEnvironment.reset(); }},
        {quazorEnd, [](Owners& aOwners) { aOwners.mQuazor.reset(); }},
        {plainEnd, [](Owners& aOwners) { aOwners.mPlain.reset(); }},
    };
    auto const byCall = [](auto const& aLeft, auto const& aRight)
    { return std::string(aLeft.first) < aRight.first; };
    std::sort(users.begin(), users.end(), byCall);
    unsigned int orders = 0;
    do
    {
        ++orders;
        inVqmProcess(
            [&](LoggedVqm& aVqm)
            {
                Calls expected = acquiring();
                {
                    Owners owners;
                    for (auto const& [call, release] : users)
                    {
                        release(owners);
                        expected.emplace_back(call);
                    }
                }
                expected.emplace_back(freeing);
                EXPECT_THAT(aVqm.calls(), ElementsAreArray(expected));
            });
    } while (std::next_permutation(users.begin(), users.end(), byCall));
    EXPECT_EQ(orders, 6u);
}

TEST(VqmLibrary, NewObjectLoadsAgainAfterAMissingFunction)
{
    for (bool const isOldFirst : {true, false})
    {
        inVqmProcess(
            [&](LoggedVqm& aVqm)
            {
                auto lost = std::make_unique<Owners>();
                lost->loseLibrary(aVqm.mVqm);
                auto again = std::make_unique<Owners>();
                EXPECT_FALSE(lost->mLibrary->isLoaded());
                EXPECT_TRUE(again->mLibrary->isLoaded());
                EXPECT_FALSE(lost->mPlain->isActive());
                EXPECT_TRUE(again->mPlain->isActive());
                (isOldFirst ? lost : again).reset();
                (isOldFirst ? again : lost).reset();
                EXPECT_THAT(
                    aVqm.calls(),
                    ElementsAreArray(acquiring() + Calls{freeing, loading, initialising, "VQM_GetLinkInfo(0)",
                                                         quazorBegin, plainBegin, plainEnd, quazorEnd,
                                                         closing, freeing}))
                    << "owners of the first load make no calls after the second load";
            });
    }
}

TEST(VqmLibrary, LibraryThatDoesNotLoadAgainIsNotFreedTwice)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            {
                Owners lost;
                lost.loseLibrary(aVqm.mVqm);
                aVqm.mVqm.mHandle = 0;
                EXPECT_EQ(outcomeOf([] { VqmLibrary(); }), loadFailed);
            }
            EXPECT_THAT(aVqm.calls(), ElementsAreArray(acquiring() + Calls{freeing, loading}));
        });
}

TEST(VqmLibrary, ThrowsForEveryOperationAfterAMissingFunction)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            Owners owners;
            BoardNames const names = owners.mEnvironment->names(0);
            owners.loseLibrary(aVqm.mVqm);
            std::size_t const callsBefore = aVqm.calls().size();
            EXPECT_EQ(outcomeOf([&] { owners.mLibrary->layer(); }), libraryFreed);
            EXPECT_EQ(outcomeOf([&] { owners.mEnvironment->numberOfBoards(); }), libraryFreed);
            EXPECT_EQ(outcomeOf([&] { owners.mEnvironment->supportsQuazorEvents(); }), libraryFreed);
            EXPECT_EQ(outcomeOf([&] { owners.mEnvironment->names(0); }), libraryFreed);
            EXPECT_EQ(outcomeOf([&] { VqmEnvironment(*owners.mLibrary); }), libraryFreed);
            EXPECT_EQ(outcomeOf([&] { registerQuazor(*owners.mLibrary, names.mSecond); }), libraryFreed);
            EXPECT_EQ(outcomeOf([&] { registerPlain(*owners.mLibrary); }), libraryFreed);
            EXPECT_EQ(outcomeOf([&] { owners.mEnvironment->close(); }), done);
            EXPECT_EQ(owners.mQuazor->end(), VqmRegistration::accepted);
            EXPECT_EQ(aVqm.calls().size(), callsBefore);
        });
}

TEST(VqmLibrary, StaysTheProgramsWhenTheProgramLoadedIt)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            QZCLibvqmAbs layer;
            layer.LIBVQM_LoadLibrary();
            {
                Owners owners;
                EXPECT_TRUE(owners.mLibrary->isLoaded());
            }
            EXPECT_TRUE(QZCLibvqmAbs::LIBVQM_IsLoaded());
            layer.LIBVQM_FreeLibrary();
            EXPECT_THAT(aVqm.calls(),
                        ElementsAreArray(acquiring() + Calls{plainEnd, quazorEnd, closing, freeing}));
        });
}

TEST(VqmLibrary, NewObjectLoadsAfterTheProgramsLibraryLackedAFunction)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            QZCLibvqmAbs().LIBVQM_LoadLibrary();
            {
                Owners lost;
                lost.loseLibrary(aVqm.mVqm);
                VqmLibrary const again;
                EXPECT_FALSE(lost.mLibrary->isLoaded());
                EXPECT_TRUE(again.isLoaded());
            }
            EXPECT_THAT(aVqm.calls(), ElementsAreArray(acquiring() + Calls{freeing, loading, freeing}));
        });
}

TEST(VqmLibrary, LibraryThatTheProgramFreedIsNotUsedAgain)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            {
                Owners owners;
                owners.mLibrary->layer().LIBVQM_FreeLibrary();
            }
            EXPECT_THAT(aVqm.calls(), ElementsAreArray(acquiring() + Calls{freeing}));
        });
}

/// Frees the library of the owners: because it lacks a function, or because the program frees it.
std::vector<std::function<void(Owners&, qz::FakeVqm&)>> const losses = {
    [](Owners& aOwners, qz::FakeVqm& aVqm) { aOwners.loseLibrary(aVqm); },
    [](Owners& aOwners, qz::FakeVqm&) { aOwners.mLibrary->layer().LIBVQM_FreeLibrary(); },
};

TEST(VqmLibrary, OwnersOfALostLibraryLeaveTheOneThatTheProgramLoadsNextAlone)
{
    for (auto const& lose : losses)
    {
        inVqmProcess(
            [&](LoggedVqm& aVqm)
            {
                QZCLibvqmAbs layer;
                {
                    Owners lost;
                    lose(lost, aVqm.mVqm);
                    layer.LIBVQM_LoadLibrary();
                    EXPECT_FALSE(lost.mLibrary->isLoaded());
                    EXPECT_FALSE(lost.mPlain->isActive());
                    EXPECT_EQ(outcomeOf([&] { lost.mLibrary->layer(); }), libraryFreed);
                }
                EXPECT_TRUE(QZCLibvqmAbs::LIBVQM_IsLoaded()) << "the library is the program's";
                layer.LIBVQM_Init();
                layer.LIBVQM_FreeLibrary();
                EXPECT_THAT(aVqm.calls(),
                            ElementsAreArray(acquiring() + Calls{freeing, loading, initialising, freeing}));
            });
    }
}

TEST(VqmLibrary, NewObjectUsesWhatTheProgramLoadedAfterAMissingFunction)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            QZCLibvqmAbs layer;
            {
                Owners lost;
                lost.loseLibrary(aVqm.mVqm);
                layer.LIBVQM_LoadLibrary();
                Owners const again;
                EXPECT_FALSE(lost.mLibrary->isLoaded());
                EXPECT_TRUE(again.mLibrary->isLoaded());
            }
            EXPECT_TRUE(QZCLibvqmAbs::LIBVQM_IsLoaded()) << "the library is the program's";
            layer.LIBVQM_FreeLibrary();
            EXPECT_THAT(aVqm.calls(),
                        ElementsAreArray(acquiring() + Calls{freeing, loading, initialising,
                                                             "VQM_GetLinkInfo(0)", quazorBegin, plainBegin,
                                                             plainEnd, quazorEnd, closing, freeing}));
        });
}

TEST(VqmLibrary, OwnersContinueWhenTheProgramLoadsTheLibraryOnceMore)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            {
                Owners owners;
                QZCLibvqmAbs().LIBVQM_LoadLibrary();
                EXPECT_TRUE(owners.mLibrary->isLoaded());
            }
            EXPECT_THAT(aVqm.calls(), ElementsAreArray(acquiring() + Calls{loading, plainEnd, quazorEnd,
                                                                           closing, freeing}));
        });
}

TEST(FakeVqm, FindsAMovedFunctionAtAnotherAddress)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            aVqm.mVqm.mMoved = "VQM_GetLinkInfo";
            VqmLibrary library;
            VqmEnvironment environment(library);
            environment.names(0);
            EXPECT_THAT(aVqm.calls(),
                        ElementsAreArray(Calls{loading} + opening + Calls{"moved", "VQM_GetLinkInfo(0)"}));
        });
}

TEST(FakeVqm, StoresTheIdentifierOfARegistrationIfThereIsOneAndAPlaceForIt)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            VqmLibrary library;
            auto const port = VqmEnvironment(library).names(0).mSecond;
            auto const registerWith = [&](unsigned int* aIdentifier)
            {
                library.layer().LIBVQM_QzapiRegEvent(0, port, qz::makeScopeEvent(3, 7), nullptr, aIdentifier,
                                                     ignoreQuazorEvent);
            };
            unsigned int identifier = 5;
            registerWith(nullptr);
            registerWith(&identifier);
            EXPECT_EQ(identifier, 42u);
            aVqm.mVqm.mRegistrationId.reset();
            identifier = 5;
            registerWith(&identifier);
            EXPECT_EQ(identifier, 5u);
        });
}

TEST(FakeVqm, FindsNoFunctionWithoutAHandleOrOfAnotherName)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            int library = 0;
            EXPECT_EQ(aVqm.mVqm.find(nullptr, "VQM_GetLinkInfo"), nullptr);
            EXPECT_EQ(aVqm.mVqm.find(&library, "VQM_NoSuchFunction"), nullptr);
            EXPECT_NE(aVqm.mVqm.find(&library, "VQM_GetLinkInfo"), nullptr);
        });
}

TEST(VqmEnvironment, TellsWhatTheVendorLibraryAnswers)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            aVqm.mVqm.mNumAdapters = 3;
            VqmLibrary library;
            VqmEnvironment environment(library);
            EXPECT_EQ(environment.numberOfBoards(), 3u);
            EXPECT_TRUE(environment.supportsQuazorEvents());
            BoardNames const names = environment.names(2);
            EXPECT_STREQ(names.mFirst->getStringForm().get(), "20:00:00:00:c9:00:00:01");
            EXPECT_STREQ(names.mSecond->getStringForm().get(), "10:00:00:00:c9:00:00:01");
            EXPECT_EQ(&environment.library(), &library);
            EXPECT_EQ(aVqm.calls().back(), "VQM_GetLinkInfo(2)");
        });
}

TEST(VqmEnvironment, SecondCloseDoesNothing)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            {
                VqmLibrary library;
                VqmEnvironment environment(library);
                environment.close();
                environment.close();
            }
            EXPECT_THAT(aVqm.calls(), ElementsAreArray(Calls{loading} + opening + Calls{closing, freeing}));
        });
}

TEST(VqmEnvironment, ReportsAFailureToCloseOnce)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            VqmLibrary library;
            VqmEnvironment environment(library);
            aVqm.mVqm.mMissing = "VQM_FreeDiagEnv";
            EXPECT_EQ(outcomeOf([&] { environment.close(); }), functionMissing);
            EXPECT_EQ(outcomeOf([&] { environment.close(); }), done);
        });
}

static_assert(std::is_nothrow_move_constructible<VqmRegistration>::value, "a vector of registrations grows");
static_assert(!std::is_copy_constructible<VqmRegistration>::value, "a registration ends once");

TEST(VqmRegistration, RegistrationPassesContextAndCallbackToTheVendorLibrary)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            VqmLibrary library;
            VqmEnvironment environment(library);
            int context = 0;
            VqmRegistration const quazor =
                VqmRegistration::quazor(library, 0, environment.names(0).mSecond, qz::makeScopeEvent(3, 7),
                                        &context, ignoreQuazorEvent);
            EXPECT_TRUE(quazor.isActive());
            EXPECT_EQ(quazor.result(), VqmRegistration::accepted);
            EXPECT_EQ(aVqm.mVqm.mQzapiContext, &context);
            EXPECT_EQ(aVqm.mVqm.mQzapiCallback, &ignoreQuazorEvent);
            VqmRegistration const plain = registerPlain(library);
            EXPECT_TRUE(plain.isActive());
            EXPECT_EQ(aVqm.mVqm.mVqmCallback, &ignorePlainEvent);
        });
}

TEST(VqmRegistration, MayBeRefused)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            Owners owners;
            aVqm.mVqm.mEventResult = 17;
            VqmRegistration const quazor =
                registerQuazor(*owners.mLibrary, owners.mEnvironment->names(0).mSecond);
            EXPECT_FALSE(quazor.isActive());
            EXPECT_EQ(quazor.result(), 17u);
            EXPECT_FALSE(registerPlain(*owners.mLibrary).isActive());
            EXPECT_EQ(aVqm.timesOf("unRegisterForEvent"), 0) << "a refused registration is not ended";
        });
}

TEST(VqmRegistration, EndsOnceWithTheVendorLibrarysAnswer)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            {
                Owners owners;
                aVqm.mVqm.mEventResult = 5;
                EXPECT_EQ(owners.mQuazor->end(), 5u);
                EXPECT_EQ(owners.mPlain->end(), 5u);
                EXPECT_FALSE(owners.mQuazor->isActive());
                EXPECT_EQ(owners.mQuazor->end(), VqmRegistration::accepted);
            }
            EXPECT_THAT(aVqm.calls(),
                        ElementsAreArray(acquiring() + Calls{quazorEnd, plainEnd, closing, freeing}));
        });
}

TEST(VqmRegistration, ReportsAFailureToEndOnce)
{
    for (std::string const function : {"VQM_QZ_unRegisterForEvent", "unRegisterForEvent"})
    {
        inVqmProcess(
            [&](LoggedVqm& aVqm)
            {
                Owners owners;
                VqmRegistration& registration =
                    function == "unRegisterForEvent" ? *owners.mPlain : *owners.mQuazor;
                aVqm.mVqm.mMissing = function;
                EXPECT_EQ(outcomeOf([&] { registration.end(); }), functionMissing);
                EXPECT_EQ(registration.end(), VqmRegistration::accepted);
                EXPECT_FALSE(registration.isActive());
            });
    }
}

TEST(VqmRegistration, MovedRegistrationHasANewOwner)
{
    inVqmProcess(
        [](LoggedVqm& aVqm)
        {
            {
                Owners owners;
                VqmRegistration const taken(std::move(*owners.mQuazor));
                EXPECT_TRUE(taken.isActive());
                EXPECT_FALSE(owners.mQuazor->isActive());
                owners.mQuazor.reset();
                EXPECT_THAT(aVqm.calls(), Not(testing::Contains(quazorEnd)));
            }
            EXPECT_EQ(aVqm.timesOf("VQM_QZ_unRegisterForEvent"), 1);
        });
}
}  // namespace
