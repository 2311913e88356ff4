#include "tools/qzagent/hba/HbaStep.h"

#include <exception>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "agentkit/include/HbaWitness.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/hba/HbaStatus.h"
#include "tools/qzagent/hba/SenseData.h"

namespace qzagent
{
namespace
{
/// Other exceptions, such as that of exhausted memory, do not come from a call.
bool isOfHbaApi(std::exception const& aException)
{
    return dynamic_cast<QZCHbaapiEx const*>(&aException) != nullptr ||
           dynamic_cast<QZCExitConditionEx const*>(&aException) != nullptr;
}

/// @return the SCSI command that the function sends; empty for other functions
std::string_view commandOf(std::string_view aFunction)
{
    struct Command
    {
        std::string_view mPart;
        std::string_view mName;
    };
    for (Command const& command : {Command{"ReportLUNs", "REPORT LUNS"}, Command{"Inquiry", "INQUIRY"},
                                   Command{"ReadCapacity", "READ CAPACITY"}})
    {
        if (aFunction.find(command.mPart) != std::string_view::npos)
        {
            return command.mName;
        }
    }
    return {};
}

std::string textOfCall(Cause const& aCause)
{
    return fmt::format("{} in call {}, {}", statusText(aCause.mFunction, *aCause.mStatus), aCause.mCall,
                       aCause.mFunction);
}

Cause causeOf(qz::HbaCall const& aCall)
{
    Cause cause{aCall.mNumber, aCall.mFunction, statusOf(aCall.mFunction, aCall.mStatus), {}, {}};
    if (aCall.mScsiStatus)
    {
        cause.mScsi = scsiCauseOf(*aCall.mScsiStatus, aCall.mSense.data(), aCall.mSenseSize);
        cause.mText = fmt::format("{}: {}; ", commandOf(aCall.mFunction), textOf(*cause.mScsi));
    }
    cause.mText += aCall.mIsUnanswered ? fmt::format("{} without data in call {}, {}",
                                                     statusText(*cause.mStatus), cause.mCall, cause.mFunction)
                                       : textOfCall(cause);
    return cause;
}
}  // namespace

Failure HbaStep::failureOf(std::exception const& aException) const
{
    Failure failure = qzagent::failureOf(aException);
    qz::HbaCall const& last = qz::lastHbaCall();
    if (isOfHbaApi(aException) && last.mNumber > mCallsBefore)
    {
        failure.mCause = causeOf(last);
    }
    return failure;
}

Cause withErrno(Cause const& aCause)
{
    Cause cause = aCause;
    cause.mStatus = errnoOf(aCause.mStatus->mNumber);
    cause.mText = textOfCall(cause);
    return cause;
}
}  // namespace qzagent
