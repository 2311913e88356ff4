#include "tools/qzagent/hba/ScsiAnswer.h"

#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <fmt/format.h>

#include "backend/sensor/agentcommon/include/Exceptions.h"

namespace qzagent
{
namespace
{
/// No list of LUNs has the length of the first four bytes, and no LUN has these bytes. No block has the size of the last
/// four bytes, and the last byte is not ASCII.
constexpr std::array<unsigned char, 8> unwritten{0xf7, 0xdb, 0xe5, 0x9d, 0xb3, 0xcf, 0xad, 0xeb};

unsigned char unwrittenAt(std::size_t aOffset) { return unwritten[aOffset % unwritten.size()]; }
}  // namespace

void failCommand(std::string const& aText) { throw QZCHbaapiEx(aText.c_str(), 802); }

bool mayBeRepeated(HBA_STATUS aStatus)
{
    return aStatus == HBA_STATUS_SCSI_CHECK_CONDITION || aStatus == HBA_STATUS_ERROR_BUSY;
}

ScsiAnswer::ScsiAnswer(char const* aCommand, std::size_t aSize)
    : mCommand(aCommand), mBlock(std::malloc(aSize)), mSize(aSize)
{
    if (mBlock == nullptr)
    {
        throw QZCNoMemoryEx("Out of Memory", 2);
    }
    clear();
}

void ScsiAnswer::clear()
{
    for (std::size_t i = 0; i < mSize; ++i)
    {
        static_cast<unsigned char*>(mBlock.get())[i] = unwrittenAt(i);
    }
}

std::uint32_t ScsiAnswer::number(std::size_t aOffset) const
{
    std::uint32_t number = 0;
    for (std::size_t i = aOffset; i < aOffset + sizeof number; ++i)
    {
        number = number << CHAR_BIT | bytes()[i];
    }
    return number;
}

std::size_t ScsiAnswer::written(std::size_t aSize) const
{
    while (aSize > 0 && bytes()[aSize - 1] == unwrittenAt(aSize - 1))
    {
        --aSize;
    }
    return aSize;
}

void ScsiAnswer::expectWhole(std::size_t aFound, std::size_t aSize) const
{
    if (aFound == 0)
    {
        fail("no answer, the HBA library left the buffer unchanged");
    }
    if (aFound < aSize)
    {
        fail(fmt::format("short answer, {} of {} bytes", aFound, aSize));
    }
}

void ScsiAnswer::fail(std::string const& aText) const { failCommand(fmt::format("{}: {}", mCommand, aText)); }
}  // namespace qzagent
