/// @file
/// One of the files that a verb reads.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
constexpr std::size_t defaultLargestRecord = std::size_t{64} << 20U;

struct CaptureOptions
{
    std::size_t mLargest = defaultLargestRecord;  ///< size in bytes of the largest record that is accepted
    std::optional<CaptureForm> mForm;             ///< none when the first bytes tell it
    bool mIsFollowed = false;                     ///< whether to wait for what is appended
    int mStop = -1;  ///< a descriptor that ends reading when it becomes readable; -1 for none
    std::optional<std::string> mName;  ///< of the file, for messages; none for its path
    /// Why no report is read; null to read reports.
    char const* mReportRefusal =
        "this is HTML, and a report has no payloads; show, check and diff can read a report";
    std::set<std::string> mOwnInputs;  ///< paths at which no followed capture continues
};

/// Reads a capture of any form. If it is followed, reading continues in another file that takes its path, and in the
/// next file of its series.
class CaptureInput
{
public:
    /// @param aPath path of the file; "-" for standard input
    /// @throws CaptureError when the file cannot be opened
    CaptureInput(std::string const& aPath, CaptureOptions const& aOptions);

    /// @return the next item; none when there is none now
    /// @throws CaptureError when the file cannot be read
    std::optional<CaptureItem> next();

    /// Reads nothing more, for example after an error.
    void close() { mHasEnded = true; }

    /// Whether next() will find nothing more.
    bool hasEnded() const { return mHasEnded; }

    /// Name of the file for messages.
    std::string const& name() const { return mFile->name(); }

private:
    std::optional<CaptureItem> read(bool aMayGrow);
    std::optional<std::string> pathOfNext() const;
    void open();

    std::string mPath;
    CaptureOptions const mOptions;
    std::unique_ptr<CaptureFile> mFile;
    std::unique_ptr<CaptureSource> mSource;  ///< none as long as the form is unknown
    bool mHasEnded = false;
};
}  // namespace qzagent
