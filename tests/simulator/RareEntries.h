/// @file
/// The entries of an HBA library that the simulated one lacks, or that other tests do not call.
#pragma once

#include <cstddef>
#include <ctime>

#include <hbaapi.h>
#include <vendorhbaapi.h>

/// All buffers have this size, and numbers that may be sizes this value.
constexpr std::size_t sizeOfBuffers = 96;

/// Shows the name and the entry of a table.
template <typename Visitor>
void visitRareEntries(HBA_ENTRYPOINTSV2& aTable, Visitor aVisit)
{
    aVisit("ResetStatistics", aTable.ResetStatisticsHandler);
    aVisit("SendCTPassThru", aTable.SendCTPassThruHandler);
    aVisit("SendCTPassThruV2", aTable.SendCTPassThruV2Handler);
    aVisit("GetEventBuffer", aTable.GetEventBufferHandler);
    aVisit("SetRNIDMgmtInfo", aTable.SetRNIDMgmtInfoHandler);
    aVisit("GetRNIDMgmtInfo", aTable.GetRNIDMgmtInfoHandler);
    aVisit("SendRNID", aTable.SendRNIDHandler);
    aVisit("SendRNIDV2", aTable.SendRNIDV2Handler);
    aVisit("SendRPL", aTable.SendRPLHandler);
    aVisit("SendRPS", aTable.SendRPSHandler);
    aVisit("SendSRL", aTable.SendSRLHandler);
    aVisit("SendLIRR", aTable.SendLIRRHandler);
    aVisit("SendRLS", aTable.SendRLSHandler);
    aVisit("RefreshAdapterConfiguration", aTable.RefreshAdapterConfigurationHandler);
    aVisit("GetBindingCapability", aTable.GetBindingCapabilityHandler);
    aVisit("GetBindingSupport", aTable.GetBindingSupportHandler);
    aVisit("SetBindingSupport", aTable.SetBindingSupportHandler);
    aVisit("GetFcpPersistentBinding", aTable.GetFcpPersistentBindingHandler);
    aVisit("GetPersistentBindingV2", aTable.GetPersistentBindingV2Handler);
    aVisit("SetPersistentBindingV2", aTable.SetPersistentBindingV2Handler);
    aVisit("RemovePersistentBinding", aTable.RemovePersistentBindingHandler);
    aVisit("RemoveAllPersistentBindings", aTable.RemoveAllPersistentBindingsHandler);
    aVisit("GetVendorLibraryAttributes", aTable.GetVendorLibraryAttributesHandler);
    aVisit("ScsiInquiry", aTable.ScsiInquiryHandler);
    aVisit("ScsiInquiryV2", aTable.ScsiInquiryV2Handler);
    aVisit("ReportLUNs", aTable.ReportLUNsHandler);
    aVisit("ScsiReportLUNsV2", aTable.ScsiReportLUNsV2Handler);
    aVisit("ReadCapacity", aTable.ReadCapacityHandler);
    aVisit("ScsiReadCapacityV2", aTable.ScsiReadCapacityV2Handler);
    aVisit("GetFC4Statistics", aTable.GetFC4StatisticsHandler);
    aVisit("GetFCPStatistics", aTable.GetFCPStatisticsHandler);
}
