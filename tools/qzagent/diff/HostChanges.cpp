#include "tools/qzagent/diff/HostChanges.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/hba/HbaFields.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;
using Parts = std::vector<HostPart>;

/// The same part in both looks; null in the look that has none.
struct Pair
{
    HostPart const* mOld;
    HostPart const* mNew;
};

/// Whether the part failed before anything but its name or index was known. Both can belong to another part in the other
/// look.
bool isUnidentified(HostPart const& aPart)
{
    bool const hasIdentity = aPart.mKind == PartKind::adapter || aPart.mKind == PartKind::port;
    return hasIdentity && aPart.mWwns.empty() && !aPart.mFailure.empty();
}

/// @return the first part that may be any of its kind; null if there is none
HostPart const* unidentifiedIn(Parts const& aParts, PartKind aKind)
{
    auto const found = std::find_if(aParts.begin(), aParts.end(),
                                    [aKind](HostPart const& aPart)
                                    { return aPart.mKind == aKind && isUnidentified(aPart); });
    return found == aParts.end() ? nullptr : &*found;
}

bool haveCommon(std::set<std::string> const& aWwns, std::set<std::string> const& aOthers)
{
    return std::any_of(aWwns.begin(), aWwns.end(),
                       [&aOthers](std::string const& aWwn) { return aOthers.count(aWwn) > 0; });
}

/// Finds the parts that are the same. A name that is not unique identifies nothing, unless everything that identifies
/// the parts is the same; then their order does.
class Matching
{
public:
    Matching(Parts const& aOld, Parts const& aNew)
        : mOld(aOld),
          mNew(aNew),
          mIsAnyUnidentified(unidentifiedIn(aOld, PartKind::adapter) != nullptr ||
                             unidentifiedIn(aNew, PartKind::adapter) != nullptr),
          mPartners(aOld.size(), none),
          mIsTaken(aNew.size())
    {
        auto const haveCommonWwn = [this](HostPart const& aOldPart, HostPart const& aNewPart)
        { return haveCommon(wwnsOf(aOldPart), wwnsOf(aNewPart)); };
        // Ports can move between adapters, which have many World Wide Names.
        matchUnique([this](HostPart const& aPart) { return nodeOf(aPart); },
                    [](HostPart const&, HostPart const&) { return true; });
        matchUnique([](HostPart const& aPart) { return identityOf(aPart, "serial_number"); }, haveCommonWwn);
        matchWwns();
        // Adapters may share the World Wide Name of a node, which is all that is known of those whose ports failed.
        matchUnique([](HostPart const& aPart) { return std::set<std::string>{aPart.mSubstitute}; },
                    [&haveCommonWwn](HostPart const& aOldPart, HostPart const& aNewPart) {
                        return aOldPart.mWwns.empty() || aNewPart.mWwns.empty() ||
                               haveCommonWwn(aOldPart, aNewPart);
                    });
        matchWwns();
        matchInOrder([](HostPart const& aPart)
                     { return std::tuple(aPart.mKind, aPart.mWwns, aPart.mSubstitute); },
                     [](HostPart const&) { return true; });
        matchInOrder([](HostPart const& aPart) { return aPart.mKind; }, &isUnidentified);
    }

    std::vector<Pair> pairs() const
    {
        std::vector<Pair> pairs;
        for (std::size_t i = 0; i < mOld.size(); ++i)
        {
            pairs.push_back({&mOld[i], mPartners[i] == none ? nullptr : &mNew[mPartners[i]]});
        }
        for (std::size_t i = 0; i < mNew.size(); ++i)
        {
            if (!mIsTaken[i])
            {
                pairs.push_back({nullptr, &mNew[i]});
            }
        }
        return pairs;
    }

private:
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    using Index = std::map<std::pair<PartKind, std::string>, std::vector<std::size_t>>;

    /// @return the parts that are not matched, by their names
    template <typename NamesOf, typename IsMatched>
    static Index indexOf(Parts const& aParts, NamesOf aNamesOf, IsMatched aIsMatched)
    {
        Index index;
        for (std::size_t i = 0; i < aParts.size(); ++i)
        {
            if (aIsMatched(i))
            {
                continue;
            }
            for (std::string const& name : aNamesOf(aParts[i]))
            {
                index[{aParts[i].mKind, name}].push_back(i);
            }
        }
        return index;
    }

    /// @return the value that identifies an adapter, if it is known
    static std::set<std::string> identityOf(HostPart const& aPart, char const* aKey)
    {
        auto const found = aPart.mIdentity.find(aKey);
        return found == aPart.mIdentity.end() ? std::set<std::string>()
                                              : std::set<std::string>{valueText(found->second)};
    }

