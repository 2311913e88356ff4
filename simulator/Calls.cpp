#include "simulator/Calls.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include <fmt/format.h>

namespace qzsim
{
namespace
{
struct CallEntry
{
    std::string_view mName;
    Call mCall;
    bool mConcernsAdapter;
};

constexpr CallEntry calls[] = {
    {"HBA_LoadLibrary", Call::loadLibrary, false},
    {"HBA_FreeLibrary", Call::freeLibrary, false},
    {"HBA_GetAdapterName", Call::getAdapterName, true},
    {"HBA_OpenAdapter", Call::openAdapter, true},
};

/// Every call has its entry.
CallEntry const& entryOf(Call aCall)
{
    return *std::find_if(std::begin(calls), std::end(calls),
                         [aCall](CallEntry const& aEntry) { return aEntry.mCall == aCall; });
}
}  // namespace

std::optional<Call> callNamed(std::string_view aName)
{
    auto const found = std::find_if(std::begin(calls), std::end(calls),
                                    [aName](CallEntry const& aEntry) { return aEntry.mName == aName; });
    return found == std::end(calls) ? std::nullopt : std::optional(found->mCall);
}

std::string nameOf(Call aCall) { return std::string(entryOf(aCall).mName); }

std::string namesOfCalls()
{
    std::vector<std::string_view> names;
    std::transform(std::begin(calls), std::end(calls), std::back_inserter(names),
                   [](CallEntry const& aEntry) { return aEntry.mName; });
    return fmt::format("{}", fmt::join(names, ", "));
}

bool concernsAdapter(Call aCall) { return entryOf(aCall).mConcernsAdapter; }
}  // namespace qzsim
