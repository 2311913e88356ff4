#include "tools/qzagent/capture/CaptureWriter.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include "agentkit/include/ScopeDataView.h"
#include "tools/qzagent/capture/Damage.h"

namespace qzagent
{
namespace
{
/// A file mapped into memory for reading.
class MappedFile
{
public:
    MappedFile(int aDescriptor, std::size_t aSize)
        : mSize(aSize), mBytes(::mmap(nullptr, aSize, PROT_READ, MAP_PRIVATE, aDescriptor, 0))
    {
    }
    ~MappedFile()
    {
        if (isMapped())
        {
            ::munmap(mBytes, mSize);
        }
    }
    MappedFile(MappedFile const&) = delete;
    MappedFile& operator=(MappedFile const&) = delete;

    bool isMapped() const { return mBytes != MAP_FAILED; }
    unsigned char const* bytes() const { return static_cast<unsigned char const*>(mBytes); }

private:
    std::size_t const mSize;
    void* const mBytes;
};
}  // namespace

CaptureWriter::CaptureWriter(std::string const& aPath)
    : mPath(aPath),
      // O_NONBLOCK keeps open() from waiting for the other end of a pipe.
      mDescriptor(::open(aPath.c_str(), O_RDWR | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666))
{
    // Exceeding the file size limit must be a write error, not a signal.
    std::signal(SIGXFSZ, SIG_IGN);
    if (mDescriptor.number() < 0)
    {
        refuse(std::strerror(errno));
    }
    checkKind();
    if (mIsFile)
    {
        lock();
        checkRecords();
    }
}

void CaptureWriter::append(unsigned char const* aRecord, std::size_t aLength)
{
    std::size_t written = 0;
    while (written < aLength)
    {
        ssize_t const count = ::write(mDescriptor.number(), aRecord + written, aLength - written);
        if (count < 0 && errno != EINTR)
        {
            std::string const reason = std::strerror(errno);
            refuse(fmt::format("{}; its {} records are safe{}", reason, mNumberOfRecords,
                               removePartialRecord(written) ? "" : ", but a partial record follows them"));
        }
        written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    mSize += aLength;
    ++mNumberOfRecords;
}

void CaptureWriter::sync()
{
    if (mIsFile && ::fsync(mDescriptor.number()) != 0)
    {
        refuse(std::strerror(errno));
    }
}

void CaptureWriter::checkKind()
{
    struct stat status = {};
    if (::fstat(mDescriptor.number(), &status) != 0)
    {
        refuse(std::strerror(errno));
    }
    mIsFile = S_ISREG(status.st_mode);
    if (!mIsFile && !S_ISCHR(status.st_mode))
    {
        refuse("it is neither a file nor a character device");
    }
}

void CaptureWriter::lock()
{
    // Other errors mean that the file system does not support locks.
    if (::flock(mDescriptor.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    {
        refuse("another process is writing to it");
    }
}

void CaptureWriter::checkRecords()
{
    auto const size = static_cast<std::size_t>(::lseek(mDescriptor.number(), 0, SEEK_END));
    if (size == 0)
    {
        return;
    }
    MappedFile const file(mDescriptor.number(), size);
    if (!file.isMapped())
    {
        refuse(std::strerror(errno));
    }
    while (mSize < size)
    {
        mSize += sizeOfRecord(file.bytes() + mSize, size - mSize);
        ++mNumberOfRecords;
    }
}

std::size_t CaptureWriter::sizeOfRecord(unsigned char const* aBytes, std::size_t aSize) const
{
    try
    {
        return qz::ScopeDataView(aBytes, aSize).size();
    }
    catch (qz::ScopeDataError const& error)
    {
        refuse(fmt::format("it is not a complete capture: {}; its first {} records end at byte {}",
                           damageText(mSize, error), mNumberOfRecords, mSize));
    }
}

/// @param aLength number of bytes of the partial record
/// @return whether the file ends with its last complete record
bool CaptureWriter::removePartialRecord(std::size_t aLength)
{
    if (aLength == 0 || !mIsFile)
    {
        return aLength == 0;
    }
    // A process that ignores the lock may have written as well.
    auto const size = static_cast<std::size_t>(::lseek(mDescriptor.number(), 0, SEEK_END));
    return size == mSize + aLength && ::ftruncate(mDescriptor.number(), static_cast<off_t>(mSize)) == 0;
}

void CaptureWriter::refuse(std::string const& aReason) const
{
    throw CaptureWriteError(fmt::format("cannot write {}: {}", mPath, aReason));
}
}  // namespace qzagent