    /// @return the World Wide Names that identify the part. An adapter that could not be identified may share the node of
    /// another adapter, so then only the names of its ports identify an adapter, if they are known.
    std::set<std::string> wwnsOf(HostPart const& aPart) const
    {
        std::set<std::string> wwns = aPart.mWwns;
        if (mIsAnyUnidentified)
        {
            for (std::string const& node : identityOf(aPart, "node_wwn"))
            {
                wwns.erase(node);
            }
        }
        return wwns.empty() ? aPart.mWwns : wwns;
    }

    /// @return the World Wide Name of an adapter's node, if it identifies the adapter
    std::set<std::string> nodeOf(HostPart const& aPart) const
    {
        std::set<std::string> node = identityOf(aPart, "node_wwn");
        return haveCommon(node, wwnsOf(aPart)) ? node : std::set<std::string>();
    }

    /// Matches the parts that have the most World Wide Names in common first.
    void matchWwns()
    {
        struct Common
        {
            std::size_t mCount;
            std::string mFirst;
        };
        std::map<std::pair<std::size_t, std::size_t>, Common> commons;
        forEachUnique([this](HostPart const& aPart) { return wwnsOf(aPart); },
                      [&commons](std::string const& aWwn, std::size_t aOldPart, std::size_t aNewPart) {
                          ++commons.try_emplace({aOldPart, aNewPart}, Common{0, aWwn}).first->second.mCount;
                      });
        std::vector<std::pair<std::pair<std::size_t, std::size_t>, Common>> pairs(commons.begin(),
                                                                                  commons.end());
        std::sort(pairs.begin(), pairs.end(),
                  [](auto const& aPair, auto const& aOther)
                  {
                      return std::tie(aOther.second.mCount, aPair.second.mFirst) <
                             std::tie(aPair.second.mCount, aOther.second.mFirst);
                  });
        for (auto const& [parts, common] : pairs)
        {
            matchIfFree(parts.first, parts.second);
        }
    }

    /// Calls a function for each name that is unique in both looks, with the name and the two parts.
    template <typename NamesOf, typename Function>
    void forEachUnique(NamesOf aNamesOf, Function aFunction) const
    {
        Index const newParts = indexOf(mNew, aNamesOf, [this](std::size_t aPart) { return mIsTaken[aPart]; });
        auto const isMatched = [this](std::size_t aPart) { return mPartners[aPart] != none; };
        for (auto const& [name, oldParts] : indexOf(mOld, aNamesOf, isMatched))
        {
            auto const found = newParts.find(name);
            if (oldParts.size() == 1 && found != newParts.end() && found->second.size() == 1)
            {
                aFunction(name.second, oldParts.front(), found->second.front());
            }
        }
    }

    template <typename NamesOf, typename Suits>
    void matchUnique(NamesOf aNamesOf, Suits aSuits)
    {
        forEachUnique(aNamesOf,
                      [&](std::string const&, std::size_t aOldPart, std::size_t aNewPart)
                      {
                          if (aSuits(mOld[aOldPart], mNew[aNewPart]))
                          {
                              matchIfFree(aOldPart, aNewPart);
                          }
                      });
    }

    /// Matches what is left.
    template <typename IdentityOf, typename Suits>
    void matchInOrder(IdentityOf aIdentityOf, Suits aSuits)
    {
        std::multimap<decltype(aIdentityOf(mNew.front())), std::size_t> left;
        for (std::size_t i = 0; i < mNew.size(); ++i)
        {
            if (!mIsTaken[i] && aSuits(mNew[i]))
            {
                left.emplace(aIdentityOf(mNew[i]), i);
            }
        }
        for (std::size_t i = 0; i < mOld.size(); ++i)
        {
            bool const isLeft = mPartners[i] == none && aSuits(mOld[i]);
            auto const found = isLeft ? left.lower_bound(aIdentityOf(mOld[i])) : left.end();
            if (found != left.end() && found->first == aIdentityOf(mOld[i]))
            {
                match(i, found->second);
                left.erase(found);
            }
        }
    }

    void matchIfFree(std::size_t aOldPart, std::size_t aNewPart)
    {
        if (mPartners[aOldPart] == none && !mIsTaken[aNewPart])
        {
            match(aOldPart, aNewPart);
        }
    }

    void match(std::size_t aOldPart, std::size_t aNewPart)
    {
        mPartners[aOldPart] = aNewPart;
        mIsTaken[aNewPart] = true;
    }

    Parts const& mOld;
    Parts const& mNew;
    bool const mIsAnyUnidentified;       ///< whether a look has an adapter that could not be identified
    std::vector<std::size_t> mPartners;  ///< of the old parts
    std::vector<bool> mIsTaken;          ///< of the new parts
};

void count(PartCounts& aCounts, HostPart const& aPart)
{
    aCounts.mPorts += aPart.mKind == PartKind::port ? 1 : 0;
    aCounts.mRemotePorts += aPart.mKind == PartKind::remotePort ? 1 : 0;
    aCounts.mLuns += aPart.mKind == PartKind::lun ? 1 : 0;
    for (HostPart const& part : aPart.mParts)
    {
        count(aCounts, part);
    }
}

