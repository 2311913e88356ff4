#include "simulator/diagnostic/DiagnosticSimulation.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "simulator/control/CallerMemory.h"
#include "simulator/control/EnvironmentVariables.h"
#include "simulator/control/Strikes.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/Wwn.h"

namespace qzsim
{
namespace
{
using Records = QZCLibvqmRecords;

bool isCategory(unsigned int aNumber) { return aNumber <= QZ_ANY_CATEGORY; }

bool hasPort(Diagnostics const& aDiagnostics, unsigned int aBoard, HBA_WWN const& aPort)
{
    std::uint64_t const port = numberOf(aPort);
    return port == numberOf(aDiagnostics.mBoards[aBoard].mSecondWwn) ||
           std::any_of(aDiagnostics.mEvents.begin(), aDiagnostics.mEvents.end(),
                       [=](EventSeries const& aSeries)
                       { return aSeries.mBoard == aBoard && numberOf(aSeries.mPort) == port; });
}

/// A record or table of the vendor library. Bytes that no field has are zero, or garbage if a fault says so.
class Answer
{
public:
    Answer(std::size_t aSize, AnswerShape const& aShape)
        : mShape(aShape), mBytes(aSize, aShape.mHasGarbage ? garbage : 0)
    {
    }

    template <typename Field>
    void set(std::size_t aPosition, Field const& aField)
    {
        setBytes(aPosition, &aField, sizeof aField);
    }

    void setText(std::size_t aPosition, char const* aText)
    {
        setBytes(aPosition, aText, std::strlen(aText) + 1);
    }

    void writeTo(CallerMemory const& aMemory) const
    {
        writeBytes(aMemory, mBytes.data(), mBytes.size(), mShape);
    }

    /// Writes into memory that has room for all.
    void writeTo(void* aMemory) const { writeTo({aMemory, mBytes.size()}); }

private:
    void setBytes(std::size_t aPosition, void const* aContent, std::size_t aSize)
    {
        std::memcpy(mBytes.data() + aPosition, aContent, aSize);
    }

