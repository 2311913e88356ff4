/// @file
/// The results of the checks, as text and as a JSON document.
#pragma once

#include <string>
#include <vector>

#include "tools/qzframework-check/Child.h"
#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
struct Checked
{
    Requirement mRequirement;
    Finding mFinding;
};

struct Report
{
    std::string mFramework;  ///< path of the library that was checked
    std::vector<Checked> mChecked;

    /// @return whether no requirement failed
    bool isGood() const;

    /// @return a line for each requirement, and a line with the counts
    std::string text() const;

    /// @return the JSON document with its line end
    std::string json() const;
};
}  // namespace frameworkcheck
