/// @file
/// A block for target mappings.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <string>
#include <type_traits>
#include <vector>

#include <hbaapi.h>

#include "tests/simulator/HbaQueryFixture.h"

/// A caller's block with room for exactly this many entries.
template <typename Mapping>
class MappingBlock
{
public:
    using Entry = std::remove_reference_t<decltype(*Mapping::entry)>;

    explicit MappingBlock(HBA_UINT32 aRoom) : mBytes(offsetof(Mapping, entry) + aRoom * sizeof(Entry), fill)
    {
        setNumber(aRoom);
    }

    Mapping* get() { return reinterpret_cast<Mapping*>(mBytes.data()); }

    HBA_UINT32 number() const
    {
        HBA_UINT32 number;
        std::memcpy(&number, mBytes.data(), sizeof number);
        return number;
    }

    void setNumber(HBA_UINT32 aNumber) { std::memcpy(mBytes.data(), &aNumber, sizeof aNumber); }

    Entry entry(std::size_t aIndex) const
    {
        Entry entry;
        std::size_t const place = offsetof(Mapping, entry) + aIndex * sizeof entry;
        std::memcpy(&entry, mBytes.data() + place, sizeof entry);
        return entry;
    }

    /// @return whether the library has not written the entry
    bool isUntouched(std::size_t aIndex) const
    {
        Entry const read = entry(aIndex);
        auto const* const bytes = reinterpret_cast<unsigned char const*>(&read);
        return std::all_of(bytes, bytes + sizeof read, [](unsigned char aByte) { return aByte == fill; });
    }

private:
    std::vector<unsigned char> mBytes;
};

/// @return bus, target and LUN of an entry, to compare them at once
template <typename Entry>
std::string addressOf(Entry const& aEntry)
{
    HBA_SCSIID const& id = aEntry.ScsiId;
    return std::to_string(id.ScsiBusNumber) + ':' + std::to_string(id.ScsiTargetNumber) + ':' +
           std::to_string(id.ScsiOSLun);
}
