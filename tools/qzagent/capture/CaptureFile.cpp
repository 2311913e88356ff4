#include "tools/qzagent/capture/CaptureFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace qzagent
{
namespace
{
constexpr char const* standardInput = "-";

int open(std::string const& aPath)
{
    return aPath == standardInput ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                  : ::open(aPath.c_str(), O_RDONLY | O_CLOEXEC);
}

[[noreturn]] void refuse(std::string const& aName)
{
    throw CaptureError(fmt::format("cannot read {}: {}", aName, std::strerror(errno)));
}
}  // namespace

CaptureFile::CaptureFile(std::string const& aPath, Reading aReading, std::optional<CaptureForm> const& aForm,
                         int aStop, std::optional<std::string> const& aName)
    : mPath(aPath),
      mName(aName.value_or(aPath == standardInput ? "standard input" : aPath)),
      mDescriptor(open(aPath)),
      mReading(aReading),
      mStop(aStop),
      mIsFormGiven(aForm.has_value()),
      mForm(aForm)
{
    struct stat status = {};
    if (mDescriptor.number() < 0 || ::fstat(mDescriptor.number(), &status) != 0)
    {
        refuse(mName);
    }
    mCanGrow = S_ISREG(status.st_mode);
    if (mForm == CaptureForm::hexadecimal)
    {
        mHexText.emplace();
    }
}

std::optional<CaptureForm> CaptureFile::form()
{
    bool hasMore = true;
    while (!mForm)
    {
        mForm = formOf(mHead, mHead.size() == formHeadSize || mHasEnded);
        if (mForm && *mForm != CaptureForm::pcapng && isDamagedPcapng(start()))
        {
            mForm = CaptureForm::pcapng;
        }
        if (mForm == CaptureForm::hexadecimal)
        {
            mHexText.emplace();
        }
        if (mForm || !hasMore)
        {
            break;
        }
        unsigned char bytes[formHeadSize];
        std::size_t const count = readDescriptor(bytes, formHeadSize - mHead.size());
        mHead.append(bytes, bytes + count);
        hasMore = count != 0;
    }
    return mForm;
}

std::size_t CaptureFile::read(unsigned char* aBytes, std::size_t aSize)
{
    return mHexText ? readHex(aBytes, aSize) : readRaw(aBytes, aSize);
}

bool CaptureFile::isReplaced() const
{
    struct stat now = {};
    struct stat opened = {};
    if (!mCanGrow || mPath == standardInput || ::stat(mPath.c_str(), &now) != 0 ||
        ::fstat(mDescriptor.number(), &opened) != 0)
    {
        return false;
    }
    bool const isOther = now.st_dev != opened.st_dev || now.st_ino != opened.st_ino;
    // A program that rotates logs creates the new file before the recorder leaves the old one.
    return (isOther && now.st_size != 0) || static_cast<std::uint64_t>(opened.st_size) < mCount;
}

std::size_t CaptureFile::readRaw(unsigned char* aBytes, std::size_t aSize)
{
    if (mHead.empty())
    {
        return readDescriptor(aBytes, aSize);
    }
    std::size_t const size = std::min(aSize, mHead.size());
    std::copy_n(mHead.begin(), size, aBytes);
    mHead.erase(0, size);
    return size;
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
    if (isAtEnd && mHasEnded)
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

std::size_t CaptureFile::readDescriptor(unsigned char* aBytes, std::size_t aSize)
{
    if (mHasEnded || !isReady())
    {
        return 0;
    }
    expectNoStop();
    ssize_t count = 0;
    do
    {
        count = ::read(mDescriptor.number(), aBytes, aSize);
    } while (count < 0 && errno == EINTR);
    if (count < 0)
    {
        refuse(mName);
    }
    mHasEnded = count == 0 && !(mCanGrow && mReading == Reading::following);
    mCount += static_cast<std::uint64_t>(count);
    return static_cast<std::size_t>(count);
}

/// @return the first bytes, without reading them; of a pipe, only those that were read
std::string CaptureFile::start() const
{
    if (!mCanGrow)
    {
        return mHead;
    }
    std::string start(searchedForBlocks, '\0');
    off_t const here = ::lseek(mDescriptor.number(), 0, SEEK_CUR);
    ssize_t const count =
        ::pread(mDescriptor.number(), start.data(), start.size(), here - static_cast<off_t>(mHead.size()));
    start.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return start;
}

bool CaptureFile::isReady() const
{
    pollfd descriptor{mDescriptor.number(), POLLIN, 0};
    return mReading == Reading::toTheEnd || ::poll(&descriptor, 1, 0) > 0;
}

/// Waits until the file can be read, or must not be read any more.
void CaptureFile::expectNoStop() const
{
    if (mStop >= 0)
    {
        std::array<pollfd, 2> descriptors{{{mStop, POLLIN, 0}, {mDescriptor.number(), POLLIN, 0}}};
        ::poll(descriptors.data(), descriptors.size(), -1);
        if (descriptors[0].revents != 0)
        {
            throw Interrupted();
        }
    }
}
}  // namespace qzagent
