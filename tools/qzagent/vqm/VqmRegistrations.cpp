#include "tools/qzagent/vqm/VqmRegistrations.h"

#include <chrono>
#include <cstdarg>
#include <ctime>
#include <exception>

#include <fmt/format.h>
#include <hbaapi.h>

#include "agentkit/include/EventQueue.h"
#include "agentkit/include/ScopeEvents.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/VqmEvent.h"
#include "tools/qzagent/vqm/VqmGuards.h"

namespace qzagent
{
namespace
{
/// Runs on a thread that the vendor library chooses, and must not block that thread, so it only queues the event.
void handOver(void* aQueue, unsigned int aBoard, unsigned int aCategory, unsigned int aSubcategory,
              QZ_event const* aEvent)
{
    VqmPayload const payload = payloadOf(aEvent);
    static_cast<qz::EventQueue*>(aQueue)->push(
        {std::chrono::system_clock::now(), aBoard, aCategory, aSubcategory}, payload.mBytes, payload.mLength);
}

void takeQuazorEvent(unsigned int aBoard, HBA_wwn, unsigned int aCategory, unsigned int aSubcategory,
                     void* aQueue, QZ_event* aEvent)
{
    handOver(aQueue, aBoard, aCategory, aSubcategory, aEvent);
}

void takePlainEvent(unsigned int aBoard, ...)
{
    std::va_list arguments;
    va_start(arguments, aBoard);
    unsigned int const category = va_arg(arguments, unsigned int);
    unsigned int const subcategory = va_arg(arguments, unsigned int);
    void* const queue = va_arg(arguments, void*);
    QZ_event const* const event = va_arg(arguments, QZ_event*);
    va_end(arguments);
    handOver(queue, aBoard, category, subcategory, event);
}
}  // namespace

VqmRegistrations::~VqmRegistrations()
{
    for (Registration const& registration : mRegistrations)
    {
        end(registration);
    }
}

void VqmRegistrations::add(Board const& aBoard)
{
    Registration registration{aBoard.mNumber, aBoard.mSecondWwn, 0};
    mRegistrations.reserve(mRegistrations.size() + 1);
    unsigned int const result = begin(registration);
    if (isAccepted(result))
    {
        mRegistrations.push_back(registration);
    }
    else
    {
        reportRefusal("registration", aBoard.mNumber, result);
    }
}

unsigned int VqmRegistrations::begin(Registration& aRegistration)
{
    if (mKind.mIsPlain)
    {
        return mLibrary.call(&QZCLibvqmAbs::LIBVQM_VqmRegEvent, aRegistration.mBoard, mKind.mCategory,
                             &mQueue, mKind.mSubcategory, &takePlainEvent);
    }
    return mLibrary.call(&QZCLibvqmAbs::LIBVQM_QzapiRegEvent, aRegistration.mBoard, aRegistration.mPort,
                         qz::makeScopeEvent(mKind.mCategory, mKind.mSubcategory), &mQueue, &aRegistration.mId,
                         &takeQuazorEvent);
}

void VqmRegistrations::end(Registration const& aRegistration)
{
    if (!mLibrary.isLoaded())
    {
        return;
    }
    try
    {
        unsigned int const result =
            mKind.mIsPlain
                ? mLibrary.call(&QZCLibvqmAbs::LIBVQM_VqmUnregEvent, aRegistration.mBoard, mKind.mCategory)
                : mLibrary.call(&QZCLibvqmAbs::LIBVQM_QzapiUnregEvent, aRegistration.mBoard,
                                aRegistration.mPort, aRegistration.mId);
        if (!isAccepted(result))
        {
            reportRefusal("unregistration", aRegistration.mBoard, result);
        }
    }
    catch (std::exception const& exception)
    {
        mReport.addFailure(failureOf(exception));
    }
}

void VqmRegistrations::reportRefusal(char const* aRefused, unsigned int aBoard, unsigned int aResult)
{
    mReport.addError(ExitCode::failed,
                     fmt::format("board {}: the {} was refused with result {}", aBoard, aRefused, aResult));
}
}  // namespace qzagent