    AnswerShape const& mShape;
    std::vector<unsigned char> mBytes;
};

/// Writes one record for each board.
/// @param aTable has room for as many records as aCapacity says
/// @return the number of boards that the library reports
unsigned int writeBoards(Diagnostics const& aDiagnostics, AnswerShape const& aShape, void* aTable,
                         std::size_t aCapacity)
{
    constexpr std::size_t size = Records::sgDiagEnvRecordSize;
    std::size_t const all = aDiagnostics.mBoards.size();
    std::size_t const boards = all - std::min<std::size_t>(aShape.mMissing, all);
    std::size_t const written = std::min<std::size_t>(boards, aShape.mEntries.value_or(endless));
    Answer table(written * size, aShape);
    for (std::size_t board = 0; board < written; ++board)
    {
        table.setText(board * size + Records::sgDriverVersionPosition, aDiagnostics.mDriverVersion);
    }
    // A capacity that does not fit into the address space is a lie.
    std::size_t const room = std::min(aCapacity, std::numeric_limits<std::size_t>::max() / size);
    table.writeTo({aTable, aTable == nullptr ? 0 : room * size});
    return aShape.mCount.value_or(aDiagnostics.mNumberOfBoards.value_or(static_cast<std::uint32_t>(boards)));
}
}  // namespace

void DiagnosticSimulation::libraryVersion(char* aText)
{
    std::unique_lock lock(mMutex);
    advance(lock);
    if (aText == nullptr)
    {
        return;
    }
    Reaction const reaction = react(Call::getLibVer, lock);
    if (!reaction.mAnswer)
    {
        Answer version(Records::sgLibraryVersionSize, reaction.mShape);
        version.setText(0, diagnostics().mLibraryVersion);
        version.writeTo(aText);
    }
}

unsigned int DiagnosticSimulation::open(void* aTable, unsigned int aCapacity)
{
    std::unique_lock lock(mMutex);
    dropEnded();
    if (!mEnvironment)
    {
        load();
    }
    advance(lock);
    Reaction const reaction = react(Call::initDiagEnv, lock);
    if (reaction.mAnswer)
    {
        return *reaction.mAnswer;
    }
    if (!mEnvironment)
    {
        EventSource::Feed const feed = [this] { return takeEvents(); };
        mPlace.assign(1, nullptr);
        mEnvironment = std::make_shared<DiagnosticEnvironment>(
            diagnostics(), mWorld->canChange() ? feed : EventSource::Feed());
    }
    return writeBoards(diagnostics(), reaction.mShape, aTable, aCapacity);
}

void DiagnosticSimulation::close()
{
    Environment own;
    bool isInCallback = false;
    {
        std::unique_lock lock(mMutex);
        advance(lock);
        if (mEnvironment && react(Call::freeDiagEnv, lock).mAnswer)
        {
            return;
        }
        dropEnded();
        if (mEnvironment)
        {
            own = mEnvironment;
            closeEnvironment();
        }
        isInCallback = std::any_of(mClosed.begin(), mClosed.end(),
                                   [](Environment const& aEnvironment)
                                   { return aEnvironment->registrations().isInCallback(); });
    }
    if (own)
    {
        own->registrations().awaitCallbacks();
    }
    // Other threads may be closing environments. A callback does not wait for them, because they may wait for it.
    while (Environment const busy = isInCallback ? nullptr : busyEnvironment())
    {
        busy->registrations().awaitCallbacks();
    }
}

unsigned int DiagnosticSimulation::driverInfo(unsigned int aBoard, void* aRecord)
{
    return answer({Call::getDrvInfo, aBoard, std::nullopt, isRecord(aRecord)},
                  [&](DiagnosticEnvironment&, Diagnostics const& aDiagnostics, AnswerShape const& aShape)
                  {
                      Answer record(Records::sgDriverInfoSize, aShape);
                      record.set(Records::sgDriverInfoVersionPosition, aDiagnostics.mRecordVersion);
                      record.set(Records::sgFeatureListPosition, aDiagnostics.mFeatureList);
                      record.writeTo(aRecord);
                      return QZ_OK;
                  });
}

unsigned int DiagnosticSimulation::linkInfo(unsigned int aBoard, void* aRecord)
{
    return answer({Call::getLinkInfo, aBoard, std::nullopt, aRecord != nullptr},
                  [&](DiagnosticEnvironment&, Diagnostics const& aDiagnostics, AnswerShape const& aShape)
                  {
                      Board const& board = aDiagnostics.mBoards[aBoard];
                      Answer record(Records::sgLinkInfoSize, aShape);
                      record.set(Records::sgFirstWwnPosition, board.mFirstWwn.wwn);
                      record.set(Records::sgSecondWwnPosition, board.mSecondWwn.wwn);
                      record.writeTo(aRecord);
                      return QZ_OK;
                  });
}

unsigned int DiagnosticSimulation::registerPlain(unsigned int aBoard, unsigned int aCategory, void* aContext,
                                                 unsigned int aSubcategory, PlainCallback aCallback)
{
    bool const isGood = aCallback != nullptr && isCategory(aCategory) && isCategory(aSubcategory);
    auto const callback = [=](EventSeries const& aSeries, QZ_event* aEvent)
    { aCallback(aBoard, aSeries.mCategory, aSeries.mSubcategory, aContext, aEvent); };
    return answer(
        {Call::registerForEvent, aBoard, std::nullopt, isGood},
        [&](DiagnosticEnvironment& aEnvironment, Diagnostics const&, AnswerShape const&) {
            return aEnvironment.add({aBoard, std::nullopt, aCategory, aSubcategory, callback}, nullptr);
        });
}

unsigned int DiagnosticSimulation::unregisterPlain(unsigned int aBoard, unsigned int aCategory)
{
    return answer({Call::unregisterForEvent, aBoard, std::nullopt, isCategory(aCategory)},
                  [&](DiagnosticEnvironment& aEnvironment, Diagnostics const&, AnswerShape const&)
                  { return aEnvironment.registrations().removePlain(aBoard, aCategory); });
}

unsigned int DiagnosticSimulation::registerQuazor(unsigned int aBoard, HBA_WWN const& aPort,
                                                  unsigned int aCategory, unsigned int aSubcategory,
                                                  void* aContext, unsigned int* aId, QuazorCallback aCallback)
{
    bool const isGood =
        aId != nullptr && aCallback != nullptr && isCategory(aCategory) && isCategory(aSubcategory);
    auto const callback = [=](EventSeries const& aSeries, QZ_event* aEvent)
    { aCallback(aBoard, aSeries.mPort, aSeries.mCategory, aSeries.mSubcategory, aContext, aEvent); };
    return answer({Call::quazorRegisterForEvent, aBoard, aPort, isGood},
                  [&](DiagnosticEnvironment& aEnvironment, Diagnostics const&, AnswerShape const&) {
                      return aEnvironment.add({aBoard, aPort, aCategory, aSubcategory, callback}, aId);
                  });
}

unsigned int DiagnosticSimulation::unregisterQuazor(unsigned int aBoard, HBA_WWN const& aPort,
                                                    unsigned int aId)
{
    return answer({Call::quazorUnregisterForEvent, aBoard, aPort, true},
                  [&](DiagnosticEnvironment& aEnvironment, Diagnostics const&, AnswerShape const&)
                  { return aEnvironment.registrations().removeQuazor(aBoard, aPort, aId); });
}

void DiagnosticSimulation::end() noexcept
{
    std::list<Environment> closed;
    {
        std::lock_guard const lock(mMutex);
        if (mEnvironment)
        {
            closeEnvironment();
        }
        closed.splice(closed.end(), mClosed);
        mWorld.reset();
        mScenario.reset();
        mFaults = {};
    }
    closed.remove_if([](Environment const& aEnvironment) { return aEnvironment->join(); });
    // Only the environment of the calling thread can be left: a callback that closes the library.
    std::lock_guard const lock(mMutex);
    mAbandoned.splice(mAbandoned.end(), closed);
}

void DiagnosticSimulation::beforeFork()
{
    mMutex.lock();
    if (mEnvironment)
    {
        mEnvironment->beforeFork();
    }
}

void DiagnosticSimulation::afterForkInParent()
{
    if (mEnvironment)
    {
        mEnvironment->afterForkInParent();
    }
    mMutex.unlock();
}

void DiagnosticSimulation::afterForkInChild()
{
    mAbandoned.splice(mAbandoned.end(), mClosed);
    if (mEnvironment)
    {
        mEnvironment->afterForkInChild();
        retireTo(mAbandoned);
    }
    mMutex.unlock();
}

void DiagnosticSimulation::load()
{
    mScenario.reset();
    World world = World::ofEnvironment([this](EventSeries const& aSeries) { mEvents.push_back(aSeries); });
    bool const isContinued = mWorld && world.isLike(*mWorld);
    if (!isContinued)
    {
        mWorld = std::move(world);
    }
    auto const scenario = mWorld->at(timeSinceStart());
    isContinued ? mFaults.update(scenario->mFaults)
                : mFaults.schedule(scenario->mFaults, openStrikesOfEnvironment(mWorld->original()));
    mScenario = scenario;
}

void DiagnosticSimulation::loadFirst()
{
    if (!mScenario)
    {
        load();
    }
}

void DiagnosticSimulation::advance()
{
    loadFirst();
    auto const scenario = mWorld->at(timeSinceStart());
    if (scenario != mScenario)
    {
        mFaults.update(scenario->mFaults);
        mScenario = scenario;
    }
    if (!mEnvironment || mEnvironment->registrations().areNone())
    {
        mEvents.clear();
    }
}

void DiagnosticSimulation::advance(std::unique_lock<std::mutex>& aLock)
{
    for (advance(); mWorld->isPaused(); advance())
    {
        waitInPause(aLock);
    }
}

std::vector<EventSeries> DiagnosticSimulation::takeEvents()
{
    std::lock_guard const lock(mMutex);
    if (!mEnvironment)
    {
        return {};
    }
    advance();
    mEnvironment->setPaused(mWorld->isPaused());
    return mWorld->isPaused() ? std::vector<EventSeries>() : std::exchange(mEvents, {});
}

Reaction DiagnosticSimulation::count(Call aCall, std::string const& aBoard)
{
    return reactionTo(aCall,
                      [&]
                      {
                          Reaction reaction = mFaults.next(aCall, aBoard);
                          mWorld->called(aCall, mFaults.callsOf(aCall), timeSinceStart());
                          return reaction;
                      });
}

Reaction DiagnosticSimulation::react(Call aCall, std::unique_lock<std::mutex>& aLock)
{
    Reaction reaction = count(aCall);
    aLock.unlock();
    printAndWait(reaction);
    aLock.lock();
    loadFirst();  // the library may have been closed meanwhile
    return reaction;
}

bool DiagnosticSimulation::isRecord(void const* aRecord)
{
    if (aRecord == nullptr)
    {
        return false;
    }
    std::lock_guard const lock(mMutex);
    loadFirst();
    auto const required = diagnostics().mRequiredRecordVersion;
    return !required ||
           static_cast<unsigned char const*>(aRecord)[Records::sgDriverInfoVersionPosition] == *required;
}

QZ_result DiagnosticSimulation::refusalOf(Request const& aRequest) const
{
    if (!mEnvironment)
    {
        return QZ_NO_ENVIRONMENT;
    }
    if (aRequest.mBoard >= diagnostics().mBoards.size())
    {
        return QZ_NO_BOARD;
    }
    if (aRequest.mPort && !hasPort(diagnostics(), aRequest.mBoard, *aRequest.mPort))
    {
        return QZ_NO_PORT;
    }
    return aRequest.mIsGood ? QZ_OK : QZ_BAD_ARGUMENT;
}

template <typename Action>
unsigned int DiagnosticSimulation::answer(Request const& aRequest, Action aAction)
{
    Environment environment;
    std::shared_ptr<Scenario const> scenario;
    Reaction reaction;
    {
        std::unique_lock lock(mMutex);
        advance(lock);
        QZ_result const refusal = refusalOf(aRequest);
        if (refusal != QZ_OK)
        {
            return refusal;
        }
        reaction = count(aRequest.mCall, std::to_string(aRequest.mBoard));
        environment = mEnvironment;
        scenario = mScenario;
    }
    // Without the lock: the fault may delay the call. The action may wait for callbacks, and these may call the library.
    printAndWait(reaction);
    return reaction.mAnswer ? *reaction.mAnswer
                            : aAction(*environment, scenario->mDiagnostics, reaction.mShape);
}

void DiagnosticSimulation::closeEnvironment()
{
    mEnvironment->close();
    retireTo(mClosed);
}

void DiagnosticSimulation::retireTo(std::list<Environment>& aList)
{
    mPlace.front() = std::exchange(mEnvironment, nullptr);
    aList.splice(aList.end(), mPlace);
}

DiagnosticSimulation::Environment DiagnosticSimulation::busyEnvironment()
{
    std::lock_guard const lock(mMutex);
    auto const busy = std::find_if(mClosed.begin(), mClosed.end(),
                                   [](Environment const& aEnvironment)
                                   { return aEnvironment->registrations().isCallbackRunning(); });
    return busy == mClosed.end() ? nullptr : *busy;
}

void DiagnosticSimulation::dropEnded()
{
    mClosed.remove_if([](Environment const& aEnvironment)
                      { return aEnvironment->hasEnded() && aEnvironment->join(); });
}
}  // namespace qzsim
