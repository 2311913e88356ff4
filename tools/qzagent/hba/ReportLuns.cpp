#include "tools/qzagent/hba/ReportLuns.h"

#include <chrono>
#include <cstddef>

#include <fmt/format.h>

#include "tools/qzagent/hba/HbaLimits.h"
#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/hba/ScsiAnswer.h"

namespace qzagent
{
namespace
{
constexpr char const* command = "REPORT LUNS";
constexpr std::size_t reportHeaderSize = 8;
constexpr std::size_t lengthSize = 4;  // the header begins with the length of the list
constexpr unsigned int mostAttempts = 5;

/// @return size that the whole answer has according to its header
/// @throws QZCHbaapiEx when there is no header, or no list of LUNs has the size
std::size_t wholeSizeOf(ScsiAnswer const& aAnswer)
{
    aAnswer.expectWhole(aAnswer.written(lengthSize), lengthSize);
    std::size_t const length = aAnswer.number(0);
    if (length > largestLunList)
    {
        aAnswer.fail(fmt::format("implausible list of {} bytes (at most {})", length, largestLunList));
    }
    if (length % lunSize != 0)
    {
        aAnswer.fail(fmt::format("malformed list of {} bytes (a LUN has {})", length, lunSize));
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
}  // namespace

LunQuery::LunQuery() : mAnswer(command, reportHeaderSize + mostLunsOfLayer * lunSize) {}

void LunQuery::send(HBA_HANDLE aHandle, qz::Wwn const& aPort)
{
    for (unsigned int attempt = 0; attempt < mostAttempts; ++attempt)
    {
        HBA_STATUS const status = request(aHandle, aPort);
        if (status == HBA_STATUS_OK || status == HBA_STATUS_ERROR_MORE_DATA)
        {
            mAnswerSize = wholeSizeOf(mAnswer);
            if (mAnswerSize > mAnswer.size())
            {
                mAnswer = ScsiAnswer(command, mAnswerSize);
            }
            else if (status == HBA_STATUS_OK)
            {
                expectWhole(mAnswer, mAnswerSize);
                return;
            }
        }
        else if (!mayBeRepeated(status))
        {
            break;
        }
    }
    failCommand("HBA_SendReportLUNs method failed");
}

qz::LunReport LunQuery::take()
{
    std::size_t const size = mAnswer.size();
    return {mAnswer.take(), size};
}

HBA_STATUS LunQuery::request(HBA_HANDLE aHandle, qz::Wwn const& aPort)
{
    SenseBuffer sense{};
    mAnswer.clear();
    auto const start = std::chrono::steady_clock::now();
    HBA_STATUS const status =
        HBA_SendReportLUNs(aHandle, aPort.hbaWwn(), mAnswer.buffer(), static_cast<HBA_UINT32>(mAnswer.size()),
                           sense.data(), sense.size());
    mLatency = std::chrono::steady_clock::now() - start;
    return status;
}

qz::LunReport reportLuns(HBA_HANDLE aHandle, qz::Wwn const& aPort)
{
    LunQuery query;
    query.send(aHandle, aPort);
    return query.take();
}
}  // namespace qzagent
