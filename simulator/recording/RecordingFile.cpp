#include "simulator/recording/RecordingFile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "simulator/library/Redirection.h"
#include "simulator/recording/PacketSize.h"
#include "toml/TomlValue.h"

namespace qzsim
{
namespace
{
constexpr mode_t onlyOwner = 0600;
constexpr std::size_t usualWrite = std::size_t{1} << 20U;

char const* descriptionOf(std::string_view aLibrary)
{
    return aLibrary == configurationPath   ? "common library"
           : aLibrary == vendorLibraryPath ? "diagnostic library"
                                           : "HBA library";
}
}  // namespace

pcapng::Section sectionOfHost()
{
    utsname host{};
    ::uname(&host);
    return {host.nodename, fmt::format("{} {} {} {}", host.sysname, host.release, host.version, host.machine),
            "qzsim " QZSIM_VERSION, fmt::format("recording=1 word_size={}", 8 * sizeof(void*))};
}

RecordingFile::RecordingFile(std::string const& aPath, pcapng::Section const& aHost)
    : mPath(aPath), mFile(::open(aPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, onlyOwner))
{
    if (mFile.number() < 0)
    {
        refuse(errno);
    }
    mBlocks.add(aHost);
    flush();
}

void RecordingFile::add(Ring::Record const& aRecord)
{
    std::uint32_t const number = interfaceOf(aRecord.mLibrary);
    std::size_t position = 0;
    std::size_t size = 0;
    do
    {
        size = std::min(aRecord.mContent.mSize - position, largestPacket);
        mBlocks.add({number, aRecord.mTime, {}, {}}, {{aRecord.mContent.mData + position, size}});
        position += size;
        flushIfLarge();
    } while (size == largestPacket);
    mHasPackets = true;
}

void RecordingFile::flushIfLarge()
{
    if (mBlocks.bytes().mSize >= usualWrite)
    {
        flush();
    }
}

void RecordingFile::flush()
{
    pcapng::Bytes const bytes = mBlocks.bytes();
    for (std::size_t done = 0; done < bytes.mSize;)
    {
        ssize_t const count = ::write(mFile.number(), bytes.mData + done, bytes.mSize - done);
        if (count < 0 && errno != EINTR)
        {
            int const error = errno;
            // A block that was cut would look like damage.
            static_cast<void>(::ftruncate(mFile.number(), static_cast<off_t>(mSize)) == 0);
            refuse(error);
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    mSize += bytes.mSize;
    mBlocks.clear();
}

std::uint32_t RecordingFile::interfaceOf(std::string_view aLibrary)
{
    auto const known = mInterfaces.find(aLibrary);
    if (known != mInterfaces.end())
    {
        return known->second;
    }
    auto const number = static_cast<std::uint32_t>(mInterfaces.size());
    mBlocks.add(pcapng::Interface{callLinkType, std::string(aLibrary), descriptionOf(aLibrary)});
    mInterfaces.emplace(aLibrary, number);
    return number;
}

void RecordingFile::refuse(int aError) const
{
    throw RecordingWriteError(fmt::format("cannot write {}: {}", tomlfile::inQuotes(mPath),
                                          std::generic_category().message(aError)));
}
}  // namespace qzsim
