#include "tests/support/LogCapture.h"

#include <cstdarg>
#include <cstdio>
#include <iostream>
#include <sstream>

#include "backend/common/include/Logger.h"

namespace
{
LogCapture* gCapture = nullptr;
bool gEcho = false;

std::string withVisibleLineEnds(std::string const& aText)
{
    std::string visible;
    for (char const character : aText)
    {
        visible += character == '\n' ? std::string("\\n") : std::string(1, character);
    }
    return visible;
}

std::string escapedForRegex(std::string const& aText)
{
    std::string escaped;
    for (char const character : aText)
    {
        if (std::string("\\[](){}.*+?^$|").find(character) != std::string::npos)
        {
            escaped += '\\';
        }
        escaped += character;
    }
    return escaped;
}
}  // namespace

bool operator==(LogLine const& aLeft, LogLine const& aRight)
{
    return aLeft.mLevel == aRight.mLevel && aLeft.mTag == aRight.mTag &&
           aLeft.mFunction == aRight.mFunction && aLeft.mFile == aRight.mFile &&
           aLeft.mFormat == aRight.mFormat && aLeft.mText == aRight.mText;
}

std::ostream& operator<<(std::ostream& aOut, LogLine const& aLine)
{
    return aOut << aLine.mLevel << ' ' << aLine.mTag << ' ' << aLine.mFunction << " in " << aLine.mFile
                << ": <" << withVisibleLineEnds(aLine.mFormat) << "> gives <"
                << withVisibleLineEnds(aLine.mText) << '>';
}

void captureLogLine(unsigned int aLevel, char const* aTag, char const* aFunction, char const* aFile,
                    char const* aFormat, char const* aText)
{
    if (gEcho)
    {
        std::cerr << LogLine{aLevel, aTag, aFunction, aFile, aFormat, aText} << std::endl;
    }
    if (gCapture != nullptr)
    {
        gCapture->mCaptured.push_back({aLevel, aTag, aFunction, aFile, aFormat, aText});
    }
}

void PrintLogMessageWithTimeStamp(unsigned int aLevel, char const* aTag, unsigned int aLine,
                                  char const* aFunction, char const* aFile, char const* aFormat, ...)
{
    char text[4096];
    std::va_list values;
    va_start(values, aFormat);
    std::vsnprintf(text, sizeof text, aFormat, values);
    va_end(values);
    if (aLine != 0)
    {
        captureLogLine(aLevel, aTag, aFunction, aFile, aFormat, text);
    }
}

LogCapture::LogCapture() { gCapture = this; }

LogCapture::~LogCapture() { gCapture = nullptr; }

std::vector<LogLine> const& LogCapture::lines() const
{
    while (mLines.size() < mCaptured.size())
    {
        CapturedLine const& line = mCaptured[mLines.size()];
        mLines.push_back({line.mLevel, line.mTag.c_str(), line.mFunction.c_str(), line.mFile.c_str(),
                          line.mFormat.c_str(), line.mText.c_str()});
    }
    return mLines;
}

void LogCapture::clear()
{
    mCaptured.clear();
    mLines.clear();
}

ExpectedLog::ExpectedLog(std::string aFunction, std::string aFile)
    : mFunction(std::move(aFunction)), mFile(std::move(aFile))
{
}

LogLine ExpectedLog::entered() const { return trace("%s", "Entered"); }

LogLine ExpectedLog::left() const { return trace("%s", "Left"); }

LogLine ExpectedLog::trace(std::string const& aFormat) const { return trace(aFormat, aFormat); }

LogLine ExpectedLog::trace(std::string const& aFormat, std::string const& aText) const
{
    return {128, "-T-", mFunction, mFile, aFormat, aText};
}

LogLine ExpectedLog::info(std::string const& aFormat, std::string const& aText) const
{
    return {64, "-I-", mFunction, mFile, aFormat, aText};
}

LogLine ExpectedLog::notice(std::string const& aFormat, std::string const& aText) const
{
    return {32, "-N-", mFunction, mFile, aFormat, aText};
}

LogLine ExpectedLog::error(std::string const& aFormat, std::string const& aText) const
{
    return {8, "-E-", mFunction, mFile, aFormat, aText};
}

LogLine ExpectedLog::error(std::string const& aFormat) const { return error(aFormat, aFormat); }

LogLine ExpectedLog::assertion(std::string const& aCondition) const
{
    return {
        1, "-H-", mFunction, mFile, "Assertion [ %s ] failed\n", "Assertion [ " + aCondition + " ] failed\n"};
}

std::string onlyTheseLines(std::vector<LogLine> const& aLines)
{
    std::ostringstream expected;
    for (LogLine const& line : aLines)
    {
        expected << line << '\n';
    }
    return "^" + escapedForRegex(expected.str()) + "$";
}

void echoLogLines() { gEcho = true; }