PartCounts partsIn(HostPart const& aPart)
{
    PartCounts counts;
    for (HostPart const& part : aPart.mParts)
    {
        count(counts, part);
    }
    return counts;
}

void add(PartCounts& aCounts, PartCounts const& aOthers)
{
    aCounts.mPorts += aOthers.mPorts;
    aCounts.mRemotePorts += aOthers.mRemotePorts;
    aCounts.mLuns += aOthers.mLuns;
}

/// @return the targets that the part has LUNs of
std::set<std::string> targetsIn(HostPart const& aPart)
{
    std::set<std::string> targets;
    if (aPart.mKind == PartKind::remotePort && !aPart.mParts.empty())
    {
        targets.insert(aPart.mTarget);
    }
    for (HostPart const& part : aPart.mParts)
    {
        targets.merge(targetsIn(part));
    }
    return targets;
}

/// @return the place of what is within a part
Place placeIn(PartKind aKind, std::string const& aName, Place aPlace)
{
    std::string* const names[] = {nullptr, &aPlace.mAdapter, &aPlace.mPort, &aPlace.mRemotePort, nullptr};
    if (std::string* const name = names[static_cast<std::size_t>(aKind)])
    {
        *name = aName;
    }
    return aPlace;
}

/// Whether only the target mappings have the remote port.
bool isUndiscovered(HostPart const& aPart)
{
    return aPart.mKind == PartKind::remotePort && aPart.mFields.count("state") == 0;
}

/// Whether a field that is absent from a part has no value, and is not just unknown.
bool isAbsenceKnown(HostPart const& aPart, std::string const& aKey)
{
    // An adapter that no World Wide Name identifies may have a new name, and has no field for it.
    if (aKey == "name")
    {
        return false;
    }
    return aPart.mAreFieldsKnown &&
           (aPart.mKind == PartKind::lun ? aKey == "os_device" : aPart.mFailure.empty());
}

std::vector<FieldChange> fieldChanges(HostPart const& aOld, HostPart const& aNew)
{
    std::vector<FieldChange> changes;
    for (auto const& [key, value] : aOld.mFields)
    {
        auto const found = aNew.mFields.find(key);
        bool const isHere = found != aNew.mFields.end();
        if (isHere ? found->second != value : isAbsenceKnown(aNew, key))
        {
            changes.push_back({key, value, isHere ? found->second : Json()});
        }
    }
    for (auto const& [key, value] : aNew.mFields)
    {
        if (aOld.mFields.count(key) == 0 && isAbsenceKnown(aOld, key))
        {
            changes.push_back({key, Json(), value});
        }
    }
    return changes;
}

/// Whether the number of ports of the adapter is that of its ports, so that a line about these ports shows a change.
bool isOfItsPorts(HostPart const& aAdapter, Json const& aNumber)
{
    auto const isPort = [](HostPart const& aPart) { return aPart.mKind == PartKind::port; };
    return aAdapter.mArePartsKnown &&
           aNumber == std::count_if(aAdapter.mParts.begin(), aAdapter.mParts.end(), isPort);
}

/// @return the changes without that of the number of ports, if ports came or went
std::vector<FieldChange> ownFieldChanges(HostPart const& aOld, HostPart const& aNew)
{
    std::vector<FieldChange> changes = fieldChanges(aOld, aNew);
    auto const isRepeated = [&](FieldChange const& aField)
    {
        return aField.mKey == "number_of_ports" && isOfItsPorts(aOld, aField.mOld) &&
               isOfItsPorts(aNew, aField.mNew);
    };
    changes.erase(std::remove_if(changes.begin(), changes.end(), isRepeated), changes.end());
    return changes;
}

/// Whether what is behind the part came or went because the part changed.
bool isCause(std::vector<FieldChange> const& aFields)
{
    return std::any_of(aFields.begin(), aFields.end(),
                       [](FieldChange const& aField) { return aField.mKey == "state"; });
}

/// Whether the field says in which state a part is.
bool isOfState(FieldChange const& aField)
{
    constexpr char const* keys[] = {"state", "type", "mapped", "reported"};
    return std::find(std::begin(keys), std::end(keys), aField.mKey) != std::end(keys);
}

bool areSame(std::vector<FieldChange> const& aFields, std::vector<FieldChange> const& aOthers)
{
    auto const isSame = [](FieldChange const& aField, FieldChange const& aOther)
    {
        return std::tie(aField.mKey, aField.mOld, aField.mNew) ==
               std::tie(aOther.mKey, aOther.mOld, aOther.mNew);
    };
    return std::equal(aFields.begin(), aFields.end(), aOthers.begin(), aOthers.end(), isSame);
}

/// Whether the same fields changed, and those of the state in the same way.
bool areAlike(std::vector<FieldChange> const& aFields, std::vector<FieldChange> const& aOthers)
{
    auto const isAlike = [](FieldChange const& aField, FieldChange const& aOther)
    { return aField.mKey == aOther.mKey && (!isOfState(aField) || areSame({aField}, {aOther})); };
    return std::equal(aFields.begin(), aFields.end(), aOthers.begin(), aOthers.end(), isAlike);
}

