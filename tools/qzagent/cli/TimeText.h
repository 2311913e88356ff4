/// @file
/// Times as text.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "pcapng/Blocks.h"

namespace qzagent
{
constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;

/// Formats times with nanoseconds. Consecutive times of one second share most of the work.
class TimeText
{
public:
    enum class Style
    {
        utc,      ///< RFC 3339, such as 2026-11-22T08:53:52.000000001Z
        local,    ///< RFC 3339 with the offset of the local time zone
        relative  ///< seconds after the first time that was formatted, such as +1.500000000
    };

    explicit TimeText(Style aStyle) : mStyle(aStyle) {}

    void append(std::string& aText, pcapng::Time aTime);

private:
    void appendRelative(std::string& aText, pcapng::Time aTime);
    void prepare(std::uint64_t aSecond);

    Style mStyle;
    std::optional<std::uint64_t> mSecond;  ///< the second of the texts below
    std::string mUpToSecond;
    std::string mZone;
    std::optional<pcapng::Time> mFirst;
};

/// @return the time in UTC with microseconds, in the form with which log lines begin
std::string timeText(std::chrono::system_clock::time_point aTime);

/// @return the time in the unit of captures
pcapng::Time timeOf(std::chrono::system_clock::time_point aTime);

/// @param aText RFC 3339, with at most nine digits behind the second
/// @return none when the text is not a time, or is before 1970 or after the year 2553
std::optional<pcapng::Time> timeOf(std::string_view aText);

/// @param aText RFC 3339, or a time before now such as "-90s", "-10m", "1h ago" or "2d ago"
/// @return none when the text is not a time
std::optional<pcapng::Time> timeOf(std::string_view aText, pcapng::Time aNow);
}  // namespace qzagent
