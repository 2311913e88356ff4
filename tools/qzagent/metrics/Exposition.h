/// @file
/// The text forms of metrics.
#pragma once

#include <string>

namespace qzagent
{
/// A text form of metrics that Prometheus reads.
enum class Exposition
{
    text,        ///< the Prometheus text format, version 0.0.4
    openMetrics  ///< OpenMetrics, version 1.0.0
};

/// @return the media type of the form
char const* contentTypeOf(Exposition aExposition);

/// @return the line that ends the text; empty for none
char const* lastLineOf(Exposition aExposition);

/// @param aAccept what the header field Accept of a request says; may be any text
/// @return OpenMetrics if the field names it with at least the quality of the text format
Exposition expositionFor(std::string const& aAccept);
}  // namespace qzagent
