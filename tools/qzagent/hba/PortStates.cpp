#include "tools/qzagent/hba/PortStates.h"

#include <algorithm>
#include <iterator>

#include "tools/qzagent/hba/HbaFields.h"

namespace qzagent
{
namespace
{
struct PortState
{
    char const* mName;
    char const* mColour;
};

constexpr PortState unknownState{"UNKNOWN", "yellow"};

constexpr PortState fromWorstToBest[] = {
    {"ERROR", "red"},       {"LINKDOWN", "red"},       {"OFFLINE", "red"},     unknownState,
    {"BYPASSED", "yellow"}, {"DIAGNOSTICS", "yellow"}, {"LOOPBACK", "yellow"}, {"ONLINE", "green"},
};

PortState const* findState(Fields const& aState)
{
    return std::find_if(std::begin(fromWorstToBest), std::end(fromWorstToBest),
                        [&](PortState const& aListed) { return aState == aListed.mName; });
}

PortState const* stateOf(Fields const& aState)
{
    PortState const* const found = findState(aState);
    return found == std::end(fromWorstToBest) ? findState(unknownState.mName) : found;
}
}  // namespace

char const* colourOfState(Fields const& aState) { return stateOf(aState)->mColour; }

bool isWorsePortState(Fields const& aState, Fields const& aOther)
{
    return stateOf(aState) < stateOf(aOther);
}
}  // namespace qzagent
