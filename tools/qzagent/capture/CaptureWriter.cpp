#include "tools/qzagent/capture/CaptureWriter.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include <fmt/format.h>
#include <sys/mman.h>

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

CaptureWriter::CaptureWriter(std::string const& aPath) : mFile(aPath)
{
    if (mFile.size() != 0)
    {
        checkRecords();
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

void CaptureWriter::checkRecords()
{
    auto const size = static_cast<std::size_t>(mFile.size());
    MappedFile const file(mFile.descriptor()->number(), size);
    if (!file.isMapped())
    {
        mFile.refuse(std::strerror(errno));
    }
    for (std::size_t position = 0; position < size; ++mNumberOfRecords)
    {
        position += sizeOfRecord({file.bytes() + position, size - position}, position);
    }
}

std::size_t CaptureWriter::sizeOfRecord(qz::Bytes aBytes, std::uint64_t aPosition) const
{
    try
    {
        return qz::ScopeDataView(aBytes.mData, aBytes.mSize).size();
    }
    catch (qz::ScopeDataError const& error)
    {
        mFile.refuse(fmt::format("it is not a complete capture: {}; its first {} records end at byte {}",
                                 damageText(aPosition, error), mNumberOfRecords, aPosition));
    }
}
}  // namespace qzagent
