#include "tools/qzagent/check/HostCheck.h"

#include <initializer_list>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/documents/DocumentFile.h"
#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
Needs::Needs(RuleSettings const& aRules)
    : mCounters(aRules[RuleId::linkFlapping].mIsEnabled || aRules[RuleId::errorsRising].mIsEnabled),
      mStates(aRules[RuleId::linkFlapping].mIsEnabled),
      mLatency(aRules[RuleId::slowTarget].mIsEnabled),
      mEvents(!aRules.mCategories.empty() &&
              (aRules[RuleId::events].mIsEnabled || aRules[RuleId::eventsDropped].mIsEnabled))
{
}

std::vector<char const*> Needs::names() const
{
    std::vector<char const*> names{inventoryName};
    auto const add = [&names](bool aIsNeeded, std::initializer_list<char const*> aNames)
    { names.insert(names.end(), aNames.begin(), aIsNeeded ? aNames.end() : aNames.begin()); };
    add(mCounters, {firstStatisticsName, secondStatisticsName});
    add(mStates, {portsName});
    add(mLatency, {latencyName});
    add(mEvents, {watchName});
    return names;
}

HostState stateIn(Documents const& aDocuments, std::string const& aSource, Gaps& aGaps)
{
    HostState state;
    auto const read = [&](char const* aName, auto aRead)
    {
        auto const found = aDocuments.find(aName);
        if (found != aDocuments.end())
        {
            aGaps.attempt(aName, aSource + ": ", [&] { aRead(found->second); });
        }
    };
    using Document = nlohmann::ordered_json;
    read(inventoryName,
         [&](Document const& aDocument) { state.mInventory = hostTreeOf(aDocument, inventoryName); });
    read(secondStatisticsName,
         [&](Document const& aDocument)
         {
             if (auto const first = aDocuments.find(firstStatisticsName); first != aDocuments.end())
             {
                 state.mCounters = countersBetween(first->second, aDocument);
             }
         });
    read(portsName, [&](Document const& aDocument) { state.mStates = statesIn(aDocument); });
    read(latencyName, [&](Document const& aDocument) { state.mLatencies = latenciesIn(aDocument); });
    read(watchName, [&](Document const& aDocument) { state.mEvents = eventsIn(aDocument); });
    return state;
}

void addIncomplete(Needs const& aNeeds, Documents const& aDocuments, Gaps& aGaps)
{
    for (char const* const name : aNeeds.names())
    {
        auto const found = aDocuments.find(name);
        if (found == aDocuments.end() || !found->second.is_object() ||
            found->second.value("exit_status", nlohmann::ordered_json()) != 0)
        {
            aGaps.mNames.insert(name);
        }
    }
}

nlohmann::ordered_json jsonOf(std::vector<Finding> const& aFindings, RuleSettings const& aRules)
{
    auto list = nlohmann::ordered_json::array();
    for (Finding const& finding : aFindings)
    {
        Rule const& rule = ruleOf(finding.mRule);
        list.push_back({{"rule", rule.mName},
                        {"severity", nameOf(aRules[finding.mRule].mSeverity)},
                        {"where", finding.mWhere},
                        {"what", finding.mWhat},
                        {"why", rule.mWhy},
                        {"next", rule.mNext}});
    }
    return list;
}
}  // namespace qzagent
