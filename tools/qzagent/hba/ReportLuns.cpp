#include "tools/qzagent/hba/ReportLuns.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/hba/HbaLimits.h"
#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
namespace
{
using Block = std::unique_ptr<void, qz::BlockRelease>;

constexpr std::size_t reportHeaderSize = 8;
constexpr std::size_t lengthSize = 4;  // the header begins with the length of the list
constexpr unsigned int mostAttempts = 5;
constexpr unsigned int hbaapiCode = 802;

/// No list has this length, and no LUN has these bytes.
constexpr std::array<unsigned char, lunSize> unwritten{0xf7, 0xdb, 0xe5, 0x9d, 0xb3, 0xcf, 0xad, 0xeb};

std::size_t lengthOf(unsigned char const* aHeader)
{
    std::size_t length = 0;
    for (unsigned char const* byte = aHeader; byte != aHeader + lengthSize; ++byte)
    {
        length = length << 8U | *byte;
    }
    return length;
}

/// A buffer for an answer.
class LunAnswer
{
public:
    explicit LunAnswer(std::size_t aSize) : mBlock(std::malloc(aSize)), mSize(aSize)
    {
        if (mBlock == nullptr)
        {
            throw QZCNoMemoryEx("Out of Memory", 2);
        }
        for (std::size_t i = 0; i < mSize; ++i)
        {
            bytes()[i] = unwritten[i % unwritten.size()];
        }
    }

    HBA_STATUS request(HBA_HANDLE aHandle, qz::Wwn const& aPort)
    {
        std::array<unsigned char, 252> sense{};
        return HBA_SendReportLUNs(aHandle, aPort.hbaWwn(), bytes(), static_cast<HBA_UINT32>(mSize),
                                  sense.data(), sense.size());
    }

    /// Size that the whole answer has according to its header.
    /// @throws QZCHbaapiEx when there is no header, or the size is implausible
    std::size_t wholeSize() const
    {
        if (written(lengthSize) < lengthSize)
        {
            throw QZCHbaapiEx("REPORT LUNS: no answer, the HBA library left the buffer unchanged",
                              hbaapiCode);
        }
        std::size_t const length = lengthOf(bytes());
        if (length > largestLunList)
        {
            throw QZCHbaapiEx(
                fmt::format("REPORT LUNS: implausible list of {} bytes (at most {})", length, largestLunList)
                    .c_str(),
                hbaapiCode);
        }
        return reportHeaderSize + length;
    }

    /// @throws QZCHbaapiEx when the library did not write the whole answer
    void expectWhole() const
    {
        std::size_t const size = wholeSize();
        std::size_t const found = written(size);
        // FC transfers words of 4 bytes. The last bytes of a LUN may equal the pattern by chance, a word does not.
        if (size > reportHeaderSize && size - found >= lengthSize)
        {
            throw QZCHbaapiEx(fmt::format("REPORT LUNS: short answer, {} of {} bytes", found, size).c_str(),
                              hbaapiCode);
        }
    }

    bool hasRoomFor(std::size_t aSize) const { return aSize <= mSize; }

    qz::LunReport take() { return {std::move(mBlock), mSize}; }

private:
    unsigned char* bytes() const { return static_cast<unsigned char*>(mBlock.get()); }

    /// @return how many of the first bytes the library has written
    std::size_t written(std::size_t aSize) const
    {
        while (aSize > 0 && bytes()[aSize - 1] == unwritten[(aSize - 1) % unwritten.size()])
        {
            --aSize;
        }
        return aSize;
    }

    Block mBlock;
    std::size_t mSize;
};

bool mayBeRepeated(HBA_STATUS aStatus)
{
    return aStatus == HBA_STATUS_SCSI_CHECK_CONDITION || aStatus == HBA_STATUS_ERROR_BUSY;
}
}  // namespace

qz::LunReport reportLuns(HBA_HANDLE aHandle, qz::Wwn const& aPort)
{
    std::size_t size = reportHeaderSize + mostLunsOfLayer * lunSize;
    for (unsigned int attempt = 0; attempt < mostAttempts; ++attempt)
    {
        LunAnswer answer(size);
        HBA_STATUS const status = answer.request(aHandle, aPort);
        if (status == HBA_STATUS_OK || status == HBA_STATUS_ERROR_MORE_DATA)
        {
            size = answer.wholeSize();
            if (status == HBA_STATUS_OK && answer.hasRoomFor(size))
            {
                answer.expectWhole();
                return answer.take();
            }
        }
        else if (!mayBeRepeated(status))
        {
            break;
        }
    }
    throw QZCHbaapiEx("HBA_SendReportLUNs method failed", hbaapiCode);
}
}  // namespace qzagent
