#include "tools/qzagent/documents/HostTree.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/hba/HbaFields.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;
using Value = DocumentValue;

bool endsWith(std::string const& aText, std::string const& aEnd)
{
    return aText.size() >= aEnd.size() && aText.compare(aText.size() - aEnd.size(), aEnd.size(), aEnd) == 0;
}

/// Takes the values of an object except those that identify it, that are shown as its parts, or that repeat
/// another value in its raw form.
std::map<std::string, Json> fieldsOf(Value const& aObject, std::set<std::string> const& aOthers)
{
    std::map<std::string, Json> fields;
    for (auto const& [key, value] : aObject.json().items())
    {
        if (aOthers.count(key) == 0 && !endsWith(key, "_bits"))
        {
            fields.emplace(key, value);
        }
    }
    return fields;
}

/// @return the text of a cause without the number of the call, which differs between equal failures
std::string textOfCause(Value const& aCause)
{
    std::string text = aCause.at("text").text();
    if (aCause.has("call"))
    {
        std::string const call = fmt::format(" in call {},", aCause.at("call").number());
        if (std::size_t const place = text.find(call); place != std::string::npos)
        {
            text.replace(place, call.size(), ",");
        }
    }
    return text;
}

/// Whether the answer of the call was wrong although the call succeeded. The text of the failure says what was wrong.
bool isOfAnswer(Value const& aFailure)
{
    Value const cause = aFailure.at("cause");
    return cause.has("status") && cause.at("status").json() == 0 &&
           aFailure.at("text").text().find(cause.at("function").text()) == std::string::npos;
}

/// @return the text of the first failure of an object; empty when there is none
std::string failureOf(Value const& aObject)
{
    std::vector<Value> const failures = aObject.listAt("failures");
    if (failures.empty())
    {
        return {};
    }
    Value const& first = failures.front();
    return first.has("cause") && !isOfAnswer(first) ? textOfCause(first.at("cause"))
                                                    : first.at("text").text();
}

void addWwn(HostPart& aPart, std::optional<std::string> const& aWwn)
{
    if (aWwn)
    {
        aPart.mWwns.insert(*aWwn);
    }
}

HostPart lunNamed(std::string const& aName)
{
    HostPart lun;
    lun.mKind = PartKind::lun;
    lun.mName = aName;
    lun.mSubstitute = aName;
    return lun;
}

/// Joins the elements of a LUN with several devices.
void addUnit(HostPart& aLun, Value const& aUnit)
{
    for (auto& [key, value] : fieldsOf(aUnit, {"lun", "os_device", "failures"}))
    {
        aLun.mFields.emplace(key, std::move(value));
    }
    if (aLun.mFailure.empty())
    {
        aLun.mFailure = failureOf(aUnit);
    }
    if (std::optional<std::string> const device = aUnit.textAt("os_device"))
    {
        Json& devices = aLun.mFields["os_device"];
        devices.push_back(*device);
        std::sort(devices.begin(), devices.end());
    }
}

/// Whether the mapped LUNs are digits of an unknown form, which say nothing about the reported LUNs.
bool hasRawLuns(Value const& aRemotePort) { return aRemotePort.textAt("mapped_luns_form") == "raw"; }

/// @return the LUNs that the target reported or that are mapped
/// @param aAreMappingsKnown if not, LUNs that seem not to be mapped may be, and may have more devices
std::vector<HostPart> lunsOf(Value const& aRemotePort, bool aAreMappingsKnown)
{
    bool const areComparable = !hasRawLuns(aRemotePort);
    std::map<std::string, HostPart> luns;
    auto const lunAt = [&luns](Value const& aValue) -> HostPart&
    {
        std::string const name = aValue.lun();
        return luns.emplace(name, lunNamed(name)).first->second;
    };
    for (Value const& lun : aRemotePort.listAt("mapped_luns"))
    {
        lunAt(lun).mFields["mapped"] = true;
    }
    for (Value const& lun : aRemotePort.listAt("reported_luns"))
    {
        lunAt(lun).mFields["reported"] = true;
    }
    for (Value const& unit : aRemotePort.listAt("luns"))
    {
        addUnit(lunAt(unit.at("lun")), unit);
    }
    std::vector<HostPart> parts;
    for (auto& [name, lun] : luns)
    {
        lun.mAreFieldsKnown = areComparable && aAreMappingsKnown;
        if (lun.mAreFieldsKnown)
        {
            lun.mFields.emplace("mapped", false);
        }
        if (!aAreMappingsKnown)
        {
            lun.mFields.erase("os_device");
        }
        if (areComparable && aRemotePort.has("reported_luns"))
        {
            lun.mFields.emplace("reported", false);
        }
        parts.push_back(std::move(lun));
    }
    return parts;
}

