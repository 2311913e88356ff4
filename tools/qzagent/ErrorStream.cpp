#include "tools/qzagent/ErrorStream.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <system_error>

#include <unistd.h>

#include "backend/common/include/Logger.h"

namespace qzagent
{
ErrorStream::ErrorStream() : mStream(::fopencookie(this, "w", {nullptr, &write, nullptr, nullptr}))
{
    if (mStream == nullptr)
    {
        throw std::system_error(errno, std::generic_category(), "cannot make a stream");
    }
    std::setvbuf(mStream, nullptr, _IONBF, 0);
    // In the GNU C library these are variables that everybody prints through.
    stdout = mStream;
    stderr = mStream;
    SetLogSink(&writeLogLine, this);
}

ErrorStream::~ErrorStream()
{
    SetLogSink(nullptr, nullptr);
    stdout = mStandardOutput;
    stderr = mStandardError;
    std::fclose(mStream);
}

void ErrorStream::writeLine(std::string_view aLine)
{
    ::flockfile(mStream);
    if (!mIsAtLineStart)
    {
        std::fputc('\n', mStream);
    }
    std::fwrite(aLine.data(), 1, aLine.size(), mStream);
    ::funlockfile(mStream);
}

void ErrorStream::writeLogLine(void* apErrors, char const* apLine, unsigned int aLength)
{
    static_cast<ErrorStream*>(apErrors)->writeLine({apLine, aLength});
}

ssize_t ErrorStream::write(void* apErrors, char const* apText, std::size_t aLength)
{
    static_cast<ErrorStream*>(apErrors)->mIsAtLineStart = aLength > 0 && apText[aLength - 1] == '\n';
    // Nothing can be said about an error here; to the stream it is that nothing was written.
    return std::max<ssize_t>(::write(STDERR_FILENO, apText, aLength), 0);
}
}  // namespace qzagent