/// Linux keeps a remote port for a while after its link is down, with another state.
/// @return the pair without the side that is only kept
Pair withoutKept(Pair const& aPair)
{
    auto const isOnline = [](HostPart const& aPart) { return fieldText(aPart, "state") == "ONLINE"; };
    auto const isKept = [&isOnline](HostPart const& aPart, HostPart const& aOther)
    { return aPart.mKind == PartKind::remotePort && !isOnline(aPart) && isOnline(aOther); };
    bool const isPair = aPair.mOld != nullptr && aPair.mNew != nullptr;
    return {isPair && isKept(*aPair.mOld, *aPair.mNew) ? nullptr : aPair.mOld,
            isPair && isKept(*aPair.mNew, *aPair.mOld) ? nullptr : aPair.mNew};
}

/// Moves the remote ports of an adapter that no port discovered to the ports that discovered them in the other look. If
/// some of these ports could not discover, only to these. Ports that are missing here may be those that failed before they
/// were identified.
void assignUndiscovered(HostPart& aAdapter, HostPart const& aOther)
{
    Parts parts = std::move(aAdapter.mParts);
    auto const isPort = [](HostPart const& aPart) { return aPart.mKind == PartKind::port; };
    auto const undiscovered = std::stable_partition(parts.begin(), parts.end(), isPort);
    aAdapter.mParts.assign(std::make_move_iterator(parts.begin()), std::make_move_iterator(undiscovered));
    std::vector<Pair> const pairs = Matching(aAdapter.mParts, aOther.mParts).pairs();
    Parts others;
    std::vector<HostPart*> unidentified;
    for (Pair const& pair : pairs)
    {
        if (pair.mNew == nullptr && isUnidentified(*pair.mOld))
        {
            unidentified.push_back(
                &aAdapter.mParts[static_cast<std::size_t>(pair.mOld - aAdapter.mParts.data())]);
        }
    }
    for (auto remotePort = undiscovered; remotePort != parts.end(); ++remotePort)
    {
        std::vector<HostPart*> ports;
        for (Pair const& pair : pairs)
        {
            if (pair.mNew == nullptr ||
                std::none_of(pair.mNew->mParts.begin(), pair.mNew->mParts.end(),
                             [&](HostPart const& aPart) { return aPart.mName == remotePort->mName; }))
            {
                continue;
            }
            if (pair.mOld != nullptr)
            {
                ports.push_back(
                    &aAdapter.mParts[static_cast<std::size_t>(pair.mOld - aAdapter.mParts.data())]);
            }
            else
            {
                ports.insert(ports.end(), unidentified.begin(), unidentified.end());
            }
        }
        auto const failed = std::stable_partition(
            ports.begin(), ports.end(), [](HostPart const* aPort) { return aPort->mArePartsKnown; });
        std::for_each(failed == ports.end() ? ports.begin() : failed, ports.end(),
                      [&](HostPart* aPort) { aPort->mParts.push_back(*remotePort); });
        if (ports.empty())
        {
            others.push_back(std::move(*remotePort));
        }
    }
    std::move(others.begin(), others.end(), std::back_inserter(aAdapter.mParts));
}

/// @return the devices of a LUN as a field that came or went with it; none when it has no device
std::vector<FieldChange> devicesOf(HostPart const& aLun, ChangeKind aKind)
{
    auto const found = aLun.mFields.find("os_device");
    if (found == aLun.mFields.end())
    {
        return {};
    }
    bool const came = aKind == ChangeKind::came;
    return {{"os_device", came ? Json() : found->second, came ? found->second : Json()}};
}

/// Compares a part with the same part in the other look, and all parts within it.
class PartComparison
{
public:
    /// @param aPlace where the parts belong
    /// @param aOwner of the part to which they belong; null for the host
    PartComparison(HostPart const& aOld, HostPart const& aNew, Place const& aPlace, PartComparison* aOwner)
        : mOld(aOld),
          mNew(aNew),
          mOwner(aOwner),
          mPlace(aPlace),
          mPart{aNew.mWwns.empty() ? aOld.mName : aNew.mName, {aPlace}, {}, {}, aNew.mTarget},
          mInside(placeIn(aNew.mKind, mPart.mName, aPlace)),
          mChange{ChangeKind::changed, aNew.mKind, {withFields(mPart, ownFieldChanges(aOld, aNew))}},
          mUnknownInOld(unknownIn(aOld, false)),
          mUnknownInNew(unknownIn(aNew, true)),
          mIsCause(isCause(mChange.mParts.front().mFields))
    {
        if (mIsCause)
        {
            mChange.mTargets = targetsIn(aOld);
            mChange.mTargets.merge(targetsIn(aNew));
        }
    }

