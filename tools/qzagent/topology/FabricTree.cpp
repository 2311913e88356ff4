#include "tools/qzagent/topology/FabricTree.h"

#include <map>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/cli/Counted.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/hba/PortStates.h"
#include "tools/qzagent/topology/Topology.h"

namespace qzagent
{
namespace
{
/// What the ports of the host report about a remote port. They may contradict each other.
struct ReachedPort
{
    std::set<std::string> mStates;
    std::set<std::string> mSpeeds;
    std::set<std::string> mLuns;
    std::set<std::string> mFailures;
};

using ReachedPorts = std::map<std::string, ReachedPort>;

struct PortOfHost
{
    HostPart const* mAdapter;
    HostPart const* mPort;
};

void insertText(std::set<std::string>& aTexts, std::string const& aText)
{
    if (!aText.empty())
    {
        aTexts.insert(aText);
    }
}

/// Adds the remote ports of an adapter or of a port.
void addReached(ReachedPorts& aPorts, HostPart const& aOwner)
{
    for (HostPart const& part : aOwner.mParts)
    {
        if (part.mKind == PartKind::remotePort)
        {
            ReachedPort& port = aPorts[part.mName];
            insertText(port.mStates, fieldText(part, "state"));
            insertText(port.mSpeeds, fieldText(part, "speed"));
            insertText(port.mFailures, part.mFailure);
            for (HostPart const& lun : part.mParts)
            {
                port.mLuns.insert(lun.mName);
            }
        }
    }
}

/// @return the remote ports that are not below a port of the adapter
ReachedPorts reachedFrom(HostPart const& aOwner)
{
    ReachedPorts ports;
    addReached(ports, aOwner);
    return ports;
}

class FabricTree
{
public:
    explicit FabricTree(bool aColoured)
        : mTable({{"ITEM", Table::Fit::tree}, {"VALUE", Table::Fit::words}}, aColoured)
    {
    }

    void add(HostPart const& aAdapter)
    {
        bool hasPorts = false;
        for (HostPart const& part : aAdapter.mParts)
        {
            if (part.mKind == PartKind::port)
            {
                mFabrics[fieldText(part, "fabric_name")].push_back({&aAdapter, &part});
                hasPorts = true;
            }
        }
        if (!hasPorts || !aAdapter.mFailure.empty() || !reachedFrom(aAdapter).empty())
        {
            mOtherAdapters.push_back(&aAdapter);
        }
    }

    void addFailure(std::string const& aText, Table::Row aParent = nullptr)
    {
        if (!aText.empty())
        {
            addRow("failed", {aText, "red"}, aParent);
        }
    }

    std::string text()
    {
        for (auto const& [name, ports] : mFabrics)
        {
            if (!name.empty())
            {
                addFabric(name, ports);
            }
        }
        addOthers();
        return mTable.text();
    }

private:
    void addFabric(std::string const& aName, std::vector<PortOfHost> const& aPorts)
    {
        Table::Row const row = addRow("fabric", aName, nullptr);
        ReachedPorts reached;
        for (PortOfHost const& port : aPorts)
        {
            addPort(port, row);
            addReached(reached, *port.mPort);
        }
        addAll(reached, row);
    }

    /// Adds what is in no known fabric. Each remote port is below what reaches it.
    void addOthers()
    {
        std::vector<PortOfHost> const& ports = mFabrics[""];
        if (ports.empty() && mOtherAdapters.empty())
        {
            return;
        }
        Table::Row const row = addRow("fabric", {"none or unknown"}, nullptr);
        for (PortOfHost const& port : ports)
        {
            addAll(reachedFrom(*port.mPort), addPort(port, row));
        }
        for (HostPart const* const adapter : mOtherAdapters)
        {
            Table::Row const own =
                addRow("adapter", withCommas({adapter->mName, fieldText(*adapter, "model")}), row);
            addFailure(adapter->mFailure, own);
            addAll(reachedFrom(*adapter), own);
        }
    }

    Table::Row addPort(PortOfHost const& aPort, Table::Row aParent)
    {
        HostPart const& port = *aPort.mPort;
        std::string const state = fieldText(port, "state");
        std::string const name = port.mWwns.empty() ? "port " + port.mName : port.mName;
        Table::Row const row =
            addRow("adapter port",
                   {withCommas({name, aPort.mAdapter->mName, state, fieldText(port, "speed")}),
                    state.empty() ? nullptr : colourOfState(state)},
                   aParent);
        addFailure(port.mFailure, row);
        return row;
    }

    void addAll(ReachedPorts const& aPorts, Table::Row aParent)
    {
        for (auto const& [name, port] : aPorts)
        {
            std::string const states = fmt::format("{}", fmt::join(port.mStates, " or "));
            std::string const speeds = fmt::format("{}", fmt::join(port.mSpeeds, " or "));
            Table::Row const row =
                addRow("remote port",
                       {withCommas({name, states, speeds, counted(port.mLuns.size(), "LUN")}),
                        port.mStates.empty() ? nullptr : colourOfState(*port.mStates.begin())},
                       aParent);
            for (std::string const& failure : port.mFailures)
            {
                addFailure(failure, row);
            }
        }
    }

    Table::Row addRow(char const* aItem, Table::Cell const& aValue, Table::Row aParent)
    {
        return mTable.addRow({{aItem}, aValue}, aParent);
    }

    Table mTable;
    std::map<std::string, std::vector<PortOfHost>> mFabrics;  ///< by name; empty for no known name
    std::vector<HostPart const*> mOtherAdapters;              ///< those with something that no port has
};
}  // namespace

std::string fabricTreeOf(HostPart const& aHost, bool aColoured)
{
    if (aHost.mParts.empty() && aHost.mFailure.empty())
    {
        return {};
    }
    FabricTree tree(aColoured);
    tree.addFailure(aHost.mFailure);
    for (HostPart const& adapter : aHost.mParts)
    {
        tree.add(adapter);
    }
    return tree.text();
}
}  // namespace qzagent
