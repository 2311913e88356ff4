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

std::string gapText(pcapng::Gap const& aGap, std::uint64_t aLargest)
{
    std::string const place = fmt::format("at byte {}: ", aGap.mPosition);
    if (aGap.mTooLarge != 0)
    {
        return fmt::format("{}a block of {} bytes is larger than {} bytes (--max-record); skipped {} bytes",
                           place, aGap.mTooLarge, aLargest, aGap.mSize);
    }
    return fmt::format("{}{} {} bytes", place,
                       aGap.mIsAtEnd ? "the file ends inside a block; skipped" : "no whole block; skipped",
                       aGap.mSize);
}
}  // namespace qzagent
