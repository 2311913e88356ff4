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

/// Finds the parts that are the same. A name that is not unique identifies nothing, unless everything that identifies
/// the parts is the same; then their order does.
class Matching
{
public:
    Matching(Parts const& aOld, Parts const& aNew)
        : mOld(aOld), mNew(aNew), mPartners(aOld.size(), none), mIsTaken(aNew.size())
    {
        matchUnique([](HostPart const& aPart) -> std::set<std::string> const& { return aPart.mWwns; },
                    [](HostPart const&, HostPart const&) { return true; });
        matchUnique([](HostPart const& aPart) { return std::set<std::string>{aPart.mSubstitute}; },
                    [](HostPart const& aOldPart, HostPart const& aNewPart)
                    { return aOldPart.mWwns.empty() || aNewPart.mWwns.empty(); });
        matchInOrder();
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

    template <typename NamesOf>
    static Index indexOf(Parts const& aParts, NamesOf aNamesOf)
    {
        Index index;
        for (std::size_t i = 0; i < aParts.size(); ++i)
        {
            for (std::string const& name : aNamesOf(aParts[i]))
            {
                index[{aParts[i].mKind, name}].push_back(i);
            }
        }
        return index;
    }

    template <typename NamesOf, typename Suits>
    void matchUnique(NamesOf aNamesOf, Suits aSuits)
    {
        Index const newParts = indexOf(mNew, aNamesOf);
        for (auto const& [name, oldParts] : indexOf(mOld, aNamesOf))
        {
            auto const found = newParts.find(name);
            if (oldParts.size() != 1 || found == newParts.end() || found->second.size() != 1)
            {
                continue;
            }
            std::size_t const oldPart = oldParts.front();
            std::size_t const newPart = found->second.front();
            if (mPartners[oldPart] == none && !mIsTaken[newPart] && aSuits(mOld[oldPart], mNew[newPart]))
            {
                match(oldPart, newPart);
            }
        }
    }

    void matchInOrder()
    {
        auto const identityOf = [](HostPart const& aPart)
        { return std::tuple(aPart.mKind, aPart.mWwns, aPart.mSubstitute); };
        std::multimap<decltype(identityOf(mNew.front())), std::size_t> left;
        for (std::size_t i = 0; i < mNew.size(); ++i)
        {
            if (!mIsTaken[i])
            {
                left.emplace(identityOf(mNew[i]), i);
            }
        }
        for (std::size_t i = 0; i < mOld.size(); ++i)
        {
            auto const found = mPartners[i] == none ? left.lower_bound(identityOf(mOld[i])) : left.end();
            if (found != left.end() && found->first == identityOf(mOld[i]))
            {
                match(i, found->second);
                left.erase(found);
            }
        }
    }

    void match(std::size_t aOldPart, std::size_t aNewPart)
    {
        mPartners[aOldPart] = aNewPart;
        mIsTaken[aNewPart] = true;
    }

    Parts const& mOld;
    Parts const& mNew;
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

/// Calls aFunction with each remote port that is a target.
template <typename Function>
void forEachPath(HostPart const& aPart, Function aFunction)
{
    if (aPart.mKind == PartKind::remotePort && !aPart.mParts.empty())
    {
        aFunction(aPart.mTarget);
    }
    for (HostPart const& part : aPart.mParts)
    {
        forEachPath(part, aFunction);
    }
}

std::set<std::string> targetsIn(HostPart const& aPart)
{
    std::set<std::string> targets;
    forEachPath(aPart, [&targets](std::string const& aTarget) { targets.insert(aTarget); });
    return targets;
}

/// Whether the number of paths is known.
bool arePathsKnown(HostPart const& aPart)
{
    return aPart.mKind == PartKind::lun ||
           (aPart.mArePartsKnown && std::all_of(aPart.mParts.begin(), aPart.mParts.end(), arePathsKnown));
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

/// Whether a field that is absent from a part has no value, and is not just unknown.
bool isAbsenceKnown(HostPart const& aPart, std::string const& aKey)
{
    return aPart.mKind == PartKind::lun ? aKey == "os_device"
                                        : aPart.mAreFieldsKnown && aPart.mFailure.empty();
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

/// Whether what is behind the part came or went because the part changed.
bool isCause(std::vector<FieldChange> const& aFields)
{
    return std::any_of(aFields.begin(), aFields.end(),
                       [](FieldChange const& aField) { return aField.mKey == "state"; });
}

/// Linux keeps a remote port for a while after its link is down: without LUNs, and with another state.
/// @return the pair without the side that is only kept
Pair withoutKept(Pair const& aPair)
{
    auto const isOnline = [](HostPart const& aPart)
    {
        auto const found = aPart.mFields.find("state");
        return found != aPart.mFields.end() && found->second == "ONLINE";
    };
    auto const isKept = [&isOnline](HostPart const& aPart, HostPart const& aOther)
    {
        return aPart.mKind == PartKind::remotePort && aPart.mParts.empty() && !isOnline(aPart) &&
               isOnline(aOther);
    };
    bool const isPair = aPair.mOld != nullptr && aPair.mNew != nullptr;
    return {isPair && isKept(*aPair.mOld, *aPair.mNew) ? nullptr : aPair.mOld,
            isPair && isKept(*aPair.mNew, *aPair.mOld) ? nullptr : aPair.mNew};
}

/// Moves the remote ports of an adapter that no port discovered to the port that discovered them in the other look,
/// if that port could not discover now.
void assignUndiscovered(HostPart& aAdapter, HostPart const& aOther)
{
    // The ports precede the remote ports, so the pairs of ports stay valid.
    std::vector<Pair> const pairs = Matching(aAdapter.mParts, aOther.mParts).pairs();
    for (std::size_t i = aAdapter.mParts.size(); i-- > 0;)
    {
        HostPart const& remotePort = aAdapter.mParts[i];
        if (remotePort.mKind != PartKind::remotePort)
        {
            continue;
        }
        auto const discovers = [&remotePort](Pair const& aPair)
        {
            return aPair.mOld != nullptr && aPair.mNew != nullptr && aPair.mOld->mKind == PartKind::port &&
                   !aPair.mOld->mArePartsKnown &&
                   std::any_of(aPair.mNew->mParts.begin(), aPair.mNew->mParts.end(),
                               [&](HostPart const& aPart) { return aPart.mName == remotePort.mName; });
        };
        auto const found = std::find_if(pairs.begin(), pairs.end(), discovers);
        if (found != pairs.end())
        {
            auto const port = static_cast<std::size_t>(found->mOld - aAdapter.mParts.data());
            aAdapter.mParts[port].mParts.push_back(remotePort);
            aAdapter.mParts.erase(aAdapter.mParts.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
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
    PartComparison(HostPart const& aOld, HostPart const& aNew, Place const& aPlace)
        : mOld(aOld),
          mNew(aNew),
          mName(aNew.mWwns.empty() ? aOld.mName : aNew.mName),
          mPlace(aPlace),
          mInside(placeIn(aNew.mKind, mName, aPlace)),
          mChange{ChangeKind::changed, aNew.mKind, mName, {aPlace}, fieldChanges(aOld, aNew)},
          mUnknownInOld(unknownIn(aOld, false)),
          mUnknownInNew(unknownIn(aNew, true)),
          mIsCause(isCause(mChange.mFields))
    {
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
        moveTo(aChanges);
        for (Pair const& pair : pairs)
        {
            if (pair.mOld != nullptr && pair.mNew != nullptr && pair.mOld->mKind != PartKind::lun)
            {
                PartComparison(*pair.mOld, *pair.mNew, mInside).run(aChanges);
            }
        }
    }

private:
    Change unknownIn(HostPart const& aPart, bool aIsNew) const
    {
        Change change{ChangeKind::unknown, aPart.mKind, mName, {mPlace}};
        change.mIsUnknownInNew = aIsNew;
        change.mReason = aPart.mFailure;
        return change;
    }

    void add(Pair const& aPair)
    {
        if (aPair.mNew == nullptr)
        {
            addOneSided(*aPair.mOld, ChangeKind::gone, mNew.mArePartsKnown, mUnknownInNew);
        }
        else if (aPair.mOld == nullptr)
        {
            addOneSided(*aPair.mNew, ChangeKind::came, mOld.mArePartsKnown, mUnknownInOld);
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
    /// @param aIsAbsent whether it is known that the other look does not have it
    /// @param aUnknown  takes the part if this is not known
    void addOneSided(HostPart const& aPart, ChangeKind aKind, bool aIsAbsent, Change& aUnknown)
    {
        if (!aIsAbsent)
        {
            count(aUnknown.mUnknown, aPart);
        }
        else if (mIsCause)
        {
            count(aKind == ChangeKind::came ? mChange.mCame : mChange.mGone, aPart);
            mChange.mTargets.merge(targetsIn(aPart));
        }
        else if (aPart.mKind == PartKind::lun)
        {
            addLun({aPart.mName, devicesOf(aPart, aKind)}, aKind);
        }
        else
        {
            Change change{aKind, aPart.mKind, aPart.mName, {mInside}};
            (aKind == ChangeKind::came ? change.mCame : change.mGone) = partsIn(aPart);
            change.mTargets = targetsIn(aPart);
            mInner.push_back(std::move(change));
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
            Change change{ChangeKind::unknown, PartKind::lun, mNew.mTarget, {mInside}};
            change.mIsUnknownInNew = isInNew;
            change.mReason = isInNew ? aNew.mFailure : aOld.mFailure;
            found = mLuns.insert(mLuns.end(), std::move(change));
        }
        found->mLuns.push_back({aNew.mName, {}});
    }

    /// Adds the LUN to the change of LUNs with the same fields.
    void addLun(LunChange&& aLun, ChangeKind aKind)
    {
        auto const isSame = [&](Change const& aChange)
        {
            auto const& fields = aChange.mLuns.front().mFields;
            return aChange.mKind == aKind &&
                   (aKind != ChangeKind::changed ||
                    std::equal(fields.begin(), fields.end(), aLun.mFields.begin(), aLun.mFields.end(),
                               [](FieldChange const& aField, FieldChange const& aOther)
                               { return aField.mKey == aOther.mKey; }));
        };
        auto const found = std::find_if(mLuns.begin(), mLuns.end(), isSame);
        Change& change = found != mLuns.end()
                             ? *found
                             : mLuns.emplace_back(Change{aKind, PartKind::lun, mNew.mTarget, {mInside}});
        change.mLuns.push_back(std::move(aLun));
    }

    void moveTo(std::vector<Change>& aChanges)
    {
        bool const oldFailed = !mOld.mFailure.empty();
        bool const newFailed = !mNew.mFailure.empty();
        if (!mChange.mFields.empty())
        {
            aChanges.push_back(std::move(mChange));
        }
        if (!mUnknownInOld.mUnknown.isEmpty() || (oldFailed && !newFailed))
        {
            aChanges.push_back(std::move(mUnknownInOld));
        }
        if (!mUnknownInNew.mUnknown.isEmpty() || (newFailed && !oldFailed))
        {
            aChanges.push_back(std::move(mUnknownInNew));
        }
        std::move(mInner.begin(), mInner.end(), std::back_inserter(aChanges));
        std::move(mLuns.begin(), mLuns.end(), std::back_inserter(aChanges));
    }

    HostPart const& mOld;
    HostPart const& mNew;
    std::string const mName;
    Place const mPlace;
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
    auto const isSameField = [](FieldChange const& aField, FieldChange const& aOtherField)
    {
        return std::tie(aField.mKey, aField.mOld, aField.mNew) ==
               std::tie(aOtherField.mKey, aOtherField.mOld, aOtherField.mNew);
    };
    auto const areSameFields =
        [&](std::vector<FieldChange> const& aFields, std::vector<FieldChange> const& aOthers)
    { return std::equal(aFields.begin(), aFields.end(), aOthers.begin(), aOthers.end(), isSameField); };
    auto const isSameLun = [&](LunChange const& aLun, LunChange const& aOtherLun)
    {
        return aLun.mLun == aOtherLun.mLun &&
               (aChange.mKind != ChangeKind::changed || areSameFields(aLun.mFields, aOtherLun.mFields));
    };
    auto const counts = [](PartCounts const& aCounts)
    { return std::tie(aCounts.mPorts, aCounts.mRemotePorts, aCounts.mLuns); };
    return aChange.mKind == aOther.mKind && aChange.mReason == aOther.mReason &&
           aChange.mIsUnknownInNew == aOther.mIsUnknownInNew &&
           counts(aChange.mCame) == counts(aOther.mCame) && counts(aChange.mGone) == counts(aOther.mGone) &&
           counts(aChange.mUnknown) == counts(aOther.mUnknown) &&
           areSameFields(aChange.mFields, aOther.mFields) &&
           std::equal(aChange.mLuns.begin(), aChange.mLuns.end(), aOther.mLuns.begin(), aOther.mLuns.end(),
                      isSameLun);
}

/// Joins the changes of remote ports and LUNs that several paths show.
std::vector<Change> joined(std::vector<Change>&& aChanges)
{
    std::vector<Change> changes;
    std::multimap<std::pair<PartKind, std::string>, std::size_t> seen;
    for (Change& change : aChanges)
    {
        bool const isBehindPort = change.mWhat == PartKind::remotePort || change.mWhat == PartKind::lun;
        auto const range = seen.equal_range({change.mWhat, change.mName});
        auto const found =
            std::find_if(range.first, range.second,
                         [&](auto const& aSeen) { return isSameElsewhere(changes[aSeen.second], change); });
        if (!isBehindPort || found == range.second)
        {
            seen.emplace(std::pair(change.mWhat, change.mName), changes.size());
            changes.push_back(std::move(change));
            continue;
        }
        Change& first = changes[found->second];
        first.mPlaces.push_back(change.mPlaces.front());
        first.mTargets.merge(change.mTargets);
        if (change.mKind != ChangeKind::changed)
        {
            mergeDevices(first.mLuns, change.mLuns);
        }
    }
    return changes;
}

using PathCounts = std::map<std::string, std::size_t>;

PathCounts pathsOf(HostPart const& aRoot)
{
    PathCounts counts;
    forEachPath(aRoot, [&counts](std::string const& aTarget) { ++counts[aTarget]; });
    return counts;
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
}  // namespace

std::vector<Change> changesBetween(HostTree aOld, HostTree aNew)
{
    assignUndiscoveredInAll(aOld.mRoot, aNew.mRoot);
    assignUndiscoveredInAll(aNew.mRoot, aOld.mRoot);
    std::vector<Change> changes;
    PartComparison(aOld.mRoot, aNew.mRoot, {}).run(changes);
    changes = joined(std::move(changes));
    if (arePathsKnown(aOld.mRoot) && arePathsKnown(aNew.mRoot))
    {
        addPaths(changes, pathsOf(aOld.mRoot), pathsOf(aNew.mRoot));
    }
    return changes;
}
}  // namespace qzagent
