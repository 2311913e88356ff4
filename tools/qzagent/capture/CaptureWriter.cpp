#include "tools/qzagent/capture/CaptureWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/types.h>

#include "agentkit/include/ScopeDataView.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/Damage.h"

namespace qzagent
{
namespace
{
/// Size of the part of a file that is mapped at once, because a file can be larger than the address space. Larger than
/// any record that is recorded.
constexpr std::size_t windowSize = std::size_t{256} << 20U;
/// A multiple of the size of a page on every machine.
constexpr std::uint64_t windowAlignment = std::uint64_t{1} << 16U;

/// A part of a file, mapped into memory for reading.
class MappedWindow
{
public:
    /// @param aPosition of the first byte, a multiple of windowAlignment
    MappedWindow(int aDescriptor, std::uint64_t aPosition, std::size_t aSize)
        : mSize(aSize),
          mBytes(::mmap(nullptr, aSize, PROT_READ, MAP_PRIVATE, aDescriptor, static_cast<off_t>(aPosition)))
    {
    }
    ~MappedWindow()
    {
        if (isMapped())
        {
            ::munmap(mBytes, mSize);
        }
    }
    MappedWindow(MappedWindow const&) = delete;
    MappedWindow& operator=(MappedWindow const&) = delete;

    bool isMapped() const { return mBytes != MAP_FAILED; }
    unsigned char const* bytes() const { return static_cast<unsigned char const*>(mBytes); }

private:
    std::size_t const mSize;
    void* const mBytes;
};
}  // namespace

CaptureWriter::CaptureWriter(std::string const& aPath, std::function<bool()> const& aMustStop)
    : mFile(aPath, aPath)
{
    for (std::uint64_t position = 0; position < mFile.size();)
    {
        if (aMustStop())
        {
            throw Interrupted();
        }
        position = checkRecords(position);
    }
}

void CaptureWriter::append(qz::Bytes aRecord)
{
    std::uint64_t const end = mFile.size();
    AppendedFile::Outcome const outcome = mFile.append(aRecord);
    if (outcome.mError != 0)
    {
        mFile.refuse(fmt::format("{}; its {} records are safe{}", std::strerror(outcome.mError),
                                 mNumberOfRecords,
                                 mFile.shorten(end) ? "" : ", but a partial record follows them"));
    }
    ++mNumberOfRecords;
}

/// Checks some records.
/// @param aStart position of a record
/// @return the position after the last checked record
std::uint64_t CaptureWriter::checkRecords(std::uint64_t aStart)
{
    std::uint64_t const first = aStart / windowAlignment * windowAlignment;
    auto const size = static_cast<std::size_t>(std::min<std::uint64_t>(windowSize, mFile.size() - first));
    MappedWindow const window(mFile.descriptor()->number(), first, size);
    if (!window.isMapped())
    {
        mFile.refuse(std::strerror(errno));
    }
    auto position = static_cast<std::size_t>(aStart - first);
    for (; position < size; ++mNumberOfRecords)
    {
        try
        {
            position += qz::ScopeDataView(window.bytes() + position, size - position).size();
        }
        catch (qz::ScopeDataError const& error)
        {
            // The record may continue behind the window.
            bool const isLast = first + size == mFile.size();
            if (!isLast && error.mayBeShort() && first + position != aStart)
            {
                break;
            }
            mFile.refuse(fmt::format("it is not a complete capture: {}; its first {} records end at byte {}",
                                     damageText(first + position, error), mNumberOfRecords,
                                     first + position));
        }
    }
    return first + position;
}
}  // namespace qzagent
