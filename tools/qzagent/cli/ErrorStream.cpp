#include "tools/qzagent/cli/ErrorStream.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>
#include <system_error>

#include <unistd.h>

#include "backend/common/include/Logger.h"
#include "tools/qzagent/cli/Printable.h"
#include "tools/qzagent/cli/Terminal.h"

namespace qzagent
{
namespace
{
constexpr char const* eraseLine = "\r\x1b[K";
// The terminal cuts the status at its margin, so that it takes one line, which can be erased.
constexpr char const* stopAtMargin = "\x1b[?7l";
constexpr char const* wrapAtMargin = "\x1b[?7h";

/// Errors are reported as zero bytes written: there is no other place to report them.
std::size_t writeToDescriptor(char const* aText, std::size_t aLength)
{
    return static_cast<std::size_t>(std::max<ssize_t>(::write(STDERR_FILENO, aText, aLength), 0));
}
}  // namespace

ErrorStream::ErrorStream() : mStream(::fopencookie(this, "w", {nullptr, &write, nullptr, nullptr}))
{
    if (mStream == nullptr)
    {
        throw std::system_error(errno, std::generic_category(), "cannot create the error stream");
    }
    std::setvbuf(mStream, nullptr, _IONBF, 0);
    // In the GNU C library these are variables, and all code prints through them.
    stdout = mStream;
    stderr = mStream;
    takeLog();
}

ErrorStream::~ErrorStream()
{
    SetLogSink(nullptr, nullptr);
    stdout = mStandardOutput;
    stderr = mStandardError;
    std::fclose(mStream);
}

void ErrorStream::takeLog() { SetLogSink(&writeLogLine, this); }

void ErrorStream::writeLine(std::string_view aLine)
{
    std::string line;
    try
    {
        line = printable(aLine) + "\n";
    }
    catch (std::bad_alloc const&)
    {
        // Libraries that log can neither handle an exception nor report one.
        return;
    }
    ::flockfile(mStream);
    if (!mIsAtLineStart)
    {
        std::fputc('\n', mStream);
    }
    std::fwrite(line.data(), 1, line.size(), mStream);
    ::funlockfile(mStream);
}

void ErrorStream::writeLogLine(void* aErrors, char const* aLine, unsigned int aLength)
{
    static_cast<ErrorStream*>(aErrors)->writeLine({aLine, aLength - 1});
}

bool ErrorStream::canShowStatus() { return ::isatty(STDERR_FILENO) == 1 && understandsEscapes(); }

void ErrorStream::showStatus(std::string const& aStatus)
{
    ::flockfile(mStream);
    if (!mIsAtLineStart)
    {
        std::fputc('\n', mStream);
    }
    replaceStatus(aStatus);
    ::funlockfile(mStream);
}

void ErrorStream::eraseStatus()
{
    ::flockfile(mStream);
    replaceStatus("");
    ::funlockfile(mStream);
}

void ErrorStream::replaceStatus(std::string const& aStatus)
{
    if (aStatus == mStatus)
    {
        return;
    }
    mStatus = aStatus;
    std::string const text =
        aStatus.empty() ? eraseLine : eraseLine + (stopAtMargin + aStatus) + wrapAtMargin;
    writeToDescriptor(text.data(), text.size());
}

ssize_t ErrorStream::write(void* aErrors, char const* aText, std::size_t aLength)
{
    auto& errors = *static_cast<ErrorStream*>(aErrors);
    errors.replaceStatus("");
    errors.mIsAtLineStart = aLength > 0 && aText[aLength - 1] == '\n';
    return static_cast<ssize_t>(writeToDescriptor(aText, aLength));
}
}  // namespace qzagent
