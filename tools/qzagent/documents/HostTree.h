/// @file
/// A host as its inventory describes it, in a form that can be compared.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace qzagent
{
enum class PartKind
{
    host,
    adapter,
    port,
    remotePort,
    lun
};

/// A part of a host, with the parts that belong to it.
struct HostPart
{
    PartKind mKind = PartKind::host;
    std::string mName;            ///< World Wide Name; of adapters and LUNs what the inventory calls them
    std::set<std::string> mWwns;  ///< any of them identifies the part; empty if none is known
    std::string mSubstitute;      ///< identifies the part as long as no World Wide Name does
    std::string mTarget;          ///< of a remote port, the node to which it belongs
    std::map<std::string, nlohmann::ordered_json> mFields;  ///< values without identity, by their JSON keys
    std::map<std::string, nlohmann::ordered_json>
        mIdentity;  ///< of an adapter, shown if only one look has it
    std::vector<HostPart> mParts;
    bool mAreFieldsKnown = true;  ///< whether a field that is absent has no value
    bool mArePartsKnown = true;   ///< whether the list of parts is complete
    bool mArePathsKnown =
        true;  ///< of adapters and ports, whether all targets that they reach are among their parts
    std::string mFailure;  ///< why something is unknown; empty when nothing failed
};

struct HostTree
{
    std::string mHost;  ///< name of the host
    std::string mTime;  ///< when the document was generated
    bool mHasUnits;     ///< whether the LUNs were asked for what they are
    HostPart mRoot;
    std::map<std::string, std::string>
        mUnusedLibraries{};      ///< paths of the HBA libraries that were not used, with the reasons
    std::string mRestriction{};  ///< why the inventory has only some of the adapters; empty if it has all
};

/// A way from a port of the host to a remote port that has LUNs, unless the state of one of the two rules it out.
struct Path
{
    HostPart const* mAdapter;
    HostPart const* mPort;  ///< null for a remote port that no port of the adapter discovered
    HostPart const* mRemotePort;
};

/// @return the value of a field as text; empty when it is absent
std::string fieldText(HostPart const& aPart, char const* aKey);

/// Whether the state of a port is known, and is neither ONLINE nor UNKNOWN.
bool isDown(HostPart const& aPort);

/// @return all paths, in the order of the inventory
std::vector<Path> pathsIn(HostPart const& aRoot);

/// Whether pathsIn() has all paths of the host.
bool arePathsKnown(HostPart const& aRoot);

/// Whether something about the part or its parts is unknown because it failed.
bool hasFailure(HostPart const& aPart);

/// @param aDocument what the verb inventory prints with --json
/// @param aName     name of the document for messages
/// @throws DocumentError
HostTree hostTreeOf(nlohmann::ordered_json const& aDocument, std::string const& aName);
}  // namespace qzagent
