/// @file
/// Which documents the rules need, and what the rules find in them.
#pragma once

#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/check/Findings.h"
#include "tools/qzagent/check/HostState.h"
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/documents/DocumentFile.h"
#include "tools/qzagent/documents/DocumentValue.h"

namespace qzagent
{
/// Names of the documents, which are those in a bundle.
/// @{
constexpr char const* inventoryName = "inventory";
constexpr char const* firstStatisticsName = "statistics-start";
constexpr char const* secondStatisticsName = "statistics-end";
constexpr char const* portsName = "ports";
constexpr char const* latencyName = "latency";
constexpr char const* watchName = "watch";
/// @}

/// The documents that the enabled rules need.
struct Needs
{
    explicit Needs(RuleSettings const& aRules);

    std::vector<char const*> names() const;

    bool mCounters;
    bool mStates;
    bool mLatency;
    bool mEvents;
};

/// What could not be read.
struct Gaps
{
    /// Runs an action and keeps its error.
    /// @param aName  what cannot be read completely if the action fails
    /// @param aPlace in front of the text of the error
    /// @return whether the action succeeded
    template <typename Action>
    bool attempt(char const* aName, std::string const& aPlace, Action aAction)
    {
        try
        {
            aAction();
            return true;
        }
        catch (DocumentError const& error)
        {
            mErrors.push_back(aPlace + error.what());
            mNames.insert(aName);
            return false;
        }
    }

    std::vector<std::string> mErrors;
    std::set<std::string> mNames;  ///< of the documents
};

/// @param aSource where the documents come from, for messages
HostState stateIn(Documents const& aDocuments, std::string const& aSource, Gaps& aGaps);

/// Adds the documents that are missing, and those of verbs that failed.
void addIncomplete(Needs const& aNeeds, Documents const& aDocuments, Gaps& aGaps);

/// @return the value of the key `findings`, as check.schema.json describes it
nlohmann::ordered_json jsonOf(std::vector<Finding> const& aFindings, RuleSettings const& aRules);
}  // namespace qzagent
