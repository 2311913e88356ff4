#include "tools/qzagent/hba/HbaStatus.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
// The simulator has its own table. A wrong name in a shared table would be wrong in both, and no test would find it.
constexpr char const* hbaStatusNames[] = {
    "HBA_STATUS_OK",
    "HBA_STATUS_ERROR",
    "HBA_STATUS_ERROR_NOT_SUPPORTED",
    "HBA_STATUS_ERROR_INVALID_HANDLE",
    "HBA_STATUS_ERROR_ARG",
    "HBA_STATUS_ERROR_ILLEGAL_WWN",
    "HBA_STATUS_ERROR_ILLEGAL_INDEX",
    "HBA_STATUS_ERROR_MORE_DATA",
    "HBA_STATUS_ERROR_STALE_DATA",
    "HBA_STATUS_SCSI_CHECK_CONDITION",
    "HBA_STATUS_ERROR_BUSY",
    "HBA_STATUS_ERROR_TRY_AGAIN",
    "HBA_STATUS_ERROR_UNAVAILABLE",
    "HBA_STATUS_ERROR_ELS_REJECT",
    "HBA_STATUS_ERROR_INVALID_LUN",
    "HBA_STATUS_ERROR_INCOMPATIBLE",
    "HBA_STATUS_ERROR_AMBIGUOUS_WWN",
    "HBA_STATUS_ERROR_LOCAL_BUS",
    "HBA_STATUS_ERROR_LOCAL_TARGET",
    "HBA_STATUS_ERROR_LOCAL_LUN",
    "HBA_STATUS_ERROR_LOCAL_SCSIID_BOUND",
    "HBA_STATUS_ERROR_TARGET_FCID",
    "HBA_STATUS_ERROR_TARGET_NODE_WWN",
    "HBA_STATUS_ERROR_TARGET_PORT_WWN",
    "HBA_STATUS_ERROR_TARGET_LUN",
    "HBA_STATUS_ERROR_TARGET_LUID",
    "HBA_STATUS_ERROR_NO_SUCH_BINDING",
    "HBA_STATUS_ERROR_NOT_A_TARGET",
    "HBA_STATUS_ERROR_UNSUPPORTED_FC4",
    "HBA_STATUS_ERROR_INCAPABLE",
    "HBA_STATUS_ERROR_TARGET_BUSY",
};
static_assert(std::size(hbaStatusNames) == HBA_STATUS_ERROR_TARGET_BUSY + 1);

bool contains(std::string_view aText, std::string_view aPart)
{
    return aText.find(aPart) != std::string_view::npos;
}

bool sendsScsiCommand(std::string_view aFunction)
{
    return contains(aFunction, "ReportLUNs") || contains(aFunction, "Inquiry") ||
           contains(aFunction, "ReadCapacity");
}

/// @return whether the function sends an ELS or CT request, which the remote port can reject
bool sendsRequest(std::string_view aFunction)
{
    return contains(aFunction, "_Send") && !sendsScsiCommand(aFunction);
}

bool isAboutBindings(std::string_view aFunction) { return contains(aFunction, "Binding"); }

/// @return whether the function can return the status, as the status is defined
bool canReturn(std::string_view aFunction, HBA_STATUS aStatus)
{
    switch (aStatus)
    {
        case HBA_STATUS_ERROR_ELS_REJECT:
            return sendsRequest(aFunction);
        case HBA_STATUS_ERROR_ILLEGAL_INDEX:
            return !sendsScsiCommand(aFunction);
        case HBA_STATUS_ERROR_LOCAL_BUS:
        case HBA_STATUS_ERROR_LOCAL_TARGET:
        case HBA_STATUS_ERROR_LOCAL_LUN:
        case HBA_STATUS_ERROR_LOCAL_SCSIID_BOUND:
        case HBA_STATUS_ERROR_TARGET_FCID:
        case HBA_STATUS_ERROR_TARGET_NODE_WWN:
        case HBA_STATUS_ERROR_TARGET_LUID:
        case HBA_STATUS_ERROR_NO_SUCH_BINDING:
            return isAboutBindings(aFunction);
        default:
            return aStatus < std::size(hbaStatusNames);
    }
}

/// @return such as "EACCES"; empty when the number is no errno value
std::string errnoName(unsigned int aNumber)
{
    char const* const name = ::strerrorname_np(static_cast<int>(aNumber));
    return name == nullptr ? "" : name;
}
}  // namespace

NamedNumber statusOf(std::string_view aFunction, HBA_STATUS aStatus)
{
    return canReturn(aFunction, aStatus) ? NamedNumber{aStatus, hbaStatusNames[aStatus]} : errnoOf(aStatus);
}

NamedNumber errnoOf(unsigned int aNumber) { return {aNumber, errnoName(aNumber)}; }

bool mayBeErrno(std::string_view aFunction, HBA_STATUS aStatus)
{
    // What an HBA library passes on when it cannot open the device file of a LUN, or cannot send the command to it.
    constexpr int values[] = {ENOENT, EIO, EAGAIN, ENOMEM, EBUSY};
    return sendsScsiCommand(aFunction) &&
           std::find(std::begin(values), std::end(values), static_cast<int>(aStatus)) != std::end(values);
}

std::string statusText(std::string_view aFunction, NamedNumber const& aStatus)
{
    bool const isAmbiguous = contains(aStatus.mName, "HBA_") && mayBeErrno(aFunction, aStatus.mNumber);
    return isAmbiguous ? fmt::format("{}, or errno {},", statusText(aStatus), errnoName(aStatus.mNumber))
                       : statusText(aStatus);
}

std::string statusText(NamedNumber const& aStatus)
{
    if (aStatus.mName.empty())
    {
        return fmt::format("status {}", aStatus.mNumber);
    }
    std::string const text = fmt::format("{} ({})", aStatus.mName, aStatus.mNumber);
    return contains(aStatus.mName, "HBA_")
               ? text
               : fmt::format("errno {}, {}", text, ::strerrordesc_np(static_cast<int>(aStatus.mNumber)));
}
}  // namespace qzagent
