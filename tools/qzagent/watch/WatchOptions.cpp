#include "tools/qzagent/watch/WatchOptions.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/CaptureLimits.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/vqm/VqmEvent.h"

namespace qzagent
{
namespace
{
constexpr std::uint64_t largestSingleCategory = anyCategory - 1;
constexpr std::uint64_t largestBoard = std::numeric_limits<unsigned int>::max();
constexpr std::uint64_t mostEvents = 1'000'000'000'000'000;
constexpr std::uint64_t mostSeconds = 1'000'000'000;
constexpr std::uint64_t mostSecondsOfSync = 3600;

std::optional<CaptureForm> recordedFormNamed(std::string const& aName)
{
    std::optional<CaptureForm> const form = formNamed(aName);
    return form == CaptureForm::pcapng || form == CaptureForm::records ? form : std::nullopt;
}
}  // namespace

void addOptions(ArgumentList& aArguments, WatchOptions& aOptions)
{
    aArguments.addNumber("--category", "N", {0, largestSingleCategory}, aOptions.mCategory,
                         "Only events of this category, 0 to 254; every category by default");
    aArguments.addNumber("--subcategory", "N", {0, largestSingleCategory}, aOptions.mSubcategory,
                         "Only events of this subcategory, 0 to 254; every subcategory by default");
    aArguments.addNumber("--board", "N", {0, largestBoard}, aOptions.mBoard,
                         "Only events of this board; all boards by default");
    aArguments.addFlag("--plain", aOptions.mIsPlain, "Use the plain interface instead of Quazor events");
    aArguments.addNumber("--count", "N", {1, mostEvents}, aOptions.mCount, "Stop after N events");
    aArguments.addNumber("--seconds", "S", {1, mostSeconds}, aOptions.mSeconds, "Stop after S seconds");
    aArguments.addText("--event-layout", "FILE", aOptions.mEventLayout,
                       "Read the vendor library's event records as this file describes them");
    aArguments.addText("--output", "FILE", aOptions.mOutput, "Append the events to this capture");
    aArguments.addParsed("--format", "FORM", &recordedFormNamed, "pcapng or records", aOptions.mForm,
                         "Form of the capture, pcapng or records; pcapng by default");
    aArguments.addParsed("--rotate", "LIMIT", &parseRotateLimit, "a size such as 100M or a time such as 1h",
                         aOptions.mRotate,
                         "Begin the next numbered file after this size (K, M, G, T) or time (s, m, h, d)");
    aArguments.addParsed("--keep", "LIMIT", &parseKeepLimit, "a number of files or a size such as 1G",
                         aOptions.mKeep, "Keep only so many of the numbered files, or so much (K, M, G, T)");
    aArguments.addNumber("--sync", "S", {0, mostSecondsOfSync}, aOptions.mSync,
                         "Make the disk store the capture every S seconds, 0 for each write; 5 by default");
    aArguments.addFlag("--print", aOptions.mIsPrinted, "Print the events although they are recorded");
    aArguments.addFlag("--quiet", aOptions.mIsQuiet, "Show neither notes nor the status line");
}

std::optional<std::string> complaintAbout(WatchOptions const& aOptions)
{
    bool const isRecords = aOptions.mForm == CaptureForm::records;
    bool const needsOutput = aOptions.mForm || aOptions.mRotate || aOptions.mSync || aOptions.mIsPrinted;
    if (needsOutput && !aOptions.mOutput)
    {
        return "--format, --rotate, --sync and --print require --output";
    }
    if (aOptions.mKeep && !aOptions.mRotate)
    {
        return "--keep requires --rotate";
    }
    if (isRecords && (aOptions.mRotate || aOptions.mSync))
    {
        return "--rotate and --sync require the form pcapng";
    }
    return {};
}
}  // namespace qzagent
