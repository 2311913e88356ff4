/// @file
/// The two forms of captures.
#pragma once

#include <optional>
#include <string>

namespace qzagent
{
enum class CaptureForm
{
    pcapng,  ///< blocks of pcapng, with times and counts
    records  ///< encoded scope data, one record after another
};

/// @return the form that the first bytes of a file show; none for a file that is missing, empty or not a regular file,
///         which takes either form
std::optional<CaptureForm> formOfFile(std::string const& aPath);

/// @return the form with the name "pcapng" or "records"
std::optional<CaptureForm> formNamed(std::string const& aName);
}  // namespace qzagent
