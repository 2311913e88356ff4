#include "tools/qzagent/inventory/InventoryTree.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
namespace
{
constexpr char const* nameOfPort = "port_wwn";

class Tree
{
public:
    explicit Tree(bool aColoured)
        : mTable({{"ITEM", Table::Fit::tree}, {"VALUE", Table::Fit::wrapped}}, aColoured)
    {
    }

    void add(FoundAdapter const& aAdapter)
    {
        Table::Row const row = addRow(fmt::format("adapter {}", aAdapter.mIndex), aAdapter.mName, nullptr);
        if (aAdapter.mFields)
        {
            addFields(*aAdapter.mFields, row);
        }
        addFailures(aAdapter.mFailures, row);
        for (std::size_t index = 0; index < aAdapter.mPorts.size(); ++index)
        {
            add(index, aAdapter.mPorts[index], row);
        }
        add(aAdapter.mRemotePorts, row);
    }

    std::string text() const { return mTable.text(); }

private:
    void add(std::size_t aIndex, Port const& aPort, Table::Row aParent)
    {
        Table::Row const row = addPort(fmt::format("port {}", aIndex), aPort.mFields, aParent);
        addFailures(aPort.mFailures, row);
        add(aPort.mRemotePorts, row);
    }

    void add(RemotePorts const& aPorts, Table::Row aParent)
    {
        if (!aPorts)
        {
            return;
        }
        for (RemotePort const& port : *aPorts)
        {
            Table::Row const row = addPort("remote port", port.mFields, aParent);
            if (port.mLuns)
            {
                addLuns(*port.mLuns, row);
            }
            addFailures(port.mFailures, row);
        }
    }

    /// Adds the LUNs that the target reports, and the differences from the mapped LUNs.
    void addLuns(TargetLuns const& aLuns, Table::Row aParent)
    {
        if (!aLuns.mReported)
        {
            addRow("mapped luns", textOf(aLuns.mMapped), aParent);
            return;
        }
        addRow("luns", textOf(*aLuns.mReported), aParent);
        addDifference("not mapped", without(*aLuns.mReported, aLuns.mMapped), aParent);
        addDifference("not reported", without(aLuns.mMapped, *aLuns.mReported), aParent);
    }

    void addDifference(char const* aItem, Luns const& aLuns, Table::Row aParent)
    {
        if (!aLuns.empty())
        {
            addRow(aItem, {textOf(aLuns), "yellow"}, aParent);
        }
    }

    /// Adds a port, with its name as the value of its row.
    Table::Row addPort(std::string const& aItem, Fields const& aFields, Table::Row aParent)
    {
        Table::Row const row = addRow(aItem, valueText(aFields, nameOfPort), aParent);
        Fields others = aFields;
        for (char const* const key : {nameOfPort, "speed_bits", "supported_speeds_bits"})
        {
            others.erase(key);
        }
        addFields(others, row);
        return row;
    }

    void addFields(Fields const& aFields, Table::Row aParent)
    {
        for (auto const& [name, value] : aFields.items())
        {
            std::string item = name;
            std::replace(item.begin(), item.end(), '_', ' ');
            addRow(item, valueText(value), aParent);
        }
    }

    void addFailures(std::vector<Failure> const& aFailures, Table::Row aParent)
    {
        for (Failure const& failure : aFailures)
        {
            addRow("failed", {textOf(failure), "red"}, aParent);
        }
    }

    Table::Row addRow(std::string const& aItem, Table::Cell const& aValue, Table::Row aParent)
    {
        return mTable.addRow({aItem, aValue}, aParent);
    }

    Table mTable;
};
}  // namespace

std::string treeOf(std::vector<FoundAdapter> const& aAdapters, bool aColoured)
{
    Tree tree(aColoured);
    for (FoundAdapter const& adapter : aAdapters)
    {
        tree.add(adapter);
    }
    return tree.text();
}
}  // namespace qzagent
