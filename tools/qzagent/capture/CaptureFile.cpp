#include "tools/qzagent/capture/CaptureFile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "tools/qzagent/capture/HexText.h"

namespace qzagent
{
namespace
{
constexpr char const* standardInput = "-";

std::FILE* open(std::string const& aPath)
{
    return aPath == standardInput ? ::fdopen(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0), "rb")
                                  : std::fopen(aPath.c_str(), "rbe");
}

[[noreturn]] void refuse(std::string const& aName)
{
    throw CaptureError(fmt::format("cannot read {}: {}", aName, std::strerror(errno)));
}
}  // namespace

CaptureFile::CaptureFile(std::string const& aPath)
    : mName(aPath == standardInput ? "standard input" : aPath), mFile(open(aPath), &std::fclose)
{
    if (!mFile)
    {
        refuse(mName);
    }
    unsigned char head[HexText::headSize];
    std::size_t const size = readRaw(head, sizeof head);
    mHead.assign(head, head + size);
    if (HexText::isText(mHead))
    {
        mHexText.emplace();
    }
}

std::size_t CaptureFile::read(unsigned char* aBytes, std::size_t aSize)
{
    return mHexText ? readHex(aBytes, aSize) : readRaw(aBytes, aSize);
}

std::size_t CaptureFile::readRaw(unsigned char* aBytes, std::size_t aSize)
{
    std::string const head = std::exchange(mHead, {});
    std::copy(head.begin(), head.end(), aBytes);
    std::size_t const size = std::fread(aBytes + head.size(), 1, aSize - head.size(), mFile.get());
    if (std::ferror(mFile.get()) != 0)
    {
        refuse(mName);
    }
    return head.size() + size;
}

std::size_t CaptureFile::readHex(unsigned char* aBytes, std::size_t aSize)
{
    std::size_t decoded = 0;
    bool isAtEnd = false;
    // A piece of the text may contain only comments.
    while (decoded == 0 && !isAtEnd)
    {
        std::size_t const size = readRaw(aBytes, aSize);
        isAtEnd = size == 0;
        decoded = mHexText->decode(aBytes, size);
    }
    if (isAtEnd)
    {
        mHexText->end();
    }
    // The bytes before the error are returned first.
    if (decoded == 0 && mHexText->complaint())
    {
        throw CaptureError(mName + ":" + *mHexText->complaint());
    }
    return decoded;
}
}  // namespace qzagent