    void run(std::vector<Change>& aChanges)
    {
        std::vector<Pair> pairs = Matching(mOld.mParts, mNew.mParts).pairs();
        if (mIsCause)
        {
            std::transform(pairs.begin(), pairs.end(), pairs.begin(), &withoutKept);
        }
        for (Pair const& pair : pairs)
        {
            add(pair);
        }
        addUnidentified(pairs, true);
        addUnidentified(pairs, false);
        std::vector<Change> inner;
        for (Pair const& pair : pairs)
        {
            if (pair.mOld != nullptr && pair.mNew != nullptr && pair.mOld->mKind != PartKind::lun)
            {
                PartComparison(*pair.mOld, *pair.mNew, mInside, this).run(inner);
            }
        }
        moveTo(aChanges);
        std::move(inner.begin(), inner.end(), std::back_inserter(aChanges));
    }

private:
    static ChangedPart withFields(ChangedPart aPart, std::vector<FieldChange> aFields)
    {
        aPart.mFields = std::move(aFields);
        return aPart;
    }

    Change unknownIn(HostPart const& aPart, bool aIsNew) const
    {
        Change change{ChangeKind::unknown, aPart.mKind, {mPart}};
        change.mIsUnknownInNew = aIsNew;
        change.mReason = aPart.mFailure;
        return change;
    }

    void add(Pair const& aPair)
    {
        if (aPair.mNew == nullptr)
        {
            addOneSided(*aPair.mOld, ChangeKind::gone, mNew, mUnknownInNew);
        }
        else if (aPair.mOld == nullptr)
        {
            addOneSided(*aPair.mNew, ChangeKind::came, mOld, mUnknownInOld);
        }
        else if (aPair.mOld->mKind == PartKind::lun)
        {
            std::vector<FieldChange> fields = fieldChanges(*aPair.mOld, *aPair.mNew);
            if (!fields.empty())
            {
                addLun({aPair.mNew->mName, std::move(fields)}, ChangeKind::changed);
            }
            if (aPair.mOld->mFailure.empty() != aPair.mNew->mFailure.empty())
            {
                addUnknownLun(*aPair.mOld, *aPair.mNew);
            }
        }
    }

    /// @param aPart     a part that only one look saw
    /// @param aOther    what the other look has instead of the owner of the part
    /// @param aUnknown  takes the part if the other look may have it
    void addOneSided(HostPart const& aPart, ChangeKind aKind, HostPart const& aOther, Change& aUnknown)
    {
        if (isUnidentified(aPart))
        {
            return;
        }
        if (HostPart const* const failed = unidentifiedIn(aOther.mParts, aPart.mKind))
        {
            addUnknown(aPart, *failed, aKind == ChangeKind::gone, partsIn(aPart));
        }
        else if (!aOther.mArePartsKnown || (isUndiscovered(aPart) && !aOther.mArePathsKnown))
        {
            count(aUnknown.mUnknown, aPart);
        }
        else if (aPart.mKind == PartKind::lun && !aPart.mAreFieldsKnown)
        {
            // The other look may have the LUN under another name. Its remote port is unknown as a whole.
        }
        else if (mIsCause)
        {
            count(aKind == ChangeKind::came ? mChange.mCame : mChange.mGone, aPart);
        }
        else if (aPart.mKind == PartKind::lun)
        {
            addLun({aPart.mName, devicesOf(aPart, aKind)}, aKind);
        }
        else
        {
            Change change{aKind, aPart.mKind, {{aPart.mName, {mInside}, {}, {}, aPart.mTarget}}};
            for (auto const& [key, value] : aPart.mIdentity)
            {
                bool const came = aKind == ChangeKind::came;
                change.mParts.front().mFields.push_back({key, came ? Json() : value, came ? value : Json()});
            }
            (aKind == ChangeKind::came ? change.mCame : change.mGone) = partsIn(aPart);
            change.mTargets = targetsIn(aPart);
            mInner.push_back(std::move(change));
        }
    }

    /// @param aFailed has the reason why the part is unknown
    void addUnknown(HostPart const& aPart, HostPart const& aFailed, bool aIsInNew, PartCounts const& aCounts)
    {
        Change change{ChangeKind::unknown, aPart.mKind, {{aPart.mName, {mInside}}}};
        change.mIsUnknownInNew = aIsInNew;
        change.mReason = aFailed.mFailure;
        change.mUnknown = aCounts;
        mInner.push_back(std::move(change));
    }

