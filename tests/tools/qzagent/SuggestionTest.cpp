#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/qzagent/cli/Suggestion.h"

using qzagent::suggestionFor;

namespace
{
std::vector<std::string> const verbs{"adapters", "inventory", "show", "watch"};

TEST(QzagentSuggestion, CorrectsAMissingCharacter)
{
    EXPECT_EQ(suggestionFor("inventry", verbs), "; did you mean 'inventory'?");
}

TEST(QzagentSuggestion, CorrectsASurplusCharacter)
{
    EXPECT_EQ(suggestionFor("sshow", verbs), "; did you mean 'show'?");
}

TEST(QzagentSuggestion, CorrectsAWrongCharacter)
{
    EXPECT_EQ(suggestionFor("wotch", verbs), "; did you mean 'watch'?");
}

TEST(QzagentSuggestion, CountsSwappedCharactersAsOneMistake)
{
    EXPECT_EQ(suggestionFor("shwo", verbs), "; did you mean 'show'?");
}

TEST(QzagentSuggestion, AllowsOneMistakeInThreeCharacters)
{
    EXPECT_EQ(suggestionFor("xnventxry", verbs), "; did you mean 'inventory'?");
    EXPECT_EQ(suggestionFor("xnvextxry", verbs), "; did you mean 'inventory'?");
    EXPECT_EQ(suggestionFor("xxvextxry", verbs), "");
}

TEST(QzagentSuggestion, SuggestsTheMostSimilarCandidate)
{
    EXPECT_EQ(suggestionFor("host-12", {"host-34", "host-13", "host-15"}), "; did you mean 'host-13'?");
}

TEST(QzagentSuggestion, SuggestsNothingWithoutCandidates) { EXPECT_EQ(suggestionFor("show", {}), ""); }
}  // namespace
