/// @file
/// The standard error of the process, on which each line of the tool starts at the left margin.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace qzagent
{
/// Replaces `stdout` and `stderr` of the process with a stream that writes to standard error and knows whether the last
/// line is complete. The common library leaves lines unfinished; the tool's own lines and the log lines then start on a
/// new line. `stdout` is replaced because standard output belongs to the tool's result, not to the libraries.
///
/// main() creates one object, after Output, which outlives everything that prints.
class ErrorStream
{
public:
    /// @throws std::system_error when the stream cannot be created
    ErrorStream();
    ~ErrorStream();
    ErrorStream(ErrorStream const&) = delete;
    ErrorStream& operator=(ErrorStream const&) = delete;

    /// Directs the log lines to this stream again. They go there from the start, until another log sink is set.
    void takeLog();

    /// Writes a line in printable form, on a new line if the last one is unfinished. Without memory it writes nothing.
    /// Thread-safe.
    /// @param aLine the line without its line end
    void writeLine(std::string_view aLine);

    /// @return whether standard error is a terminal that can erase a line, so that a status can be shown
    static bool canShowStatus();

    /// Shows a status line in place of the previous one. The next output replaces it. Thread-safe.
    /// @param aStatus printable text
    void showStatus(std::string const& aStatus);

    /// Erases the status line, if one is shown. Thread-safe.
    void eraseStatus();

private:
    void replaceStatus(std::string const& aStatus);
    static void writeLogLine(void* aErrors, char const* aLine, unsigned int aLength);
    static ssize_t write(void* aErrors, char const* aText, std::size_t aLength);

    std::FILE* const mStandardOutput = stdout;
    std::FILE* const mStandardError = stderr;
    std::FILE* mStream;
    bool mIsAtLineStart = true;
    std::string mStatus;  ///< empty when none is shown
};
}  // namespace qzagent
