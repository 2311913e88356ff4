#include "simulator/scenario/Defaults.h"

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <iterator>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <hbaapi.h>

#include "simulator/scenario/Statistics.h"

namespace qzsim
{
namespace
{
using tomlfile::TomlValue;

constexpr char const* defaultName = "default";

/// A key and its default:
/// - a TOML value
/// - ^ and the path of the value that is the default, from the element around the one that has the key. {} stands for the
///   number of the board in that one.
/// - # and the name of the array whose number of elements is the default
/// - nothing: no single value is the default
struct Default
{
    std::string_view mKey;
    std::string_view mText;
};

constexpr Default defaults[] = {
    {"behaviour", R"("standard")"},
    {"number_of_adapters", "#adapter"},
    {"adapter", "[]"},
    {"diagnostics", "{}"},
    {"fault", "[]"},
    {"timeline", ""},
    {"adapter.manufacturer", R"("")"},
    {"adapter.serial_number", R"("")"},
    {"adapter.model", R"("")"},
    {"adapter.model_description", R"("")"},
    {"adapter.node_symbolic_name", R"("")"},
    {"adapter.hardware_version", R"("")"},
    {"adapter.driver_version", R"("")"},
    {"adapter.option_rom_version", R"("")"},
    {"adapter.firmware_version", R"("")"},
    {"adapter.driver_name", R"("")"},
    {"adapter.lun_style", R"("scsi")"},
    {"adapter.node_wwn", R"("00:00:00:00:00:00:00:00")"},
    {"adapter.vendor_specific_id", "0"},
    {"adapter.number_of_ports", "#port"},
    {"adapter.port", "[]"},
    {"adapter.event", "[]"},
    {"adapter.port.node_wwn", "^node_wwn"},
    {"adapter.port.fc_id", "0"},
    {"adapter.port.type", R"("NPORT")"},
    {"adapter.port.state", R"("ONLINE")"},
    {"adapter.port.supported_classes", "8"},
    {"adapter.port.supported_fc4_types", "[8]"},
    {"adapter.port.active_fc4_types", "[8]"},
    {"adapter.port.symbolic_name", R"("")"},
    {"adapter.port.os_device_name", R"("")"},
    {"adapter.port.supported_speeds", "[]"},
    {"adapter.port.speed", R"("UNKNOWN")"},
    {"adapter.port.max_frame_size", "2112"},
    {"adapter.port.fabric_name", R"("00:00:00:00:00:00:00:00")"},
    {"adapter.port.number_of_discovered_ports", "#remote"},
    {"adapter.port.remote", "[]"},
    {"adapter.port.statistics", ""},
    {"adapter.port.statistics_per_second", ""},
    {"adapter.port.fc4_statistics", ""},
    {"adapter.port.fc4_statistics_per_second", ""},
    {"adapter.port.remote.node_wwn", R"("00:00:00:00:00:00:00:00")"},
    {"adapter.port.remote.fc_id", "0"},
    {"adapter.port.remote.type", R"("NPORT")"},
    {"adapter.port.remote.state", R"("ONLINE")"},
    {"adapter.port.remote.supported_classes", "8"},
    {"adapter.port.remote.supported_fc4_types", "[8]"},
    {"adapter.port.remote.active_fc4_types", "[8]"},
    {"adapter.port.remote.symbolic_name", R"("")"},
    {"adapter.port.remote.os_device_name", R"("")"},
    {"adapter.port.remote.supported_speeds", "[]"},
    {"adapter.port.remote.speed", R"("UNKNOWN")"},
    {"adapter.port.remote.max_frame_size", "2112"},
    {"adapter.port.remote.fabric_name", "^fabric_name"},
    {"adapter.port.remote.role", R"("target")"},
    {"adapter.port.remote.luns", "[]"},
    {"adapter.port.remote.lun_addressing", R"("auto")"},
    {"adapter.port.remote.report_luns_minimum", "0"},
    {"adapter.port.remote.inquiry_vendor", R"("EXAMPLE")"},
    {"adapter.port.remote.inquiry_product", R"("SIMULATED DISK")"},
    {"adapter.port.remote.inquiry_revision", R"("1.0")"},
    {"adapter.port.remote.block_size", "512"},
    {"adapter.port.remote.blocks", "0x200000"},
    {"adapter.port.remote.lun", "[]"},
    {"adapter.port.remote.lun.inquiry_vendor", "^inquiry_vendor"},
    {"adapter.port.remote.lun.inquiry_product", "^inquiry_product"},
    {"adapter.port.remote.lun.inquiry_revision", "^inquiry_revision"},
    {"adapter.port.remote.lun.block_size", "^block_size"},
    {"adapter.port.remote.lun.blocks", "^blocks"},
    {"adapter.port.remote.lun.os_device", ""},
    {"adapter.port.remote.lun.luid", R"("")"},
    {"adapter.port.remote.lun.mapped", "true"},
    {"adapter.port.remote.lun.fcp_statistics", ""},
    {"adapter.port.remote.lun.fcp_statistics_per_second", ""},
    {"adapter.event.port_wwn", "^port[0].port_wwn"},
    {"adapter.event.remote_wwn", ""},
    {"adapter.event.fabric_port_id", "0"},
    {"adapter.event.payload", R"("")"},
    {"adapter.event.at_ms", "0"},
    {"adapter.event.rate", "1000"},
    {"adapter.event.count", "1"},
    {"diagnostics.library_version", R"("1.0.0")"},
    {"diagnostics.driver_version", R"("1.0.0")"},
    {"diagnostics.record_version", "4"},
    {"diagnostics.required_record_version", ""},
    {"diagnostics.library", R"("present")"},
    {"diagnostics.missing_functions", "[]"},
    {"diagnostics.feature_list", "0x100"},
    {"diagnostics.board", "[]"},
    {"diagnostics.number_of_boards", "#board"},
    {"diagnostics.event", "[]"},
    {"diagnostics.event.port_wwn", "^board[{}].second_wwn"},
    {"diagnostics.event.payload", R"("")"},
    {"diagnostics.event.size", ""},
    {"diagnostics.event.at_ms", "0"},
    {"diagnostics.event.rate", "1000"},
    {"diagnostics.event.count", "1"},
    {"fault.name", R"("")"},
    {"fault.active", "true"},
    {"fault.adapter", ""},
    {"fault.port_wwn", ""},
    {"fault.board", ""},
    {"fault.status", ""},
    {"fault.result", ""},
    {"fault.untouched", "false"},
    {"fault.sense_key", ""},
    {"fault.asc", ""},
    {"fault.ascq", ""},
    {"fault.count", ""},
    {"fault.entries", ""},
    {"fault.missing", "0"},
    {"fault.list_length", ""},
    {"fault.length", ""},
    {"fault.garbage", "false"},
    {"fault.zeros", "false"},
    {"fault.delay_ms", "0"},
    {"fault.hangs", "false"},
    {"fault.prints", R"("")"},
};

constexpr Default counterTables[] = {
    {"adapter.port.statistics", R"("not offered")"},
    {"adapter.port.statistics_per_second", "0"},
    {"adapter.port.fc4_statistics", R"("not offered")"},
    {"adapter.port.fc4_statistics_per_second", "0"},
    {"adapter.port.remote.lun.fcp_statistics", R"("not offered")"},
    {"adapter.port.remote.lun.fcp_statistics_per_second", "0"},
};

template <typename Defaults>
Default const* entryNamed(std::string_view aKey, Defaults const& aDefaults)
{
    auto const found = std::find_if(std::begin(aDefaults), std::end(aDefaults),
                                    [aKey](Default const& aEntry) { return aEntry.mKey == aKey; });
    return found == std::end(aDefaults) ? nullptr : &*found;
}

template <typename Record>
bool isCounterOf(std::string_view aName)
{
    auto const& all = CountersOf<Record>::all;
    return std::any_of(std::begin(all), std::end(all),
                       [aName](auto const& aCounter) { return aCounter.mName == aName; });
}

/// @param aKey with the names of the tables around it, and dots between them
/// @return its entry; null when scenarios have no such key
Default const* defaultOf(std::string_view aKey)
{
    std::size_t const dot = aKey.rfind('.');
    if (dot == std::string_view::npos)
    {
        return entryNamed(aKey, defaults);
    }
    std::string_view const name = aKey.substr(dot + 1);
    Default const* const table = entryNamed(aKey.substr(0, dot), counterTables);
    if (table == nullptr)
    {
        return entryNamed(aKey, defaults);
    }
    bool const isOfPort = table->mKey.find(".statistics") != std::string_view::npos;
    return (isOfPort ? isCounterOf<HBA_PORTSTATISTICS>(name) : isCounterOf<HBA_FC4STATISTICS>(name))
               ? table
               : nullptr;
}

/// @return the path without the positions in brackets
std::string withoutPositions(std::string_view aPath)
{
    std::string text;
    bool isPosition = false;
    for (char const character : aPath)
    {
        isPosition = isPosition || character == '[';
        text.append(isPosition ? 0 : 1, character);
        isPosition = isPosition && character != ']';
    }
    return text;
}

std::size_t sizeOfArray(TomlValue const* aArray)
{
    return aArray == nullptr ? 0 : aArray->as<TomlValue::Array>("an array").size();
}

TomlValue valueOf(std::string_view aText)
{
    TomlValue const tree = tomlfile::readToml(defaultName, fmt::format("value = {}", aText));
    return *tree.find("value");
}
}  // namespace

TomlValue valueOrDefault(ValuePath const& aPath, TomlValue const& aTree)
{
    if (TomlValue const* const value = aPath.find(aTree))
    {
        return *value;
    }
    std::string const path = aPath.resolved(aTree);
    std::string const element = path.substr(0, path.rfind(']') + 1);  // empty for the scenario itself
    if (!element.empty() && ValuePath(aPath.place(), element).find(aTree) == nullptr)
    {
        aPath.refuseMissing();
    }
    Default const* const entry = defaultOf(withoutPositions(path));
    if (entry == nullptr)
    {
        aPath.refuse("names no key of a scenario");
    }
    std::string_view const text = entry->mText;
    if (text.empty())
    {
        aPath.refuseMissing();
    }
    std::string_view const rest = text.substr(1);
    if (text.front() == '#')
    {
        ValuePath const array(aPath.place(), path.substr(0, path.rfind('.') + 1).append(rest));
        return {defaultName, static_cast<TomlValue::Number>(sizeOfArray(array.find(aTree)))};
    }
    if (text.front() == '^')
    {
        std::string const around = element.substr(0, element.rfind('.'));
        TomlValue const* const board = ValuePath(aPath.place(), element + ".board").find(aTree);
        std::string const target =
            fmt::format(fmt::runtime(rest), board == nullptr ? 0 : board->as<TomlValue::Number>("a number"));
        return valueOrDefault({aPath.place(), fmt::format("{}.{}", around, target)}, aTree);
    }
    return valueOf(text);
}
}  // namespace qzsim
