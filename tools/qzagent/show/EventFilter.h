/// @file
/// Selects events.
#pragma once

#include <cstdint>
#include <optional>

#include "agentkit/include/Wwn.h"
#include "pcapng/Blocks.h"
#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
/// Conditions that are all met by the selected events. An event without the value that a condition concerns does not
/// meet it.
struct EventFilter
{
    std::optional<pcapng::Time> mSince;
    std::optional<pcapng::Time> mUntil;
    std::optional<unsigned int> mCategory;
    std::optional<unsigned int> mSubcategory;
    std::optional<unsigned int> mBoard;
    std::optional<qz::Wwn> mName;  ///< one of the two names

    /// Whether events of this time and board are selected.
    bool selectsOrigin(EventOrigin const& aOrigin) const;

    /// Whether the record is selected, if its origin is.
    bool selectsRecord(qz::ScopeDataView const& aRecord) const;
};
}  // namespace qzagent
