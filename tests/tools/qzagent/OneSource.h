/// @file
/// A scenario with one board and one event source.
#pragma once

#include <string>

/// @param aRate events per second of category 3
inline std::string oneSource(unsigned int aSubcategory, unsigned int aSize, unsigned int aRate,
                             unsigned int aCount)
{
    return R"([diagnostics]
    [[diagnostics.board]]
    first_wwn = "20:00:00:00:c9:00:00:00"
    second_wwn = "10:00:00:00:c9:00:00:01"

    [[diagnostics.event]]
    board = 0
    category = 3
    subcategory = )" +
           std::to_string(aSubcategory) + "\n    size = " + std::to_string(aSize) +
           "\n    rate = " + std::to_string(aRate) + "\n    count = " + std::to_string(aCount) + "\n";
}