/// @param aAreMappingsKnown whether the adapter provided all its target mappings
HostPart remotePortOf(Value const& aRemotePort, bool aAreMappingsKnown)
{
    HostPart part;
    part.mKind = PartKind::remotePort;
    part.mName = aRemotePort.at("port_wwn").text();
    part.mWwns.insert(part.mName);
    part.mTarget = aRemotePort.textAt("node_wwn").value_or(part.mName);
    part.mFields = fieldsOf(
        aRemotePort, {"port_wwn", "mapped_luns", "mapped_luns_form", "reported_luns", "luns", "failures"});
    part.mParts = lunsOf(aRemotePort, aAreMappingsKnown);
    part.mFailure = failureOf(aRemotePort);
    if (part.mFailure.empty() && hasRawLuns(aRemotePort))
    {
        part.mFailure = "the mapped LUNs have no known form";
    }
    part.mArePartsKnown = aAreMappingsKnown && part.mFailure.empty();
    return part;
}

void addRemotePorts(HostPart& aPart, Value const& aOwner, bool aAreMappingsKnown)
{
    for (Value const& remotePort : aOwner.listAt("remote_ports"))
    {
        aPart.mParts.push_back(remotePortOf(remotePort, aAreMappingsKnown));
    }
}

/// Adds the targets that no port discovered. Unless all ports could discover, their type and state are unknown.
void addUndiscovered(HostPart& aPart, Value const& aAdapter, bool aAreMappingsKnown)
{
    std::vector<Value> const ports = aAdapter.listAt("ports");
    bool const haveAllDiscovered =
        std::all_of(ports.begin(), ports.end(),
                    [](Value const& aPort) { return aPort.has("remote_ports") && !aPort.has("failures"); });
    std::size_t const before = aPart.mParts.size();
    addRemotePorts(aPart, aAdapter, aAreMappingsKnown);
    for (std::size_t i = before; i < aPart.mParts.size(); ++i)
    {
        aPart.mParts[i].mAreFieldsKnown = haveAllDiscovered;
    }
}

HostPart portOf(Value const& aPort, bool aAreMappingsKnown)
{
    HostPart part;
    part.mKind = PartKind::port;
    std::optional<std::string> const wwn = aPort.textAt("port_wwn");
    part.mSubstitute = aPort.at("index").json().dump();
    part.mName = wwn.value_or(part.mSubstitute);
    addWwn(part, wwn);
    part.mFields = fieldsOf(aPort, {"index", "port_wwn", "remote_ports", "failures"});
    part.mFailure = failureOf(aPort);
    part.mArePartsKnown = aPort.has("remote_ports") && part.mFailure.empty();
    part.mArePathsKnown = aAreMappingsKnown && part.mArePartsKnown;
    addRemotePorts(part, aPort, aAreMappingsKnown);
    return part;
}

/// Whether each target is placed below every port that reaches it, or, because no port can discover, below the adapter.
bool haveAlikeDiscovered(Value const& aAdapter, HostPart const& aPart)
{
    std::vector<Value> const ports = aAdapter.listAt("ports");
    bool const canNoneDiscover =
        std::none_of(ports.begin(), ports.end(),
                     [](Value const& aPort) { return aPort.has("remote_ports") || aPort.has("failures"); });
    return canNoneDiscover || std::all_of(aPart.mParts.begin(), aPart.mParts.end(),
                                          [](HostPart const& aPort) { return aPort.mArePathsKnown; });
}