    /// Adds the failed parts of a look that cannot be those that are missing in it, because there are more of them.
    void addUnidentified(std::vector<Pair> const& aPairs, bool aIsInNew)
    {
        std::map<PartKind, std::size_t> missing;
        for (Pair const& pair : aPairs)
        {
            if (HostPart const* const part = aIsInNew ? pair.mOld : pair.mNew;
                part != nullptr && (aIsInNew ? pair.mNew : pair.mOld) == nullptr)
            {
                ++missing[part->mKind];
            }
        }
        for (Pair const& pair : aPairs)
        {
            HostPart const* const part = aIsInNew ? pair.mNew : pair.mOld;
            bool const isAlone = (aIsInNew ? pair.mOld : pair.mNew) == nullptr;
            if (isAlone && isUnidentified(*part) && missing[part->mKind]-- == 0)
            {
                ++missing[part->mKind];
                addUnknown(*part, *part, aIsInNew, {});
            }
        }
    }

    /// Adds a LUN that answered in one look only.
    void addUnknownLun(HostPart const& aOld, HostPart const& aNew)
    {
        bool const isInNew = !aNew.mFailure.empty();
        auto const isSame = [isInNew](Change const& aChange)
        { return aChange.mKind == ChangeKind::unknown && aChange.mIsUnknownInNew == isInNew; };
        auto found = std::find_if(mLuns.begin(), mLuns.end(), isSame);
        if (found == mLuns.end())
        {
            Change change{ChangeKind::unknown, PartKind::lun, {{mNew.mTarget, {mInside}}}};
            change.mIsUnknownInNew = isInNew;
            change.mReason = isInNew ? aNew.mFailure : aOld.mFailure;
            found = mLuns.insert(mLuns.end(), std::move(change));
        }
        found->mParts.front().mLuns.push_back({aNew.mName, {}});
    }

    /// Adds the LUN to the change of LUNs with alike fields.
    void addLun(LunChange&& aLun, ChangeKind aKind)
    {
        auto const isSame = [&](Change const& aChange)
        {
            return aChange.mKind == aKind &&
                   (aKind != ChangeKind::changed ||
                    areAlike(aChange.mParts.front().mLuns.front().mFields, aLun.mFields));
        };
        auto found = std::find_if(mLuns.begin(), mLuns.end(), isSame);
        if (found == mLuns.end())
        {
            Change change{aKind, PartKind::lun, {{mNew.mTarget, {mInside}}}};
            if (mOld.mParts.empty() != mNew.mParts.empty())
            {
                change.mTargets.insert(mNew.mTarget);
            }
            found = mLuns.insert(mLuns.end(), std::move(change));
        }
        found->mParts.front().mLuns.push_back(std::move(aLun));
    }

    /// Remote ports without a failure of their own have that of their adapter.
    PartComparison& ownerOfUnknown(HostPart const& aPart)
    {
        return aPart.mKind == PartKind::remotePort && aPart.mFailure.empty() ? *adapter() : *this;
    }

    PartComparison* adapter() { return mNew.mKind == PartKind::adapter ? this : mOwner->adapter(); }

    void moveTo(std::vector<Change>& aChanges)
    {
        bool const oldFailed = !mOld.mFailure.empty();
        bool const newFailed = !mNew.mFailure.empty();
        if (!mChange.mParts.front().mFields.empty())
        {
            aChanges.push_back(std::move(mChange));
        }
        if (PartComparison& owner = ownerOfUnknown(mOld); &owner != this)
        {
            qzagent::add(owner.mUnknownInOld.mUnknown, mUnknownInOld.mUnknown);
        }
        else if (!mUnknownInOld.mUnknown.isEmpty() || (oldFailed && !newFailed))
        {
            aChanges.push_back(std::move(mUnknownInOld));
        }
        if (PartComparison& owner = ownerOfUnknown(mNew); &owner != this)
        {
            qzagent::add(owner.mUnknownInNew.mUnknown, mUnknownInNew.mUnknown);
        }
        else if (!mUnknownInNew.mUnknown.isEmpty() || (newFailed && !oldFailed))
        {
            aChanges.push_back(std::move(mUnknownInNew));
        }
        std::move(mInner.begin(), mInner.end(), std::back_inserter(aChanges));
        std::move(mLuns.begin(), mLuns.end(), std::back_inserter(aChanges));
    }

    HostPart const& mOld;
    HostPart const& mNew;
    PartComparison* const mOwner;
    Place const mPlace;
    ChangedPart const mPart;
    Place const mInside;
    Change mChange;
    Change mUnknownInOld;
    Change mUnknownInNew;
    bool const mIsCause;
    std::vector<Change> mInner;  ///< of parts that only one look saw
    std::vector<Change> mLuns;
};

/// Adds the devices of the same LUNs in another place.
void mergeDevices(std::vector<LunChange>& aLuns, std::vector<LunChange> const& aOthers)
{
    for (std::size_t i = 0; i < aLuns.size(); ++i)
    {
        auto& fields = aLuns[i].mFields;
        auto const& others = aOthers[i].mFields;
        fields.insert(fields.end(), others.begin(), others.end());
    }
}

