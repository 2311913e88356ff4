#include "tools/qzagent/LibvqmRegistrations.h"

#include <chrono>
#include <cstdarg>
#include <ctime>
#include <exception>

#include <fmt/format.h>
#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "simulator/include/QzEvent.h"
#include "tools/qzagent/EventQueue.h"
#include "tools/qzagent/ExitCodes.h"
#include "tools/qzagent/Failure.h"
#include "tools/qzagent/LibvqmGuards.h"
#include "tools/qzagent/Report.h"
#include "tools/qzagent/ScopeEvents.h"

namespace qzagent
{
namespace
{
/// On a thread of the vendor's library, which must not be kept: nothing is done but handing over.
void handOver(void* apQueue, unsigned int aBoard, unsigned int aCategory, unsigned int aSubcategory,
              QZ_event const* apEvent)
{
    bool const hasPayload = apEvent != nullptr && apEvent->mPayload != nullptr;
    static_cast<EventQueue*>(apQueue)->push(
        {std::chrono::system_clock::now(), aBoard, aCategory, aSubcategory},
        hasPayload ? apEvent->mPayload : nullptr, hasPayload ? apEvent->mLength : 0);
}

void takeQuazorEvent(unsigned int aBoard, HBA_wwn, unsigned int aCategory, unsigned int aSubcategory,
                     void* apQueue, QZ_event* apEvent)
{
    handOver(apQueue, aBoard, aCategory, aSubcategory, apEvent);
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

LibvqmRegistrations::~LibvqmRegistrations()
{
    for (Registration const& registration : mRegistrations)
    {
        end(registration);
    }
}

void LibvqmRegistrations::add(Board const& aBoard)
{
    Registration registration{aBoard.mNumber, aBoard.mSecondWwn, 0};
    mRegistrations.reserve(mRegistrations.size() + 1);
    unsigned int const result = begin(registration);
    if (result == QZ_OK)
    {
        mRegistrations.push_back(registration);
    }
    else
    {
        reportRefusal("the registration", aBoard.mNumber, result);
    }
}

unsigned int LibvqmRegistrations::begin(Registration& arRegistration)
{
    if (mKind.mIsPlain)
    {
        return mLibrary.call(&QZCLibvqmAbs::LIBVQM_VqmRegEvent, arRegistration.mBoard, mKind.mCategory,
                             &mQueue, mKind.mSubcategory, &takePlainEvent);
    }
    return mLibrary.call(&QZCLibvqmAbs::LIBVQM_QzapiRegEvent, arRegistration.mBoard, arRegistration.mPort,
                         scopeEventOf(mKind.mCategory, mKind.mSubcategory), &mQueue, &arRegistration.mId,
                         &takeQuazorEvent);
}

void LibvqmRegistrations::end(Registration const& aRegistration)
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
        if (result != QZ_OK)
        {
            reportRefusal("the end of the registration", aRegistration.mBoard, result);
        }
    }
    catch (std::exception const& exception)
    {
        mReport.addFailure(failureOf(exception));
    }
}

void LibvqmRegistrations::reportRefusal(char const* aRefused, unsigned int aBoard, unsigned int aResult)
{
    mReport.addError(ExitCode::failed,
                     fmt::format("board {}: {} was refused with result {}", aBoard, aRefused, aResult));
}
}  // namespace qzagent
