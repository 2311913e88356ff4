/// @file
/// The class, the text and the code of an exception, and the call that caused it.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace qzagent
{
/// A number of a standard.
struct NamedNumber
{
    unsigned int mNumber;
    std::string mName;  ///< empty when the number has no known name
};

/// Why a target refused a SCSI command.
struct ScsiCause
{
    NamedNumber mStatus;
    std::optional<NamedNumber> mSenseKey;
    std::optional<NamedNumber> mAdditionalSense;  ///< the number is ASC * 256 + ASCQ
};

/// The call to which a failure is due.
struct Cause
{
    std::uint64_t mCall;  ///< number of the call, from 1
    std::string mFunction;
    std::optional<NamedNumber> mStatus;  ///< its answer; none when it is unknown
    std::optional<ScsiCause> mScsi;
    std::string mText;  ///< all of this for a person
};

struct Failure
{
    std::string mException;  ///< name of the exception's class
    std::string mText;
    unsigned int mCode;  ///< the exit code that it causes, for an exception without a code
    std::optional<Cause> mCause = {};
};

Failure failureOf(std::exception const& aException);

/// @return "CLASS: TEXT (code N)", without the cause
std::string textOf(Failure const& aFailure);

nlohmann::ordered_json jsonOf(Cause const& aCause);
nlohmann::ordered_json jsonOf(Failure const& aFailure);
}  // namespace qzagent