/// Whether two changes differ only in the place where they are seen. A LUN that comes or goes has another device in
/// each place.
bool isSameElsewhere(Change const& aChange, Change const& aOther)
{
    ChangedPart const& part = aChange.mParts.front();
    ChangedPart const& other = aOther.mParts.front();
    auto const isSameLun = [&](LunChange const& aLun, LunChange const& aOtherLun)
    {
        return aLun.mLun == aOtherLun.mLun &&
               (aChange.mKind != ChangeKind::changed || areSame(aLun.mFields, aOtherLun.mFields));
    };
    return aChange.mKind == aOther.mKind && aChange.mReason == aOther.mReason &&
           aChange.mIsUnknownInNew == aOther.mIsUnknownInNew && areSame(part.mFields, other.mFields) &&
           std::equal(part.mLuns.begin(), part.mLuns.end(), other.mLuns.begin(), other.mLuns.end(),
                      isSameLun);
}

void addCounts(Change& aChange, Change& aOther)
{
    add(aChange.mCame, aOther.mCame);
    add(aChange.mGone, aOther.mGone);
    add(aChange.mUnknown, aOther.mUnknown);
    aChange.mTargets.merge(aOther.mTargets);
}

bool isBehindPort(Change const& aChange)
{
    return aChange.mWhat == PartKind::remotePort || aChange.mWhat == PartKind::lun;
}

/// @return the fields of the first part, or of its first LUN
std::vector<FieldChange> const& fieldsOf(Change const& aChange)
{
    ChangedPart const& part = aChange.mParts.front();
    return aChange.mWhat == PartKind::lun ? part.mLuns.front().mFields : part.mFields;
}

/// @return a value that changed, which is often different, such as a device; empty for other changes
std::string newValueOf(Change const& aChange)
{
    return aChange.mKind == ChangeKind::changed && isBehindPort(aChange)
               ? fieldsOf(aChange).front().mNew.dump(-1, ' ', false, Json::error_handler_t::replace)
               : std::string();
}

/// Joins the changes of one remote port, or of the same LUNs of one target, that several paths show.
std::vector<Change> withSamePartsJoined(std::vector<Change>&& aChanges)
{
    std::vector<Change> changes;
    std::multimap<std::tuple<PartKind, std::string, std::string>, std::size_t> seen;
    for (Change& change : aChanges)
    {
        std::tuple const name(change.mWhat, change.mParts.front().mName, newValueOf(change));
        auto const range = seen.equal_range(name);
        auto const found =
            std::find_if(range.first, range.second,
                         [&](auto const& aSeen) { return isSameElsewhere(changes[aSeen.second], change); });
        if (!isBehindPort(change) || found == range.second)
        {
            seen.emplace(name, changes.size());
            changes.push_back(std::move(change));
            continue;
        }
        Change& first = changes[found->second];
        ChangedPart& part = first.mParts.front();
        part.mPlaces.push_back(change.mParts.front().mPlaces.front());
        addCounts(first, change);
        if (change.mKind != ChangeKind::changed)
        {
            mergeDevices(part.mLuns, change.mParts.front().mLuns);
        }
    }
    return changes;
}

