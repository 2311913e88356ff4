/// @file
/// The standard error of the tool, on which each of its lines starts a line.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace qzagent
{
/// Stands between the process and its standard error, to know where a line of another writer was left
/// unfinished: the HBA API's common library does so. What is printed to `stdout`, which is not the
/// libraries' to write to, comes here too. The library's log lines are written as the tool's own lines are.
///
/// One is made at the start, after Output, and lives as long as anything is printed.
class ErrorStream
{
public:
    ErrorStream();
    ~ErrorStream();
    ErrorStream(ErrorStream const&) = delete;
    ErrorStream& operator=(ErrorStream const&) = delete;

    /// The library's log lines come here from now on, as they do from the start.
    void takeLog();

    /// Writes a line of its own. Thread-safe.
    /// @param aLine the text with its line end
    void writeLine(std::string_view aLine);

    /// Whether a status can be shown: a terminal is there that can erase it again.
    static bool canShowStatus();

    /// Shows a line in place of the status so far. Whatever is written next takes its place. Thread-safe.
    /// @param aStatus printable
    void showStatus(std::string const& aStatus);

    /// Erases the status, if there is one. Thread-safe.
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
