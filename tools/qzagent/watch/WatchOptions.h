/// @file
/// The options of the verb watch.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/CaptureLimits.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/watch/EventCounts.h"

namespace qzagent
{
struct WatchOptions
{
    std::optional<unsigned int> mCategory;     ///< none for every category
    std::optional<unsigned int> mSubcategory;  ///< none for every subcategory
    std::optional<unsigned int> mBoard;        ///< none for all boards
    bool mIsPlain = false;                  ///< true for the plain interface, false for the Quazor interface
    std::optional<std::uint64_t> mCount;    ///< number of events after which the watch stops
    std::optional<std::uint64_t> mSeconds;  ///< seconds after which the watch stops
    std::optional<std::string> mEventLayout;  ///< path of the layout of events; none for the simulator's
    std::optional<std::string> mOutput;       ///< path of the capture; none for lines on standard output
    std::optional<std::string> mOutputName;   ///< of the capture, for messages; none for its path
    std::optional<CaptureForm> mForm;         ///< of the capture; none for that of the file
    std::optional<RotateLimit> mRotate;       ///< when the next file begins; none for a single file
    std::optional<KeepLimit> mKeep;           ///< which files of a rotation remain; none for all
    std::optional<unsigned int> mSync;        ///< seconds between synchronisations; 0 for each write
    bool mIsPrinted = false;                  ///< whether events are printed although they are recorded
    PublishEventCounts mPublish;  ///< receives counts instead of a capture or lines; none for these
    bool mIsQuiet = false;        ///< whether no notes and no status are shown
};

/// @return what is wrong with the combination of options; none when it is valid
std::optional<std::string> complaintAbout(WatchOptions const& aOptions);

/// Adds the options to the arguments of the verb.
/// @param aOptions set when the arguments are parsed
void addOptions(ArgumentList& aArguments, WatchOptions& aOptions);
}  // namespace qzagent
