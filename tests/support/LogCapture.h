/// @file
/// Captures the log lines of the code under test. A test program that links this has its own
/// PrintLogMessageWithTimeStamp, which takes the place of the framework's.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "agentkit/testing/UncountedAllocator.h"

/// One call of the logger, but for its source line.
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

/// Collects log lines from its construction on. One at a time. AllocationFailure does not notice it: what
/// is collected takes nothing from operator new until lines() is called.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    /// The lines so far.
    std::vector<LogLine> const& lines() const;

    /// Forgets the lines so far.
    void clear();

private:
    friend void captureLogLine(unsigned int, char const*, char const*, char const*, char const*, char const*);

    struct CapturedLine
    {
        unsigned int mLevel;
        UncountedString mTag;
        UncountedString mFunction;
        UncountedString mFile;
        UncountedString mFormat;
        UncountedString mText;
    };

    UncountedVector<CapturedLine> mCaptured;
    mutable std::vector<LogLine> mLines;  ///< as many of mCaptured as have been asked for
};

/// The lines that one function in one file is expected to log.
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

/// For death tests: what the test program writes to standard error for exactly these lines, as a regular
/// expression that matches nothing more and nothing less. Call echoLogLines() first in the statement that
/// dies.
std::string onlyTheseLines(std::vector<LogLine> const& aLines);

/// From now on every log line is also written to standard error, so that it outlives the process.
void echoLogLines();
