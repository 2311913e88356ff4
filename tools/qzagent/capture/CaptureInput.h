/// @file
/// One of the files that a verb reads.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
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
};

/// Reads a capture of any form. If it is followed and another file takes its path, reading continues there.
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
    void open();

    std::string const mPath;
    CaptureOptions const mOptions;
    std::unique_ptr<CaptureFile> mFile;
    std::unique_ptr<CaptureSource> mSource;  ///< none as long as the form is unknown
    bool mHasEnded = false;
};
}  // namespace qzagent
