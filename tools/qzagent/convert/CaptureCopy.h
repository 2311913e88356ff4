/// @file
/// The new file of a verb that copies a capture.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agentkit/include/Bytes.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/NewFile.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// A new file that only its owner can read. Many small pieces are written at once. It is removed unless it is finished.
class CaptureCopy
{
public:
    /// @throws std::system_error "cannot write PATH: ..." when the file exists or cannot be created
    explicit CaptureCopy(std::string const& aPath);

    /// @throws std::system_error "cannot write PATH: ..."
    /// @{
    void write(qz::Bytes aBytes);
    void finish();
    /// @}

private:
    void flush();

    NewFile mFile;
    std::vector<unsigned char> mBytes;
};

/// Runs a verb that copies a capture, and reports its errors.
std::optional<Answer> runCopy(Setting const& aSetting, std::function<Answer()> const& aCopy);
}  // namespace qzagent
