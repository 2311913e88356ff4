/// @file
/// Suggestions for mistyped words.
#pragma once

#include <string>
#include <vector>

namespace qzagent
{
/// @return "; did you mean 'CANDIDATE'?" with the candidate that is most similar to the word; empty when none is similar
std::string suggestionFor(std::string const& aWord, std::vector<std::string> const& aCandidates);
}  // namespace qzagent
