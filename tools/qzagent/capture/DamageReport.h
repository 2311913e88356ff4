/// @file
/// Reports damage of captures.
#pragma once

#include <cstdint>
#include <string>

#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// Reports the first places of damage as errors, and counts the others.
class DamageReport
{
public:
    /// @param aReport must outlive this object
    explicit DamageReport(Report& aReport) : mReport(aReport) {}

    void add(std::string const& aText);

    bool isEmpty() const { return mCount == 0; }

    /// Reports how many places were not reported.
    void finish();

private:
    Report& mReport;
    std::uint64_t mCount = 0;
};
}  // namespace qzagent
