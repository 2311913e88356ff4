/// @file
/// Writes records of the HBA API into the memory of a caller, in the shape that a fault gives them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>

#include <hbaapi.h>

#include "simulator/control/CallerMemory.h"
#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Fills what is behind the texts of a record, within their fields.
/// @{
void addGarbage(HBA_ADAPTERATTRIBUTES& aRecord);
void addGarbage(HBA_PORTATTRIBUTES& aRecord);
/// @}

/// Replaces the count in a record.
/// @{
inline void setCount(HBA_ADAPTERATTRIBUTES& aRecord, HBA_UINT32 aCount) { aRecord.NumberOfPorts = aCount; }
inline void setCount(HBA_PORTATTRIBUTES& aRecord, HBA_UINT32 aCount)
{
    aRecord.NumberofDiscoveredPorts = aCount;
}
/// @}

/// Writes a record with texts.
template <typename Record>
void writeRecord(Record aRecord, Record& aPlace, AnswerShape const& aShape)
{
    if (aShape.mCount)
    {
        setCount(aRecord, *aShape.mCount);
    }
    if (aShape.mHasGarbage)
    {
        addGarbage(aRecord);
    }
    std::memcpy(&aPlace, &aRecord,
                std::min<std::size_t>(sizeof aRecord, aShape.mLength.value_or(sizeof aRecord)));
}

/// Writes a record of counters.
template <typename Record>
void writeCounters(Record const& aRecord, Record& aPlace, AnswerShape const& aShape)
{
    writeBytes({&aPlace, sizeof aPlace}, &aRecord, sizeof aRecord, aShape);
}
}  // namespace qzsim
