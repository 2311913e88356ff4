/// @file
/// Captures the log lines of the code under test, by defining PrintLogMessageWithTimeStamp in the test program
/// in place of the framework's function.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "agentkit/testing/UncountedAllocator.h"

/// One call of the logger, except its source line.
struct LogLine
{
    unsigned int mLevel;
    std::string mTag;
    std::string mFunction;
    std::string mFile;
    std::string mFormat;
    std::string mText;  ///< the format with its values
};

bool operator==(LogLine const& aLeft, LogLine const& aRight);
std::ostream& operator<<(std::ostream& aOut, LogLine const& aLine);

/// Collects log lines during its lifetime. Only one object may exist at a time. AllocationFailure does not
/// count it, since it does not use operator new until lines() is called.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    /// The lines so far.
    std::vector<LogLine> const& lines() const;

    /// Discards the lines so far.
    void clear();

private:
    friend void captureLogLine(unsigned int, char const*, char const*, char const*, char const*, char const*);

    struct CapturedLine
    {
        unsigned int mLevel;
        qz::UncountedString mTag;
        qz::UncountedString mFunction;
        qz::UncountedString mFile;
        qz::UncountedString mFormat;
        qz::UncountedString mText;
    };

    qz::UncountedVector<CapturedLine> mCaptured;
    mutable std::vector<LogLine> mLines;  ///< the start of mCaptured that lines() has converted
};

/// Builds the lines that a function in a file is expected to log.
class ExpectedLog
{
public:
    ExpectedLog(std::string aFunction, std::string aFile);

    LogLine entered() const;
    LogLine left() const;

    /// A line of the given kind. Without aText the text is the format itself.
    /// @{
    LogLine trace(std::string const& aFormat) const;
    LogLine trace(std::string const& aFormat, std::string const& aText) const;
    LogLine info(std::string const& aFormat, std::string const& aText) const;
    LogLine notice(std::string const& aFormat, std::string const& aText) const;
    LogLine error(std::string const& aFormat, std::string const& aText) const;
    LogLine error(std::string const& aFormat) const;
    LogLine assertion(std::string const& aCondition) const;
    /// @}

private:
    std::string mFunction;
    std::string mFile;
};

/// For death tests: a regular expression that matches the test program's standard error when it has exactly
/// these lines. Call echoLogLines() first in the statement that dies.
std::string onlyTheseLines(std::vector<LogLine> const& aLines);

/// Also writes every following log line to standard error, where it survives the process.
void echoLogLines();
