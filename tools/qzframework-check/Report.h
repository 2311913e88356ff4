/// @file
/// What was found, as text or as a JSON document.
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

    bool isGood() const;

    /// A line for each requirement, and one that counts them.
    std::string text() const;

    std::string json() const;
};
}  // namespace frameworkcheck
