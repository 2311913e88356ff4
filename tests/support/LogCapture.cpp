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

std::string withVisibleLineEnds(std::string const& acrText)
{
    std::string visible;
    for (char const character : acrText)
    {
        visible += character == '\n' ? std::string("\\n") : std::string(1, character);
    }
    return visible;
}

std::string escapedForRegex(std::string const& acrText)
{
    std::string escaped;
    for (char const character : acrText)
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

bool operator==(LogLine const& acrLeft, LogLine const& acrRight)
{
    return acrLeft.mLevel == acrRight.mLevel && acrLeft.mTag == acrRight.mTag &&
           acrLeft.mFunction == acrRight.mFunction && acrLeft.mFile == acrRight.mFile &&
           acrLeft.mFormat == acrRight.mFormat && acrLeft.mText == acrRight.mText;
}

std::ostream& operator<<(std::ostream& arOut, LogLine const& acrLine)
{
    return arOut << acrLine.mLevel << ' ' << acrLine.mTag << ' ' << acrLine.mFunction << " in "
                 << acrLine.mFile << ": <" << withVisibleLineEnds(acrLine.mFormat) << "> gives <"
                 << withVisibleLineEnds(acrLine.mText) << '>';
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

void PrintLogMessageWithTimeStamp(unsigned int aLevel, char const* apTag, unsigned int aLine,
                                  char const* apFunction, char const* apFile, char const* apFormat, ...)
{
    char text[4096];
    std::va_list values;
    va_start(values, apFormat);
    std::vsnprintf(text, sizeof text, apFormat, values);
    va_end(values);
    if (aLine != 0)
    {
        captureLogLine(aLevel, apTag, apFunction, apFile, apFormat, text);
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

LogLine ExpectedLog::trace(std::string const& acrFormat) const { return trace(acrFormat, acrFormat); }

LogLine ExpectedLog::trace(std::string const& acrFormat, std::string const& acrText) const
{
    return {128, "-T-", mFunction, mFile, acrFormat, acrText};
}

LogLine ExpectedLog::info(std::string const& acrFormat, std::string const& acrText) const
{
    return {64, "-I-", mFunction, mFile, acrFormat, acrText};
}

LogLine ExpectedLog::notice(std::string const& acrFormat, std::string const& acrText) const
{
    return {32, "-N-", mFunction, mFile, acrFormat, acrText};
}

LogLine ExpectedLog::error(std::string const& acrFormat, std::string const& acrText) const
{
    return {8, "-E-", mFunction, mFile, acrFormat, acrText};
}

LogLine ExpectedLog::error(std::string const& acrFormat) const { return error(acrFormat, acrFormat); }

LogLine ExpectedLog::assertion(std::string const& acrCondition) const
{
    return {1,
            "-H-",
            mFunction,
            mFile,
            "Assertion [ %s ] failed\n",
            "Assertion [ " + acrCondition + " ] failed\n"};
}

std::string onlyTheseLines(std::vector<LogLine> const& acrLines)
{
    std::ostringstream expected;
    for (LogLine const& line : acrLines)
    {
        expected << line << '\n';
    }
    return "^" + escapedForRegex(expected.str()) + "$";
}

void echoLogLines() { gEcho = true; }
