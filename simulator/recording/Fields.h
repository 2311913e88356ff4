/// @file
/// The fields of the structures of the HBA API. A recording has each field on its own, so that a recording of one machine
/// can be read on another with other sizes or another byte order.
#pragma once

#include <ctime>

#include <hbaapi.h>

namespace qzsim
{
/// The identifier of a logical unit is binary: it has zero bytes before its end.
using LuidBytes = unsigned char[sizeof HBA_LUID::buffer];

inline LuidBytes& bytesOf(HBA_LUID& aLuid) { return reinterpret_cast<LuidBytes&>(aLuid.buffer); }

/// @name Shows each field of a structure to a visitor, with its name in recordings
/// @tparam Visitor is called with the name and a reference to the field
/// @{
template <typename Visitor>
void visitFields(HBA_ADAPTERATTRIBUTES& aValue, Visitor aVisit)
{
    aVisit("manufacturer", aValue.Manufacturer);
    aVisit("serial_number", aValue.SerialNumber);
    aVisit("model", aValue.Model);
    aVisit("model_description", aValue.ModelDescription);
    aVisit("node_wwn", aValue.NodeWWN);
    aVisit("node_symbolic_name", aValue.NodeSymbolicName);
    aVisit("hardware_version", aValue.HardwareVersion);
    aVisit("driver_version", aValue.DriverVersion);
    aVisit("option_rom_version", aValue.OptionROMVersion);
    aVisit("firmware_version", aValue.FirmwareVersion);
    aVisit("vendor_specific_id", aValue.VendorSpecificID);
    aVisit("number_of_ports", aValue.NumberOfPorts);
    aVisit("driver_name", aValue.DriverName);
}

template <typename Visitor>
void visitFields(HBA_PORTATTRIBUTES& aValue, Visitor aVisit)
{
    aVisit("node_wwn", aValue.NodeWWN);
    aVisit("port_wwn", aValue.PortWWN);
    aVisit("fc_id", aValue.PortFcId);
    aVisit("type", aValue.PortType);
    aVisit("state", aValue.PortState);
    aVisit("supported_classes", aValue.PortSupportedClassofService);
    aVisit("supported_fc4_types", aValue.PortSupportedFc4Types.bits);
    aVisit("active_fc4_types", aValue.PortActiveFc4Types.bits);
    aVisit("symbolic_name", aValue.PortSymbolicName);
    aVisit("os_device_name", aValue.OSDeviceName);
    aVisit("supported_speed", aValue.PortSupportedSpeed);
    aVisit("speed", aValue.PortSpeed);
    aVisit("max_frame_size", aValue.PortMaxFrameSize);
    aVisit("fabric_name", aValue.FabricName);
    aVisit("discovered_ports", aValue.NumberofDiscoveredPorts);
}

template <typename Visitor>
void visitFields(HBA_PORTSTATISTICS& aValue, Visitor aVisit)
{
    aVisit("seconds_since_last_reset", aValue.SecondsSinceLastReset);
    aVisit("tx_frames", aValue.TxFrames);
    aVisit("tx_words", aValue.TxWords);
    aVisit("rx_frames", aValue.RxFrames);
    aVisit("rx_words", aValue.RxWords);
    aVisit("lip_count", aValue.LIPCount);
    aVisit("nos_count", aValue.NOSCount);
    aVisit("error_frames", aValue.ErrorFrames);
    aVisit("dumped_frames", aValue.DumpedFrames);
    aVisit("link_failure_count", aValue.LinkFailureCount);
    aVisit("loss_of_sync_count", aValue.LossOfSyncCount);
    aVisit("loss_of_signal_count", aValue.LossOfSignalCount);
    aVisit("primitive_seq_protocol_err_count", aValue.PrimitiveSeqProtocolErrCount);
    aVisit("invalid_tx_word_count", aValue.InvalidTxWordCount);
    aVisit("invalid_crc_count", aValue.InvalidCRCCount);
}

template <typename Visitor>
void visitFields(HBA_FC4STATISTICS& aValue, Visitor aVisit)
{
    aVisit("input_requests", aValue.InputRequests);
    aVisit("output_requests", aValue.OutputRequests);
    aVisit("control_requests", aValue.ControlRequests);
    aVisit("input_megabytes", aValue.InputMegabytes);
    aVisit("output_megabytes", aValue.OutputMegabytes);
}

template <typename Visitor>
void visitFields(HBA_SCSIID& aValue, Visitor aVisit)
{
    aVisit("os_device_name", aValue.OSDeviceName);
    aVisit("bus", aValue.ScsiBusNumber);
    aVisit("target", aValue.ScsiTargetNumber);
    aVisit("os_lun", aValue.ScsiOSLun);
}

template <typename Visitor>
void visitFields(HBA_FCPID& aValue, Visitor aVisit)
{
    aVisit("fc_id", aValue.FcId);
    aVisit("node_wwn", aValue.NodeWWN);
    aVisit("port_wwn", aValue.PortWWN);
    // The number is the memory of the eight bytes of a SCSI LUN.
    aVisit("fcp_lun", reinterpret_cast<unsigned char(&)[sizeof aValue.FcpLun]>(aValue.FcpLun));
}

template <typename Visitor>
void visitFields(HBA_FCPSCSIENTRY& aValue, Visitor aVisit)
{
    aVisit("scsi", aValue.ScsiId);
    aVisit("fcp", aValue.FcpId);
}

template <typename Visitor>
void visitFields(HBA_FCPSCSIENTRYV2& aValue, Visitor aVisit)
{
    aVisit("scsi", aValue.ScsiId);
    aVisit("fcp", aValue.FcpId);
    aVisit("luid", bytesOf(aValue.LUID));
}

template <typename Visitor>
void visitFields(HBA_FCPBINDINGENTRY& aValue, Visitor aVisit)
{
    aVisit("type", aValue.type);
    aVisit("scsi", aValue.ScsiId);
    aVisit("fcp", aValue.FcpId);
    aVisit("fc_id", aValue.FcId);
}

template <typename Visitor>
void visitFields(HBA_FCPBINDINGENTRY2& aValue, Visitor aVisit)
{
    aVisit("type", aValue.type);
    aVisit("scsi", aValue.ScsiId);
    aVisit("fcp", aValue.FcpId);
    aVisit("luid", bytesOf(aValue.LUID));
    aVisit("status", aValue.status);
}

template <typename Visitor>
void visitFields(HBA_MGMTINFO& aValue, Visitor aVisit)
{
    aVisit("wwn", aValue.wwn);
    aVisit("unit_type", aValue.unittype);
    aVisit("port_id", aValue.PortId);
    aVisit("attached_nodes", aValue.NumberOfAttachedNodes);
    aVisit("ip_version", aValue.IPVersion);
    aVisit("udp_port", aValue.UDPPort);
    aVisit("ip_address", aValue.IPAddress);
    aVisit("reserved", aValue.reserved);
    aVisit("topology_discovery_flags", aValue.TopologyDiscoveryFlags);
}

/// Every kind of event has four numbers.
template <typename Visitor>
void visitFields(HBA_EVENTINFO& aValue, Visitor aVisit)
{
    HBA_UINT32(&data)[4] = aValue.Event.Pty_EventInfo.PtyData;
    aVisit("code", aValue.EventCode);
    aVisit("data_0", data[0]);
    aVisit("data_1", data[1]);
    aVisit("data_2", data[2]);
    aVisit("data_3", data[3]);
}

template <typename Visitor>
void visitFields(HBA_LIBRARYATTRIBUTES& aValue, Visitor aVisit)
{
    aVisit("final", aValue.final);
    aVisit("path", aValue.LibPath);
    aVisit("vendor", aValue.VName);
    aVisit("version", aValue.VVersion);
    aVisit("second", aValue.build_date.tm_sec);
    aVisit("minute", aValue.build_date.tm_min);
    aVisit("hour", aValue.build_date.tm_hour);
    aVisit("day", aValue.build_date.tm_mday);
    aVisit("month", aValue.build_date.tm_mon);
    aVisit("year", aValue.build_date.tm_year);
    aVisit("week_day", aValue.build_date.tm_wday);
    aVisit("year_day", aValue.build_date.tm_yday);
    aVisit("daylight_saving", aValue.build_date.tm_isdst);
}
/// @}
}  // namespace qzsim