HostPart adapterOf(Value const& aAdapter)
{
    HostPart part;
    part.mKind = PartKind::adapter;
    part.mName = aAdapter.at("name").text();
    part.mSubstitute = part.mName;
    part.mFailure = failureOf(aAdapter);
    // An adapter without ports has no list of them.
    part.mArePartsKnown = aAdapter.has("ports") || (aAdapter.has("attributes") && part.mFailure.empty());
    if (aAdapter.has("attributes"))
    {
        Value const attributes = aAdapter.at("attributes");
        addWwn(part, attributes.textAt("node_wwn"));
        part.mFields = fieldsOf(attributes, {});
        for (char const* const key : {"node_wwn", "serial_number"})
        {
            if (attributes.has(key))
            {
                part.mIdentity.emplace(key, attributes.at(key).json());
            }
        }
    }
    // Mappings of which some name no port are there, but incomplete.
    bool const areMappingsKnown = aAdapter.has("remote_ports") && part.mFailure.empty();
    for (Value const& port : aAdapter.listAt("ports"))
    {
        part.mParts.push_back(portOf(port, areMappingsKnown));
        addWwn(part, port.textAt("port_wwn"));
    }
    if (!part.mWwns.empty())
    {
        part.mFields.emplace("name", part.mName);
    }
    if (part.mParts.size() == 1)
    {
        // What the adapter reaches, an only port reaches.
        part.mParts.front().mArePathsKnown = areMappingsKnown;
        addUndiscovered(part.mParts.front(), aAdapter, areMappingsKnown);
    }
    else
    {
        addUndiscovered(part, aAdapter, areMappingsKnown);
    }
    part.mArePathsKnown = areMappingsKnown && part.mArePartsKnown && haveAlikeDiscovered(aAdapter, part);
    return part;
}

/// @return the first error that concerns no adapter; empty when there is none
std::string failureOfHost(Value const& aDocument)
{
    for (Value const& message : aDocument.listAt("messages"))
    {
        if (message.at("severity").json() == "error" && !message.has("adapter"))
        {
            return message.at("text").text();
        }
    }
    return {};
}

std::map<std::string, std::string> unusedLibrariesIn(Value const& aDocument)
{
    std::map<std::string, std::string> libraries;
    for (Value const& message : aDocument.listAt("messages"))
    {
        if (std::optional<std::string> const library = message.textAt("library"))
        {
            libraries.emplace(*library, message.at("text").text());
        }
    }
    return libraries;
}

void addPath(std::vector<Path>& aPaths, Path const& aPath)
{
    bool const isPortDown = aPath.mPort != nullptr && isDown(*aPath.mPort);
    if (aPath.mRemotePort->mKind == PartKind::remotePort && !aPath.mRemotePort->mParts.empty() &&
        !isPortDown && !isDown(*aPath.mRemotePort))
    {
        aPaths.push_back(aPath);
    }
}

bool hasUnits(HostPart const& aPart)
{
    return aPart.mFields.count("device_type") > 0 ||
           std::any_of(aPart.mParts.begin(), aPart.mParts.end(), hasUnits);
}
}  // namespace

std::string fieldText(HostPart const& aPart, char const* aKey)
{
    auto const found = aPart.mFields.find(aKey);
    return found == aPart.mFields.end() ? "" : valueText(found->second);
}

bool isDown(HostPart const& aPort)
{
    std::string const state = fieldText(aPort, "state");
    return !state.empty() && state != "ONLINE" && state != "UNKNOWN";
}

std::vector<Path> pathsIn(HostPart const& aRoot)
{
    std::vector<Path> paths;
    for (HostPart const& adapter : aRoot.mParts)
    {
        for (HostPart const& part : adapter.mParts)
        {
            addPath(paths, {&adapter, nullptr, &part});
            for (HostPart const& remotePort : part.mParts)
            {
                addPath(paths, {&adapter, &part, &remotePort});
            }
        }
    }
    return paths;
}

bool arePathsKnown(HostPart const& aRoot)
{
    return aRoot.mArePartsKnown &&
           std::all_of(aRoot.mParts.begin(), aRoot.mParts.end(),
                       [](HostPart const& aAdapter) { return aAdapter.mArePathsKnown; });
}

bool hasFailure(HostPart const& aPart)
{
    return !aPart.mFailure.empty() || std::any_of(aPart.mParts.begin(), aPart.mParts.end(), hasFailure);
}

HostTree hostTreeOf(nlohmann::ordered_json const& aDocument, std::string const& aName)
{
    Value const document = documentOf("inventory", aDocument, aName);
    document.at("adapters");
    HostPart root;
    root.mFailure = failureOfHost(document);
    std::optional<std::string> const wanted = document.textAt("only_adapter");
    std::string const restriction = wanted ? fmt::format("only adapter {} was read", *wanted) : "";
    root.mArePartsKnown = root.mFailure.empty() && restriction.empty();
    for (Value const& adapter : document.listAt("adapters"))
    {
        root.mParts.push_back(adapterOf(adapter));
    }
    bool const areUnitsKnown = hasUnits(root);
    return {document.at("host").text(),
            document.at("generated_at").text(),
            areUnitsKnown,
            std::move(root),
            unusedLibrariesIn(document),
            restriction};
}
}  // namespace qzagent
