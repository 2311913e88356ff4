/// @file
/// What changed between two looks at a host.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
enum class ChangeKind
{
    came,
    gone,
    changed,
    unknown,  ///< one look could not see whether the part is there, or what is in it
};

/// The values of a field; null where it is absent.
struct FieldChange
{
    std::string mKey;
    nlohmann::ordered_json mOld;
    nlohmann::ordered_json mNew;
};

/// A LUN and its fields that changed; of a LUN that came or went only its devices.
struct LunChange
{
    std::string mLun;
    std::vector<FieldChange> mFields;
};

/// Where a part belongs; texts that do not apply are empty.
struct Place
{
    std::string mAdapter;
    std::string mPort;
    std::string mRemotePort;
};

/// Numbers of parts within another part.
struct PartCounts
{
    std::size_t mPorts = 0;
    std::size_t mRemotePorts = 0;
    std::size_t mLuns = 0;

    bool isEmpty() const { return mPorts + mRemotePorts + mLuns == 0; }
};

/// The number of ways from ports of the host to ports of a target.
struct PathChange
{
    std::string mTarget;
    std::size_t mOld;
    std::size_t mNew;
};

/// A part that changed.
struct ChangedPart
{
    std::string mName;           ///< of LUNs the name of their target
    std::vector<Place> mPlaces;  ///< several where the same change is seen in several places
    std::vector<FieldChange> mFields = {};
    std::vector<LunChange> mLuns = {};  ///< for LUNs
    std::string mTarget = {};           ///< of a remote port, the node to which it belongs
};

/// A change with everything that follows from it. A part that comes or goes takes the parts within it along.
struct Change
{
    ChangeKind mKind;
    PartKind mWhat;
    std::vector<ChangedPart> mParts;  ///< at least one; several remote ports or LUNs with one cause
    PartCounts mCame = {};            ///< within the parts
    PartCounts mGone = {};            ///< within the parts
    PartCounts mUnknown = {};         ///< within the parts, as the other look saw them
    bool mIsUnknownInNew = false;     ///< which look could not see
    std::string mReason = {};         ///< why it could not see
    std::set<std::string> mTargets =
        {};  ///< targets to which paths came or went; of LUNs, with all their LUNs
    std::vector<PathChange> mPaths = {};  ///< their number of paths, where it is known in both looks
};

/// @return the changes, each part's own before those of the parts within it. Remote ports with the same change are one
/// change if the same ports show it or if they belong to one target, and so are LUNs.
/// Parts are the same when they share a World Wide Name, whatever their indexes. A part without one is the same as the
/// one with its name if either of the two has no World Wide Name. LUNs are the same by their number within a target
/// port.
std::vector<Change> changesBetween(HostTree aOld, HostTree aNew);
}  // namespace qzagent
