/// @file
/// Reports damage of captures.
#pragma once

#include <cstdint>
#include <string>

#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// Reports the first places of damage, and counts the others.
class DamageReport
{
public:
    enum class Severity
    {
        error,
        note
    };

    /// @param aReport must outlive this object
    DamageReport(Report& aReport, Severity aSeverity) : mReport(aReport), mSeverity(aSeverity) {}

    void add(std::string const& aText);

    std::uint64_t count() const { return mCount; }

    /// Reports how many places were not reported.
    void finish();

private:
    void report(std::string const& aText);

    Report& mReport;
    Severity const mSeverity;
    std::uint64_t mCount = 0;
};
}  // namespace qzagent
