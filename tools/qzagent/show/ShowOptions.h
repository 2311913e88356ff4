/// @file
/// The options of the verb show.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/qzagent/capture/CaptureInput.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/TimeText.h"
#include "tools/qzagent/show/EventFilter.h"

namespace qzagent
{
struct ShowOptions
{
    std::vector<std::string> mPaths;
    CaptureOptions mCapture;
    EventFilter mFilter;
    std::optional<std::size_t> mLast;  ///< none for all events
    bool mIsSummary = false;
    std::optional<std::string> mDocument;  ///< name of the document to show; none to show events
    bool mHasDump = false;
    TimeText::Style mTimes = TimeText::Style::utc;
};

/// Adds the options to the arguments of the verb.
/// @param aOptions set when the arguments are parsed
void addOptions(ArgumentList& aArguments, ShowOptions& aOptions);

/// Adds --format and --max-record, which every verb that reads captures has.
void addCaptureOptions(ArgumentList& aArguments, CaptureOptions& aOptions);
}  // namespace qzagent
