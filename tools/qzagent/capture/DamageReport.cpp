#include "tools/qzagent/capture/DamageReport.h"

#include <cstdint>
#include <string>

#include <fmt/format.h>

#include "tools/qzagent/cli/ExitCodes.h"

namespace qzagent
{
namespace
{
/// The report keeps its messages, so their number is limited.
constexpr std::uint64_t mostReported = 100;
}  // namespace

void DamageReport::add(std::string const& aText)
{
    if (mCount++ < mostReported)
    {
        mReport.addError(ExitCode::failed, aText);
    }
}

void DamageReport::finish()
{
    if (mCount > mostReported)
    {
        mReport.addError(ExitCode::failed,
                         fmt::format("{} more places of damage are not reported", mCount - mostReported));
    }
}
}  // namespace qzagent
