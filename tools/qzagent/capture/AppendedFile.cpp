#include "tools/qzagent/capture/AppendedFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace qzagent
{
static_assert(sizeof(off_t) == sizeof(std::uint64_t), "captures can be larger than 2 GiB");

namespace
{
constexpr mode_t onlyOwner = 0600;
constexpr std::string_view pcapngSuffix = ".pcapng";
/// Number of bytes that distinguish a capture from others: they include the UUID of its first section.
constexpr std::size_t startSize = 1024;
}  // namespace

AppendedFile::AppendedFile(std::string const& aPath, std::string const& aName)
    : mPath(aPath),
      mName(aName),
      // O_NONBLOCK keeps open() from waiting for the other end of a pipe.
      mDescriptor(std::make_shared<Descriptor const>(
          ::open(aPath.c_str(), O_RDWR | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, onlyOwner)))
{
    if (mDescriptor->number() < 0)
    {
        refuse(std::strerror(errno));
    }
    checkKind();
    if (!mIsDevice)
    {
        lock();
        mSize = realSize();
        mStart.reserve(startSize);  // append() allocates nothing that could fail after a write
        mStart.resize(static_cast<std::size_t>(std::min<std::uint64_t>(mSize, startSize)));
        mStart.resize(read(0, mStart.data(), mStart.size()));
    }
}

AppendedFile::~AppendedFile() { ::flock(mDescriptor->number(), LOCK_UN); }

void AppendedFile::checkKind()
{
    struct stat status = {};
    if (::fstat(mDescriptor->number(), &status) != 0)
    {
        refuse(std::strerror(errno));
    }
    mIsDevice = S_ISCHR(status.st_mode);
    if (!mIsDevice && !S_ISREG(status.st_mode))
    {
        refuse("it is neither a file nor a character device");
    }
}

void AppendedFile::lock() const
{
    // Other errors mean that the file system does not support locks.
    if (::flock(mDescriptor->number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    {
        refuse("another process is writing to it");
    }
}

std::uint64_t AppendedFile::realSize() const
{
    return static_cast<std::uint64_t>(::lseek(mDescriptor->number(), 0, SEEK_END));
}

std::size_t AppendedFile::read(std::uint64_t aPosition, unsigned char* aBytes, std::size_t aSize) const
{
    std::size_t done = 0;
    for (ssize_t count = 1; count != 0 && done < aSize;)
    {
        count =
            ::pread(mDescriptor->number(), aBytes + done, aSize - done, static_cast<off_t>(aPosition + done));
        if (count < 0 && errno != EINTR)
        {
            refuse(std::strerror(errno));
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return done;
}

bool AppendedFile::isOverwritten() const
{
    std::array<unsigned char, startSize> start;
    std::size_t const size = mIsDevice ? 0 : read(0, start.data(), mStart.size());
    return !std::equal(start.begin(), start.begin() + static_cast<std::ptrdiff_t>(size), mStart.begin());
}

AppendedFile::Outcome AppendedFile::append(qz::Bytes aBytes)
{
    std::size_t done = 0;
    while (done < aBytes.mSize)
    {
        ssize_t const count = ::write(mDescriptor->number(), aBytes.mData + done, aBytes.mSize - done);
        if (count < 0 && errno != EINTR)
        {
            return {done, errno};
        }
        std::size_t const written = count > 0 ? static_cast<std::size_t>(count) : 0;
        std::size_t const ofStart = mIsDevice ? 0 : std::min(written, startSize - mStart.size());
        mStart.insert(mStart.end(), aBytes.mData + done, aBytes.mData + done + ofStart);
        done += written;
        mSize += written;
    }
    return {done, 0};
}

bool AppendedFile::shorten(std::uint64_t aSize)
{
    if (aSize == mSize)
    {
        return true;
    }
    bool const isShort = !mIsDevice && realSize() == mSize &&
                         ::ftruncate(mDescriptor->number(), static_cast<off_t>(aSize)) == 0;
    if (isShort)
    {
        mSize = aSize;
        mStart.resize(static_cast<std::size_t>(std::min<std::uint64_t>(aSize, mStart.size())));
    }
    return isShort;
}

bool AppendedFile::isStillThere() const
{
    struct stat own = {};
    struct stat named = {};
    return mIsDevice || (::fstat(mDescriptor->number(), &own) == 0 && ::stat(mPath.c_str(), &named) == 0 &&
                         own.st_dev == named.st_dev && own.st_ino == named.st_ino);
}

void AppendedFile::sync() const
{
    if (!mIsDevice && ::fsync(mDescriptor->number()) != 0)
    {
        refuse(std::strerror(errno));
    }
}

bool isNamedPcapng(std::string_view aPath)
{
    return aPath.size() > pcapngSuffix.size() &&
           aPath.substr(aPath.size() - pcapngSuffix.size()) == pcapngSuffix;
}

bool createUnlessPresent(std::string const& aPath)
{
    Descriptor const file(::open(aPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, onlyOwner));
    return file.number() >= 0 || errno != EEXIST;
}

std::string createBeside(std::string const& aPath)
{
    bool const hasSuffix = isNamedPcapng(aPath);
    std::string const name = hasSuffix ? aPath.substr(0, aPath.size() - pcapngSuffix.size()) : aPath;
    std::string path = aPath;
    for (unsigned int number = 2; !createUnlessPresent(path); ++number)
    {
        path = fmt::format("{}-{}{}", name, number, hasSuffix ? pcapngSuffix : "");
    }
    return path;
}

void AppendedFile::refuse(std::string const& aReason) const
{
    throw CaptureWriteError(fmt::format("cannot write {}: {}", mName, aReason));
}
}  // namespace qzagent
