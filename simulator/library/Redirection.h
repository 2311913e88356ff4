/// @file
/// How the runner tells the preloaded library where the simulated libraries are.
#pragma once

namespace qzsim
{
/// The path of the simulated HBA library.
constexpr char const* hbaLibraryVariable = "QZSIM_HBA_LIBRARY";

/// The path that replaces the path of the vendor library.
constexpr char const* vendorLibraryVariable = "QZSIM_VENDOR_LIBRARY";

/// The path of the library that records and replays.
constexpr char const* recordingLibraryVariable = "QZSIM_RECORDING_LIBRARY";

/// The path with which programs open the vendor library.
constexpr char const* vendorLibraryPath = "/usr/lib/libvqm.so";
}  // namespace qzsim
