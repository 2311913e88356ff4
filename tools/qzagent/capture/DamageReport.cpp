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
        report(aText);
    }
}

void DamageReport::finish()
{
    if (mCount > mostReported)
    {
        report(fmt::format("{} more places of damage are not reported", mCount - mostReported));
    }
}

void DamageReport::report(std::string const& aText)
{
    if (mSeverity == Severity::error)
    {
        mReport.addError(ExitCode::failed, aText);
    }
    else
    {
        mReport.addNote(aText);
    }
}
}  // namespace qzagent
