#include "tools/qzagent/cli/Suggestion.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string>
#include <vector>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
/// @return number of characters to insert, delete, replace or swap with their neighbours to turn one text into the other
std::size_t distanceBetween(std::string const& aFirst, std::string const& aSecond)
{
    std::size_t const width = aSecond.size() + 1;
    std::vector<std::size_t> beforeLast(width);
    std::vector<std::size_t> last(width);
    std::vector<std::size_t> current(width);
    std::iota(current.begin(), current.end(), std::size_t{0});
    for (std::size_t i = 1; i <= aFirst.size(); ++i)
    {
        beforeLast.swap(last);
        last.swap(current);
        current[0] = i;
        for (std::size_t j = 1; j < width; ++j)
        {
            std::size_t const replaced = last[j - 1] + (aFirst[i - 1] == aSecond[j - 1] ? 0 : 1);
            current[j] = std::min({replaced, last[j] + 1, current[j - 1] + 1});
            bool const isSwapped =
                i > 1 && j > 1 && aFirst[i - 1] == aSecond[j - 2] && aFirst[i - 2] == aSecond[j - 1];
            current[j] = isSwapped ? std::min(current[j], beforeLast[j - 2] + 1) : current[j];
        }
    }
    return current.back();
}
}  // namespace

std::string suggestionFor(std::string const& aWord, std::vector<std::string> const& aCandidates)
{
    std::string const* nearest = nullptr;
    std::size_t limit = std::max<std::size_t>(aWord.size() / 3, 1);
    for (std::string const& candidate : aCandidates)
    {
        std::size_t const distance = distanceBetween(aWord, candidate);
        if (distance < limit || (distance == limit && nearest == nullptr))
        {
            nearest = &candidate;
            limit = distance;
        }
    }
    return nearest == nullptr ? "" : fmt::format("; did you mean '{}'?", *nearest);
}
}  // namespace qzagent
