#include "tools/qzagent/capture/Damage.h"

#include <cstdint>
#include <string>

#include <fmt/format.h>

namespace qzagent
{
std::string damageText(std::uint64_t aStart, qz::ScopeDataError const& aError)
{
    // The error's own text begins with the position in the record.
    std::string const text = aError.what();
    return fmt::format("at byte {}{}", aStart + aError.position(), text.substr(text.find(':')));
}

std::string tooLargeText(std::uint64_t aStart, std::uint64_t aLargest)
{
    return fmt::format("at byte {}: a record is larger than {} bytes (--max-record)", aStart, aLargest);
}
}  // namespace qzagent
