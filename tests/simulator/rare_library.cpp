// An HBA library that answers rarely used calls: each byte of an answer differs from its neighbours, and buffers contain
// World Wide Names.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <string_view>
#include <type_traits>

#include "tests/simulator/RareEntries.h"

namespace
{
constexpr HBA_UINT32 usedBytes = 90;

/// A page with the name of a LUN, the name of a port, and a text.
constexpr unsigned char identification[] = {
    0x00, 0x83, 0x00, 0x34,                                                                      //
    0x01, 0x03, 0x00, 0x10, 0x60, 0x06, 0x01, 0x60, 0x11, 0x22, 0x33, 0x44,                      //
    0x55, 0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb, 0xcc,                                              //
    0x01, 0x13, 0x00, 0x08, 0x50, 0x06, 0x01, 0x61, 0xc1, 0x23, 0x45, 0x68,                      //
    0x02, 0x01, 0x00, 0x10, 'E',  'X',  'A',  'M',  'P',  'L',  'E',  ' ',  'S', 'E', 'R', '4',  //
    '7',  '1',  '1',  'Y'};

void fill(unsigned char* aBytes, std::size_t aSize)
{
    for (std::size_t i = 0; i < aSize; ++i)
    {
        aBytes[i] = static_cast<unsigned char>(i * 7 % 251 + 1);
    }
}

void answer(void* aBuffer)
{
    constexpr unsigned char names[] = {0x50, 0x06, 0x01, 0x60, 0xc1, 0x23, 0x45, 0x67,
                                       0x10, 0x00, 0x00, 0x00, 0xc9, 0x2a, 0x3b, 0x4c};
    auto* const bytes = static_cast<unsigned char*>(aBuffer);
    fill(bytes, sizeOfBuffers);
    std::memcpy(bytes + 8, names, sizeof names);
    std::string_view const digits = "10000000C92A3B4C";
    std::copy(digits.begin(), digits.end(), bytes + 40);
}

void answer(HBA_UINT32* aSize) { *aSize = usedBytes; }

template <typename Structure>
void answer(Structure* aStructure)
{
    fill(reinterpret_cast<unsigned char*>(aStructure), sizeof *aStructure);
}

void answer(HBA_EVENTINFO* aEvents)
{
    fill(reinterpret_cast<unsigned char*>(aEvents), usedBytes * sizeof *aEvents);
}

void answer(HBA_FCPBINDING* aBinding)
{
    fill(reinterpret_cast<unsigned char*>(aBinding), sizeof *aBinding);
    aBinding->NumberOfEntries = 1;
    aBinding->entry[0].type = TO_WWN;
}

void answer(HBA_FCPBINDING2* aBinding)
{
    fill(reinterpret_cast<unsigned char*>(aBinding), sizeof *aBinding);
    aBinding->NumberOfEntries = 1;
}

void answer(HBA_SCSIID const*) {}
void answer(HBA_FCPBINDING2 const*) {}

/// Writes where the program passes a pointer.
template <typename Argument>
void take(Argument aArgument)
{
    if constexpr (std::is_pointer_v<Argument>)
    {
        answer(aArgument);
    }
}

/// Sets an entry.
template <typename Result, typename... Arguments>
void set(Result (*&aEntry)(Arguments...))
{
    aEntry = [](Arguments... aArguments) -> Result
    {
        (take(aArguments), ...);
        return Result();
    };
}
}  // namespace

extern "C" HBA_STATUS HBA_RegisterLibraryV2(HBA_ENTRYPOINTSV2* aTable)
{
    *aTable = {};
    visitRareEntries(*aTable, [](char const*, auto& aEntry) { set(aEntry); });
    // What the program passes is not an answer.
    aTable->SetRNIDMgmtInfoHandler = [](HBA_HANDLE, HBA_MGMTINFO*) { return HBA_STATUS{HBA_STATUS_OK}; };
    aTable->SendCTPassThruHandler = [](HBA_HANDLE, void*, HBA_UINT32, void* aResponse, HBA_UINT32)
    {
        answer(aResponse);
        return HBA_STATUS{HBA_STATUS_OK};
    };
    aTable->SendCTPassThruV2Handler =
        [](HBA_HANDLE, HBA_WWN, void*, HBA_UINT32, void* aResponse, HBA_UINT32* aSize)
    {
        answer(aResponse);
        answer(aSize);
        return HBA_STATUS{HBA_STATUS_OK};
    };
    aTable->ScsiInquiryV2Handler = [](HBA_HANDLE, HBA_WWN, HBA_WWN, HBA_UINT64, HBA_UINT8, HBA_UINT8,
                                      void* aResponse, HBA_UINT32*, HBA_UINT8*, void*, HBA_UINT32*)
    {
        std::memcpy(aResponse, identification, sizeof identification);
        return HBA_STATUS{HBA_STATUS_OK};
    };
    return HBA_STATUS_OK;
}

extern "C" HBA_STATUS HBA_RegisterLibrary(HBA_ENTRYPOINTS*) { return HBA_STATUS_ERROR; }
