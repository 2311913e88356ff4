#include "simulator/hba/Answers.h"

namespace qzsim
{
namespace
{
template <std::size_t size>
void fillBehind(char (&aText)[size])
{
    std::size_t const used = ::strnlen(aText, size - 1) + 1;
    std::memset(aText + used, garbage, size - used);
}
}  // namespace

std::size_t writeBytes(CallerMemory const& aMemory, void const* aContent, std::size_t aSize,
                       AnswerShape const& aShape)
{
    std::size_t const written =
        std::min({aMemory.mSize, aSize, static_cast<std::size_t>(aShape.mLength.value_or(endless))});
    if (written != 0)
    {
        std::memcpy(aMemory.mStart, aContent, written);
    }
    if (aShape.mHasGarbage && written < aMemory.mSize)
    {
        std::memset(static_cast<unsigned char*>(aMemory.mStart) + written, garbage, aMemory.mSize - written);
    }
    return written;
}

void addGarbage(HBA_ADAPTERATTRIBUTES& aRecord)
{
    fillBehind(aRecord.Manufacturer);
    fillBehind(aRecord.SerialNumber);
    fillBehind(aRecord.Model);
    fillBehind(aRecord.ModelDescription);
    fillBehind(aRecord.NodeSymbolicName);
    fillBehind(aRecord.HardwareVersion);
    fillBehind(aRecord.DriverVersion);
    fillBehind(aRecord.OptionROMVersion);
    fillBehind(aRecord.FirmwareVersion);
    fillBehind(aRecord.DriverName);
}

void addGarbage(HBA_PORTATTRIBUTES& aRecord)
{
    fillBehind(aRecord.PortSymbolicName);
    fillBehind(aRecord.OSDeviceName);
}
}  // namespace qzsim
