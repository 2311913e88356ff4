/// @file
/// Common code of the entry points of the library that records and replays.
#pragma once

#include <cstdint>

#include "simulator/library/EntryPoint.h"
#include "simulator/library/Lifetime.h"
#include "simulator/library/Redirection.h"
#include "simulator/recording/PacketSize.h"
#include "simulator/recording/Parts.h"
#include "simulator/recording/Session.h"

namespace qzsim
{
inline Session& session() { return simulation<Session>(); }

inline bool isAlwaysGood(std::uint32_t) { return true; }

/// A result of the diagnostic library, and of the registration of an HBA library.
inline bool isZero(std::uint32_t aResult) { return aResult == 0; }

/// The statuses with which an HBA library fills the memory of the program.
inline bool hasHbaResults(std::uint32_t aStatus)
{
    return aStatus == HBA_STATUS_OK || aStatus == HBA_STATUS_ERROR_MORE_DATA ||
           aStatus == HBA_STATUS_SCSI_CHECK_CONDITION;
}

/// Numbers a registration. In a replay, the number is that of the recording.
struct OutRegistration
{
    std::uint32_t mNumber;

    void question(CborWriter&) {}
    void answer(CborWriter& aWriter, bool aIsGood)
    {
        if (aIsGood)
        {
            aWriter.text("registration");
            aWriter.number(std::uint64_t{mNumber});
        }
    }
    void fill(Json const&) {}
};

/// Starts the events of a registration that a replay has answered.
inline void startEvents(RecordedCall const& aAnswer, std::string const& aKey,
                        std::function<void(Json const&)> const& aDeliver)
{
    auto const number = aAnswer.mResults.find("registration");
    if (number != aAnswer.mResults.end() && number->is_number_unsigned())
    {
        session().events().start({aAnswer.mLibrary, aKey, number->get<std::uint32_t>(), aDeliver},
                                 aAnswer.mStart, session().player().speed());
    }
}
}  // namespace qzsim
