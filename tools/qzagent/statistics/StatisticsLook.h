/// @file
/// Reads the counters of all ports.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/statistics/Counters.h"

namespace qzagent
{
struct PortStatistics
{
    std::size_t mIndex;
    qz::Wwn mName;
    std::optional<Counts> mCounts;  ///< none when they are unavailable
    bool mIsOffered = true;         ///< false when the library says that the port has no counters
};

struct AdapterStatistics
{
    std::size_t mIndex;
    std::string mName;
    std::optional<std::vector<PortStatistics>> mPorts;  ///< none when the ports are unavailable
    bool mIsComplete;                                   ///< whether mPorts has all ports
};

/// The counters of all ports at a time.
struct StatisticsLook
{
    std::chrono::nanoseconds mTime;  ///< of the monotonic clock, which is the same in all processes
    std::vector<AdapterStatistics> mAdapters;
    ExitCode mExitCode;  ///< of the messages that the look caused
};

/// @param aWanted   the adapter, as for visitAdapters(); none for all adapters
/// @param aReport   receives failures
/// @param aProgress receives the steps
/// @param aOnAdapter receives each adapter when it is complete
StatisticsLook lookAt(
    std::optional<std::string> const& aWanted, Report& aReport, Progress& aProgress,
    std::function<void(AdapterStatistics const&)> const& aOnAdapter = [](AdapterStatistics const&) {});

/// The bytes in which a look is passed from one process to another.
/// @{
std::vector<std::uint8_t> bytesOf(StatisticsLook const& aLook);

/// @throws std::exception when the bytes are not those of a look
StatisticsLook lookIn(std::vector<std::uint8_t> const& aBytes);
/// @}
}  // namespace qzagent