/// @return what changes of one cause have in common; empty if the change has a cause of its own
std::string causeOf(Change const& aChange)
{
    auto const& fields = fieldsOf(aChange);
    bool const isOwn =
        aChange.mWhat == PartKind::lun && aChange.mKind != ChangeKind::unknown &&
        (aChange.mKind == ChangeKind::changed ? std::any_of(fields.begin(), fields.end(), &isOfState)
                                              : aChange.mTargets.empty());
    if (!isBehindPort(aChange) || isOwn)
    {
        return {};
    }
    Json cause{aChange.mWhat, aChange.mKind, aChange.mIsUnknownInNew, aChange.mReason};
    for (FieldChange const& field :
         aChange.mKind == ChangeKind::changed ? fields : std::vector<FieldChange>())
    {
        cause.push_back(field.mKey);
        if (isOfState(field))
        {
            cause.push_back(field.mOld);
            cause.push_back(field.mNew);
        }
    }
    return cause.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// Joins the changes that have a cause and a common part of it.
/// @param aCommonOf returns what the changes of one cause must share; empty for what nothing shares
template <typename CommonOf>
std::vector<Change> withCausesJoined(std::vector<Change>&& aChanges, CommonOf aCommonOf)
{
    std::vector<Change> changes;
    std::map<std::pair<std::string, std::set<std::string>>, std::size_t> seen;
    for (Change& change : aChanges)
    {
        std::pair const key(causeOf(change), aCommonOf(change));
        auto const found = key.first.empty() || key.second.empty() ? seen.end() : seen.find(key);
        if (found == seen.end())
        {
            seen.emplace(key, changes.size());
            changes.push_back(std::move(change));
            continue;
        }
        Change& first = changes[found->second];
        std::move(change.mParts.begin(), change.mParts.end(), std::back_inserter(first.mParts));
        addCounts(first, change);
    }
    return changes;
}

std::set<std::string> portsOf(Change const& aChange)
{
    std::set<std::string> ports;
    for (ChangedPart const& part : aChange.mParts)
    {
        for (Place const& place : part.mPlaces)
        {
            ports.insert(place.mAdapter + '\n' + place.mPort);
        }
    }
    return ports;
}

/// @return the target, if all parts belong to one. What is no state, such as devices after a restart, changes with all
/// others
std::set<std::string> onlyTargetOf(Change const& aChange)
{
    auto const& fields = fieldsOf(aChange);
    if (aChange.mKind == ChangeKind::changed && std::none_of(fields.begin(), fields.end(), &isOfState))
    {
        return {""};
    }
    std::set<std::string> targets;
    for (ChangedPart const& part : aChange.mParts)
    {
        targets.insert(aChange.mWhat == PartKind::lun ? part.mName : part.mTarget);
    }
    return targets.size() == 1 ? targets : std::set<std::string>();
}

using PathCounts = std::map<std::string, std::size_t>;

PathCounts pathCountsIn(HostPart const& aRoot)
{
    PathCounts counts;
    for (Path const& path : pathsIn(aRoot))
    {
        ++counts[path.mRemotePort->mTarget];
    }
    return counts;
}

/// Sorts the parts, so that their order does not depend on that of either look.
void sortParts(Change& aChange)
{
    auto const place = [](Place const& aPlace)
    { return std::tie(aPlace.mAdapter, aPlace.mPort, aPlace.mRemotePort); };
    auto const isBefore = [&](Place const& aOne, Place const& aOther) { return place(aOne) < place(aOther); };
    for (ChangedPart& part : aChange.mParts)
    {
        std::sort(part.mPlaces.begin(), part.mPlaces.end(), isBefore);
    }
    std::sort(aChange.mParts.begin(), aChange.mParts.end(),
              [&](ChangedPart const& aPart, ChangedPart const& aOther)
              {
                  return std::pair(aPart.mName, place(aPart.mPlaces.front())) <
                         std::pair(aOther.mName, place(aOther.mPlaces.front()));
              });
}

void addPaths(std::vector<Change>& aChanges, PathCounts const& aOld, PathCounts const& aNew)
{
    auto const countIn = [](PathCounts const& aCounts, std::string const& aTarget)
    {
        auto const found = aCounts.find(aTarget);
        return found == aCounts.end() ? 0 : found->second;
    };
    for (Change& change : aChanges)
    {
        for (std::string const& target : change.mTargets)
        {
            PathChange const paths{target, countIn(aOld, target), countIn(aNew, target)};
            if (paths.mOld != paths.mNew)
            {
                change.mPaths.push_back(paths);
            }
        }
    }
}

void assignUndiscoveredInAll(HostPart& aRoot, HostPart const& aOther)
{
    for (Pair const& pair : Matching(aRoot.mParts, aOther.mParts).pairs())
    {
        if (pair.mOld != nullptr && pair.mNew != nullptr)
        {
            auto const index = static_cast<std::size_t>(pair.mOld - aRoot.mParts.data());
            assignUndiscovered(aRoot.mParts[index], *pair.mNew);
        }
    }
}

/// @param aReason why the list of adapters is incomplete, unless another failure is the reason
void addFailure(HostPart& aRoot, std::string const& aReason)
{
    aRoot.mArePartsKnown = false;
    aRoot.mFailure = aRoot.mFailure.empty() ? aReason : aRoot.mFailure;
}

/// Adapters are missing in a look that did not use a library. A library that neither look used makes no difference.
void addFailureOfLibraries(HostTree& aTree, HostTree const& aOther)
{
    for (auto const& [path, reason] : aTree.mUnusedLibraries)
    {
        if (aOther.mUnusedLibraries.count(path) == 0)
        {
            addFailure(aTree.mRoot, reason);
        }
    }
}
}  // namespace

std::vector<Change> changesBetween(HostTree aOld, HostTree aNew)
{
    for (HostTree* const tree : {&aOld, &aNew})
    {
        if (!tree->mRestriction.empty())
        {
            addFailure(tree->mRoot, tree->mRestriction);
        }
    }
    addFailureOfLibraries(aOld, aNew);
    addFailureOfLibraries(aNew, aOld);
    assignUndiscoveredInAll(aOld.mRoot, aNew.mRoot);
    assignUndiscoveredInAll(aNew.mRoot, aOld.mRoot);
    std::vector<Change> changes;
    PartComparison(aOld.mRoot, aNew.mRoot, {}, nullptr).run(changes);
    changes = withSamePartsJoined(std::move(changes));
    changes = withCausesJoined(std::move(changes), &portsOf);
    changes = withCausesJoined(std::move(changes), &onlyTargetOf);
    std::for_each(changes.begin(), changes.end(), &sortParts);
    if (arePathsKnown(aOld.mRoot) && arePathsKnown(aNew.mRoot))
    {
        addPaths(changes, pathCountsIn(aOld.mRoot), pathCountsIn(aNew.mRoot));
    }
    return changes;
}
}  // namespace qzagent
