#include "simulator/hba/Answers.h"

#include <cstddef>
#include <cstring>

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
