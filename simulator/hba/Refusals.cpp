#include "simulator/hba/Refusals.h"

namespace qzsim
{
namespace
{
HBA_STATUS standardRefusalOf(Reason aReason)
{
    switch (aReason)
    {
        case Reason::handle:
            return HBA_STATUS_ERROR_INVALID_HANDLE;
        case Reason::index:
            return HBA_STATUS_ERROR_ILLEGAL_INDEX;
        case Reason::notATarget:
            return HBA_STATUS_ERROR_NOT_A_TARGET;
        case Reason::lun:
            return HBA_STATUS_ERROR_INVALID_LUN;
        case Reason::noStatistics:
            return HBA_STATUS_ERROR_NOT_SUPPORTED;
        case Reason::fc4Type:
            return HBA_STATUS_ERROR_UNSUPPORTED_FC4;
        default:
            return HBA_STATUS_ERROR_ILLEGAL_WWN;
    }
}

/// What libhbalinux 1.0.16 returns. It looks up handle and port in one step, so both have the same status.
HBA_STATUS linuxRefusalOf(Reason aReason, Call aCall)
{
    bool const isAddress = aReason == Reason::handle || aReason == Reason::port;
    switch (aCall)
    {
        case Call::getFcpTargetMapping:
        case Call::getFcpTargetMappingV2:
            return HBA_STATUS_ERROR_INVALID_HANDLE;
        case Call::sendReportLuns:
            return isAddress ? HBA_STATUS_ERROR_INVALID_HANDLE : HBA_STATUS_ERROR_TARGET_PORT_WWN;
        case Call::sendScsiInquiry:
        case Call::sendReadCapacity:
            return isAddress ? HBA_STATUS_ERROR_INVALID_HANDLE : HBA_STATUS_ERROR_TARGET_LUN;
        case Call::scsiReportLunsV2:
            return isAddress ? HBA_STATUS_ERROR_ILLEGAL_WWN : HBA_STATUS_ERROR_TARGET_PORT_WWN;
        case Call::scsiInquiryV2:
        case Call::scsiReadCapacityV2:
            return isAddress ? HBA_STATUS_ERROR_ILLEGAL_WWN : HBA_STATUS_ERROR_TARGET_LUN;
        case Call::getFc4Statistics:
            return isAddress ? HBA_STATUS_ERROR_ILLEGAL_WWN : HBA_STATUS_ERROR;
        default:
            return HBA_STATUS_ERROR;
    }
}
}  // namespace

HBA_STATUS refusalOf(Reason aReason, Call aCall, Behaviour aBehaviour)
{
    return aBehaviour == Behaviour::standard ? standardRefusalOf(aReason) : linuxRefusalOf(aReason, aCall);
}

std::optional<HBA_STATUS> absenceOf(Call aCall, Behaviour aBehaviour)
{
    if (aBehaviour == Behaviour::standard)
    {
        return std::nullopt;
    }
    switch (aCall)
    {
        case Call::openAdapterByWwn:
            return HBA_STATUS_ERROR_ILLEGAL_WWN;  // no library has opened the adapter
        case Call::getPortAttributesByWwn:
        case Call::getFcpStatistics:
        case Call::registerForAdapterAddEvents:
        case Call::registerForAdapterEvents:
        case Call::registerForAdapterPortEvents:
        case Call::registerForAdapterPortStatEvents:
        case Call::registerForTargetEvents:
        case Call::registerForLinkEvents:
        case Call::removeCallback:
            return HBA_STATUS_ERROR_NOT_SUPPORTED;
        default:
            return std::nullopt;
    }
}
}  // namespace qzsim
