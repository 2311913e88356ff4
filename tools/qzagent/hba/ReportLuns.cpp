#include "tools/qzagent/hba/ReportLuns.h"

#include <cstddef>

#include <fmt/format.h>

#include "tools/qzagent/hba/HbaLimits.h"
#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/hba/ScsiAnswer.h"

namespace qzagent
{
namespace
{
constexpr std::size_t reportHeaderSize = 8;
constexpr std::size_t lengthSize = 4;  // the header begins with the length of the list
constexpr unsigned int mostAttempts = 5;

HBA_STATUS request(HBA_HANDLE aHandle, qz::Wwn const& aPort, ScsiAnswer& aAnswer)
{
    SenseBuffer sense{};
    return HBA_SendReportLUNs(aHandle, aPort.hbaWwn(), aAnswer.buffer(),
                              static_cast<HBA_UINT32>(aAnswer.size()), sense.data(), sense.size());
}

/// @return size that the whole answer has according to its header
/// @throws QZCHbaapiEx when there is no header, or the size is implausible
std::size_t wholeSizeOf(ScsiAnswer const& aAnswer)
{
    aAnswer.expectWhole(aAnswer.written(lengthSize), lengthSize);
    std::size_t const length = aAnswer.number(0);
    if (length > largestLunList)
    {
        aAnswer.fail(fmt::format("implausible list of {} bytes (at most {})", length, largestLunList));
    }
    return reportHeaderSize + length;
}

/// @throws QZCHbaapiEx when the library did not write the whole answer
void expectWhole(ScsiAnswer const& aAnswer, std::size_t aSize)
{
    std::size_t const found = aAnswer.written(aSize);
    // FC transfers words of 4 bytes. The last bytes of a LUN may equal the pattern by chance, a word does not.
    if (aSize > reportHeaderSize && aSize - found >= lengthSize)
    {
        aAnswer.expectWhole(found, aSize);
    }
}

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
        ScsiAnswer answer("REPORT LUNS", size);
        HBA_STATUS const status = request(aHandle, aPort, answer);
        if (status == HBA_STATUS_OK || status == HBA_STATUS_ERROR_MORE_DATA)
        {
            size = wholeSizeOf(answer);
            if (status == HBA_STATUS_OK && size <= answer.size())
            {
                expectWhole(answer, size);
                return {answer.take(), answer.size()};
            }
        }
        else if (!mayBeRepeated(status))
        {
            break;
        }
    }
    failCommand("HBA_SendReportLUNs method failed");
}
}  // namespace qzagent
