#include "simulator/recording/Ring.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include "simulator/control/Descriptor.h"

namespace qzsim
{
namespace
{
constexpr std::size_t roomOfRing = std::size_t{32} << 20U;

struct Head
{
    std::uint64_t mTime;
    std::uint32_t mLibrarySize;
    std::uint32_t mContentSize;
};

std::uint64_t nanosecondsOf(clockid_t aClock) noexcept
{
    timespec time{};
    ::clock_gettime(aClock, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(time.tv_nsec);
}
}  // namespace

/// The positions count bytes from the start of the recording, and never go back.
struct Ring::Shared
{
    pthread_mutex_t mMutex;
    std::uint64_t mWritten;
    std::uint64_t mRead;
    std::uint64_t mAnchor;  ///< the wall clock minus the monotonic clock, at the start
    std::atomic<std::uint32_t> mNumber;
    std::atomic<std::uint32_t> mIsClosed;
    pid_t mReader;
    unsigned char mBytes[roomOfRing];
};

/// The next owner of the lock of a killed process finds positions that are consistent: each changes with one store.
class Ring::Lock
{
public:
    explicit Lock(Shared& aShared) noexcept : mMutex(aShared.mMutex)
    {
        if (::pthread_mutex_lock(&mMutex) == EOWNERDEAD)
        {
            ::pthread_mutex_consistent(&mMutex);
        }
    }
    ~Lock() { ::pthread_mutex_unlock(&mMutex); }
    Lock(Lock const&) = delete;
    Lock& operator=(Lock const&) = delete;

private:
    pthread_mutex_t& mMutex;
};

Ring::Ring(std::string const& aPath)
{
    Descriptor const file(::open(aPath.c_str(), O_RDWR | O_CLOEXEC));
    void* const memory = file.number() < 0 ? MAP_FAILED
                                           : ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                                    MAP_SHARED, file.number(), 0);
    if (memory == MAP_FAILED)
    {
        throw std::system_error(errno, std::generic_category(), "cannot record");
    }
    mShared = {static_cast<Shared*>(memory), [](Shared* aShared) { ::munmap(aShared, sizeof(Shared)); }};
}

bool Ring::write(std::string_view aLibrary, qz::Bytes aContent) noexcept
{
    Head head{0, static_cast<std::uint32_t>(aLibrary.size()), static_cast<std::uint32_t>(aContent.mSize)};
    std::size_t const size = sizeof head + aLibrary.size() + aContent.mSize;
    if (size > roomOfRing)
    {
        return false;
    }
    while (mShared->mIsClosed == 0)
    {
        {
            Lock const lock(*mShared);
            std::uint64_t const position = mShared->mWritten;
            if (position - mShared->mRead + size <= roomOfRing)
            {
                head.mTime = mShared->mAnchor + nanosecondsOf(CLOCK_MONOTONIC);
                copyIn(position, &head, sizeof head);
                copyIn(position + sizeof head, aLibrary.data(), aLibrary.size());
                copyIn(position + sizeof head + aLibrary.size(), aContent.mData, aContent.mSize);
                mShared->mWritten = position + size;
                return true;
            }
        }
        if (!isReaderAlive())
        {
            close();
        }
        constexpr timespec pause{0, 1'000'000};
        ::nanosleep(&pause, nullptr);
    }
    return false;
}

std::uint32_t Ring::nextNumber() noexcept { return ++mShared->mNumber; }

void Ring::read(std::function<void(Record const&)> const& aTake)
{
    std::uint64_t written = 0;
    std::uint64_t position = 0;
    {
        Lock const lock(*mShared);
        written = mShared->mWritten;
        position = mShared->mRead;
    }
    std::vector<unsigned char> bytes;
    while (position != written)
    {
        Head head{};
        copyOut(position, &head, sizeof head);
        bytes.resize(std::size_t{head.mLibrarySize} + head.mContentSize);
        copyOut(position + sizeof head, bytes.data(), bytes.size());
        position += sizeof head + bytes.size();
        {
            Lock const lock(*mShared);
            mShared->mRead = position;
        }
        aTake({head.mTime,
               {reinterpret_cast<char const*>(bytes.data()), head.mLibrarySize},
               {bytes.data() + head.mLibrarySize, head.mContentSize}});
    }
}

void Ring::close() noexcept { mShared->mIsClosed = 1; }

void Ring::copyIn(std::uint64_t aPosition, void const* aBytes, std::size_t aSize) noexcept
{
    auto const start = static_cast<std::size_t>(aPosition % roomOfRing);
    std::size_t const first = std::min(aSize, roomOfRing - start);
    std::memcpy(mShared->mBytes + start, aBytes, first);
    std::memcpy(mShared->mBytes, static_cast<unsigned char const*>(aBytes) + first, aSize - first);
}

void Ring::copyOut(std::uint64_t aPosition, void* aBytes, std::size_t aSize) const
{
    auto const start = static_cast<std::size_t>(aPosition % roomOfRing);
    std::size_t const first = std::min(aSize, roomOfRing - start);
    std::memcpy(aBytes, mShared->mBytes + start, first);
    std::memcpy(static_cast<unsigned char*>(aBytes) + first, mShared->mBytes, aSize - first);
}

bool Ring::isReaderAlive() const noexcept { return ::kill(mShared->mReader, 0) == 0 || errno != ESRCH; }

RingFile::RingFile() : MemoryFile(sizeof(Ring::Shared))
{
    Ring const ring(path());
    Ring::Shared& shared = *ring.mShared;
    pthread_mutexattr_t attributes;
    ::pthread_mutexattr_init(&attributes);
    ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    ::pthread_mutex_init(&shared.mMutex, &attributes);
    ::pthread_mutexattr_destroy(&attributes);
    shared.mAnchor = nanosecondsOf(CLOCK_REALTIME) - nanosecondsOf(CLOCK_MONOTONIC);
    shared.mReader = ::getpid();
}
}  // namespace qzsim
