#include "tools/qzagent/show/ShowOptions.h"

#include <cstdint>
#include <optional>
#include <string>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/cli/ByteSize.h"
#include "tools/qzagent/cli/TimeText.h"
#include "tools/qzagent/vqm/ReceptionTime.h"

namespace qzagent
{
namespace
{
constexpr std::uint64_t largestEventCategory = 0xff;
constexpr std::uint64_t largestBoardNumber = 0xffff'ffff;
constexpr std::uint64_t mostLast = 1'000'000'000;
/// The encoded form counts bytes in 32 bits.
constexpr std::uint64_t largestLimit = 0xffff'0000;

std::optional<TimeText::Style> styleNamed(std::string const& aName)
{
    if (aName == "utc")
    {
        return TimeText::Style::utc;
    }
    if (aName == "local")
    {
        return TimeText::Style::local;
    }
    return aName == "relative" ? std::optional(TimeText::Style::relative) : std::nullopt;
}

std::optional<pcapng::Time> parsedTime(std::string const& aText) { return timeOf(aText, timeOf(wallTime())); }

std::optional<std::size_t> parsedLimit(std::string const& aText)
{
    std::optional<std::uint64_t> const size = byteSizeOf(aText);
    return size && *size > 0 && *size <= largestLimit ? std::optional(static_cast<std::size_t>(*size))
                                                      : std::nullopt;
}
}  // namespace

void addCaptureOptions(ArgumentList& aArguments, CaptureOptions& aOptions)
{
    aArguments.addParsed(
        "--format", "FORMAT", &formNamed, "pcapng, records, json or hex", aOptions.mForm,
        "Read the files in this form: pcapng, records, json or hex; by default the first bytes tell it");
    aArguments.addParsed("--max-record", "SIZE", &parsedLimit,
                         "a size from 1 to 4294901760 bytes, such as 4096, 64M or 1G", aOptions.mLargest,
                         "Leave out records larger than this, such as 4096, 64M or 1G; 64M by default");
}

void addOptions(ArgumentList& aArguments, ShowOptions& aOptions)
{
    char const* const timeForm = "a time such as 2026-11-22T08:53:52Z, -10m or '1h ago'";
    aArguments.addPositional("FILE", aOptions.mPaths, "The captures; - for standard input");
    aArguments.addParsed("--since", "TIME", &parsedTime, timeForm, aOptions.mFilter.mSince,
                         "Only events from this time on, such as 2026-11-22T08:53:52Z, -10m or '1h ago'");
    aArguments.addParsed("--until", "TIME", &parsedTime, timeForm, aOptions.mFilter.mUntil,
                         "Only events up to this time");
    aArguments.addNumber("--category", "N", {0, largestEventCategory}, aOptions.mFilter.mCategory,
                         "Only events of this category, 0 to 255");
    aArguments.addNumber("--subcategory", "N", {0, largestEventCategory}, aOptions.mFilter.mSubcategory,
                         "Only events of this subcategory, 0 to 255");
    aArguments.addNumber("--board", "N", {0, largestBoardNumber}, aOptions.mFilter.mBoard,
                         "Only events of this board");
    aArguments.addParsed(
        "--wwn", "WWN", [](std::string const& aText) { return qz::Wwn::parse(aText); },
        "a World Wide Name such as 10:00:00:00:c9:00:00:01", aOptions.mFilter.mName,
        "Only events with this World Wide Name");
    aArguments.addNumber("--last", "N", {1, mostLast}, aOptions.mLast, "Only the last N of these events");
    aArguments.addFlag("--follow", aOptions.mCapture.mIsFollowed,
                       "Wait for events that are appended, until SIGINT");
    aArguments.addFlag("--summary", aOptions.mIsSummary, "Count the events instead of showing them");
    aArguments.addText("--document", "NAME", aOptions.mDocument,
                       "Show this document of a bundle instead of events; --summary lists the documents");
    aArguments.addFlag("--hex", aOptions.mHasDump, "Show the payload of each event as a hexadecimal dump");
    aArguments.addParsed("--time", "STYLE", &styleNamed, "utc, local or relative", aOptions.mTimes,
                         "Show times in utc, local or relative to the first event; utc by default");
    addCaptureOptions(aArguments, aOptions.mCapture);
}
}  // namespace qzagent
