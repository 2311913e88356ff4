#include "tools/qzagent/inventory/InventoryTree.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/LogicalUnit.h"
#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/hba/PortStates.h"
#include "tools/qzagent/inventory/DeviceRanges.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
namespace
{
constexpr char const* nameOfPort = "port_wwn";

class Tree
{
public:
    Tree(bool aHasHeading, bool aHasUnits, bool aColoured)
        : mHasUnits(aHasUnits), mTable({{"ITEM", Table::Fit::tree}, {"VALUE", Table::Fit::words}}, aColoured)
    {
        if (!aHasHeading)
        {
            mTable.hideNames();
        }
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

    std::string text() { return mTable.text(); }

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
        Luns const mapped = lunsOf(aLuns.mMapped);
        if (aLuns.mReported)
        {
            addRow("luns", textOf(*aLuns.mReported), aParent);
        }
        if (aLuns.mReported && !aLuns.mAreMappedRaw)
        {
            addDifference("not mapped", without(*aLuns.mReported, mapped), aParent);
            addDifference("not reported", without(mapped, *aLuns.mReported), aParent);
        }
        else
        {
            addRow(aLuns.mAreMappedRaw ? "mapped luns (FcpLun)" : "mapped luns", textOf(mapped), aParent);
        }
        mHasUnits ? addUnits(aLuns.mMapped, aParent) : addDevices(aLuns.mMapped, aParent);
    }

    void addDevices(std::vector<MappedLun> const& aMapped, Table::Row aParent)
    {
        std::string const devices = textOfDevices(aMapped);
        if (!devices.empty())
        {
            addRow("os devices", devices, aParent);
        }
    }

    /// Adds a row for each LUN.
    void addUnits(std::vector<MappedLun> const& aMapped, Table::Row aParent)
    {
        for (MappedLun const& lun : aMapped)
        {
            std::string const unit = textOfUnit(lun.mUnit);
            std::string const separator = lun.mDevice.empty() || unit.empty() ? "" : ", ";
            std::string const text = lun.mDevice + separator + unit;
            Table::Row const row =
                addRow("lun " + textOf(Luns{lun.mLun}), text.empty() ? "-" : text, aParent);
            addFailures(lun.mFailures, row);
        }
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
        for (char const* const key :
             {nameOfPort, "speed_bits", "supported_speeds_bits", "supported_classes_bits"})
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
            addRow(item, {valueText(value), name == "state" ? colourOfState(value) : nullptr}, aParent);
        }
    }

    void addFailures(std::vector<Failure> const& aFailures, Table::Row aParent)
    {
        for (Failure const& failure : aFailures)
        {
            Table::Row const row = addRow("failed", {textOf(failure), "red"}, aParent);
            if (failure.mCause)
            {
                addRow("cause", failure.mCause->mText, row);
            }
        }
    }

    Table::Row addRow(std::string const& aItem, Table::Cell const& aValue, Table::Row aParent)
    {
        return mTable.addRow({aItem, aValue}, aParent);
    }

    bool const mHasUnits;
    Table mTable;
};
}  // namespace

std::string treeOf(std::vector<FoundAdapter> const& aAdapters, std::size_t aFirst, bool aHasUnits,
                   bool aColoured)
{
    Tree tree(aFirst == 0, aHasUnits, aColoured);
    for (std::size_t i = aFirst; i < aAdapters.size(); ++i)
    {
        tree.add(aAdapters[i]);
    }
    return tree.text();
}
}  // namespace qzagent
