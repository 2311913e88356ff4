#include "tools/qzagent/vqm/VqmRegistrations.h"

#include <cstdarg>
#include <ctime>
#include <exception>
#include <utility>

#include <fmt/format.h>
#include <hbaapi.h>

#include "agentkit/include/ScopeEvents.h"
#include "agentkit/include/VqmLibrary.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/EventIntake.h"
#include "tools/qzagent/vqm/ReceptionTime.h"

namespace qzagent
{
namespace
{
void handOver(void* aIntake, unsigned int aBoard, unsigned int aCategory, unsigned int aSubcategory,
              QZ_event const* aEvent)
{
    static_cast<EventIntake*>(aIntake)->take({receptionTime(), aBoard, aCategory, aSubcategory}, aEvent);
}

void takePlainEvent(unsigned int aBoard, ...)
{
    std::va_list arguments;
    va_start(arguments, aBoard);
    unsigned int const category = va_arg(arguments, unsigned int);
    unsigned int const subcategory = va_arg(arguments, unsigned int);
    void* const intake = va_arg(arguments, void*);
    QZ_event const* const event = va_arg(arguments, QZ_event*);
    va_end(arguments);
    handOver(intake, aBoard, category, subcategory, event);
}
}  // namespace

void takeQuazorEvent(unsigned int aBoard, HBA_wwn, unsigned int aCategory, unsigned int aSubcategory,
                     void* aIntake, QZ_event* aEvent)
{
    handOver(aIntake, aBoard, aCategory, aSubcategory, aEvent);
}

VqmRegistrations::~VqmRegistrations()
{
    for (RegisteredBoard& board : mBoards)
    {
        end(board);
    }
}

void VqmRegistrations::add(Board const& aBoard)
{
    qz::VqmRegistration registration = registrationOf(aBoard);
    if (registration.result() == qz::VqmRegistration::accepted)
    {
        mBoards.push_back({aBoard.mNumber, std::move(registration)});
    }
    else
    {
        reportRefusal(registeringFunction(), "registration", aBoard.mNumber, registration.result());
    }
}

qz::VqmRegistration VqmRegistrations::registrationOf(Board const& aBoard)
{
    setCurrentCall(registeringFunction(), fmt::format("board {}", aBoard.mNumber));
    if (mKind.mIsPlain)
    {
        return qz::VqmRegistration::plain(mLibrary, aBoard.mNumber, mKind.mCategory, &mIntake,
                                          mKind.mSubcategory, &takePlainEvent);
    }
    return qz::VqmRegistration::quazor(mLibrary, aBoard.mNumber, aBoard.mSecondWwn,
                                       qz::makeScopeEvent(mKind.mCategory, mKind.mSubcategory), &mIntake,
                                       &takeQuazorEvent);
}

void VqmRegistrations::end(RegisteredBoard& aBoard)
{
    setCurrentCall(unregisteringFunction(), fmt::format("board {}", aBoard.mBoard));
    try
    {
        unsigned int const result = aBoard.mRegistration.end();
        if (result != qz::VqmRegistration::accepted)
        {
            reportRefusal(unregisteringFunction(), "unregistration", aBoard.mBoard, result);
        }
    }
    catch (std::exception const& exception)
    {
        mReport.addFailure(failureOf(exception));
    }
}

void VqmRegistrations::reportRefusal(char const* aFunction, char const* aRefused, unsigned int aBoard,
                                     unsigned int aResult)
{
    mReport.addError(ExitCode::failed, fmt::format("board {}: {} refused the {} with result {}", aBoard,
                                                   aFunction, aRefused, aResult));
}

char const* VqmRegistrations::registeringFunction() const
{
    return mKind.mIsPlain ? "RegisterForEvent" : "VQM_QZ_RegisterForEvent";
}

char const* VqmRegistrations::unregisteringFunction() const
{
    return mKind.mIsPlain ? "unRegisterForEvent" : "VQM_QZ_unRegisterForEvent";
}
}  // namespace qzagent
