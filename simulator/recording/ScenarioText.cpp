#include "simulator/recording/ScenarioText.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <hbaapi.h>

#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "simulator/library/Redirection.h"
#include "simulator/recording/Values.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/PortAttributes.h"
#include "simulator/scenario/Scsi.h"

namespace qzsim
{
namespace
{
using Bytes = std::vector<std::uint8_t>;

/// Calls of a function that failed one after another.
struct SeenFault
{
    std::string mFunction;
    std::string mAdapter;
    Bytes mTarget;       ///< of a SCSI command; otherwise empty
    std::size_t mFirst;  ///< counted among the calls for the adapter and the target
    std::size_t mLast;
    std::uint32_t mStatus;
    Bytes mSense;
};

/// What the calls have shown of a port.
struct SeenPort
{
    std::optional<HBA_PORTATTRIBUTES> mAttributes;
    std::optional<HBA_PORTSTATISTICS> mStatistics;
    std::map<std::uint32_t, HBA_PORTATTRIBUTES> mRemotePorts;
};

struct SeenAdapter
{
    std::string mName;
    std::optional<HBA_ADAPTERATTRIBUTES> mAttributes;
    std::map<std::uint32_t, SeenPort> mPorts;
    std::vector<HBA_FCPSCSIENTRY> mMappings;
    std::map<Bytes, Bytes> mInquiries;   ///< by the name of the target and the bytes of the LUN
    std::map<Bytes, Bytes> mCapacities;  ///< the same
};

Bytes bytesOf(Json const& aObject, char const* aName)
{
    auto const found = aObject.find(aName);
    return found != aObject.end() && found->is_binary() ? Bytes(found->get_binary()) : Bytes();
}

template <typename Value>
Value valueOf(Json const& aObject, char const* aName)
{
    Value value{};
    auto const found = aObject.find(aName);
    if (found != aObject.end())
    {
        readValue(*found, value);
    }
    return value;
}

std::string textOfValue(Json const& aObject, char const* aName)
{
    auto const found = aObject.find(aName);
    return found != aObject.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// @return the text as TOML, with a question mark for each character that a scenario cannot have
std::string quotedText(std::string_view aText)
{
    std::string text = "\"";
    for (char const character : aText)
    {
        if (character == '"' || character == '\\')
        {
            text += '\\';
        }
        text += isPlainText({&character, 1}) ? character : '?';
    }
    return text + '"';
}

template <std::size_t size>
std::string_view textIn(char const (&aField)[size])
{
    return {aField, ::strnlen(aField, size)};
}

std::string nameText(unsigned char const* aBytes)
{
    return fmt::format("\"{:02x}\"", fmt::join(aBytes, aBytes + sizeof HBA_WWN::wwn, ":"));
}

bool isNoName(HBA_WWN const& aName)
{
    return std::all_of(std::begin(aName.wwn), std::end(aName.wwn),
                       [](HBA_UINT8 aByte) { return aByte == 0; });
}

/// @return the name of the value, or the number for one without a name
template <typename Value, std::size_t count>
std::string namedText(Value aValue, tomlfile::Named<Value> const (&aTable)[count])
{
    auto const found =
        std::find_if(std::begin(aTable), std::end(aTable),
                     [=](tomlfile::Named<Value> const& aEntry) { return aEntry.mValue == aValue; });
    return found == std::end(aTable) ? std::to_string(aValue) : quotedText(found->mName);
}

std::string fc4TypesText(HBA_FC4TYPES const& aTypes)
{
    std::vector<std::uint32_t> types;
    for (std::uint32_t type = 0; type < sizeof aTypes.bits * CHAR_BIT; ++type)
    {
        HBA_FC4TYPES one{};
        addFc4Type(one, type);
        bool isThere = false;
        for (std::size_t i = 0; i < sizeof one.bits; ++i)
        {
            isThere = isThere || (one.bits[i] & aTypes.bits[i]) != 0;
        }
        if (isThere)
        {
            types.push_back(type);
        }
    }
    return fmt::format("[{}]", fmt::join(types, ", "));
}

/// @return a list of the bits of the number
std::string bitsText(std::uint32_t aNumber)
{
    std::vector<std::string> bits;
    for (std::uint32_t bit = 1; bit != 0; bit <<= 1U)
    {
        if ((aNumber & bit) != 0)
        {
            bits.push_back(fmt::format("0x{:x}", bit));
        }
    }
    return fmt::format("[{}]", fmt::join(bits, ", "));
}

/// Builds the text.
class Writer
{
public:
    void table(std::string_view aName) { mText += fmt::format("\n[[{}]]\n", aName); }
    void single(std::string_view aName) { mText += fmt::format("\n[{}]\n", aName); }
    void key(std::string_view aName, std::string const& aValue)
    {
        mText += fmt::format("{} = {}\n", aName, aValue);
    }
    void comment(std::string_view aText) { mText += fmt::format("# {}\n", aText); }

    void text(std::string_view aName, std::string_view aValue)
    {
        if (!aValue.empty())
        {
            key(aName, quotedText(aValue));
        }
    }

    void name(std::string_view aName, HBA_WWN const& aValue)
    {
        if (!isNoName(aValue))
        {
            key(aName, nameText(aValue.wwn));
        }
    }

    /// The keys that ports and remote ports have in common.
    void port(HBA_PORTATTRIBUTES const& aPort)
    {
        key("port_wwn", nameText(aPort.PortWWN.wwn));
        key("node_wwn", nameText(aPort.NodeWWN.wwn));
        key("fc_id", fmt::format("0x{:06x}", aPort.PortFcId & highestFcId));
        key("type", namedText(aPort.PortType, portTypes));
        key("state", namedText(aPort.PortState, portStates));
        key("supported_classes", std::to_string(aPort.PortSupportedClassofService));
        key("supported_fc4_types", fc4TypesText(aPort.PortSupportedFc4Types));
        key("active_fc4_types", fc4TypesText(aPort.PortActiveFc4Types));
        text("symbolic_name", textIn(aPort.PortSymbolicName));
        text("os_device_name", textIn(aPort.OSDeviceName));
        key("supported_speeds", bitsText(aPort.PortSupportedSpeed));
        key("speed", fmt::format("0x{:x}", aPort.PortSpeed));
        key("max_frame_size", std::to_string(aPort.PortMaxFrameSize));
        key("fabric_name", nameText(aPort.FabricName.wwn));
    }

    std::string const& content() const { return mText; }

private:
    std::string mText;
};

/// Collects what the calls have shown.
class Survey
{
public:
    explicit Survey(Recording const& aRecording)
    {
        for (RecordedCall const& call : aRecording.calls())
        {
            if (call.mLibrary != vendorLibraryPath)
            {
                take(call);
            }
        }
    }

    std::vector<SeenAdapter> const& adapters() const { return mAdapters; }

    std::vector<SeenFault> const& faults() const { return mFaults; }

private:
    SeenAdapter& adapterNamed(std::string const& aName)
    {
        auto const found = std::find_if(mAdapters.begin(), mAdapters.end(),
                                        [&](SeenAdapter const& aAdapter) { return aAdapter.mName == aName; });
        return found == mAdapters.end() ? mAdapters.emplace_back(SeenAdapter{aName, {}, {}, {}, {}, {}})
                                        : *found;
    }

    void take(RecordedCall const& aCall)
    {
        std::uint32_t const returned = aCall.mReturned.value_or(0);
        if (aCall.mFunction == "HBA_OpenAdapter")
        {
            if (returned != HBA_HANDLE_INVALID)
            {
                mOpen[{aCall.mLibrary, returned}] = textOfValue(aCall.mArguments, "name");
            }
            return;
        }
        if (aCall.mFunction == "HBA_GetAdapterName" && returned == HBA_STATUS_OK)
        {
            adapterNamed(textOfValue(aCall.mResults, "name"));
            return;
        }
        auto const open = mOpen.find({aCall.mLibrary, valueOf<std::uint32_t>(aCall.mArguments, "handle")});
        if (open == mOpen.end() || !aCall.mArguments.contains("handle"))
        {
            return;
        }
        Bytes const target = bytesOf(aCall.mArguments, "target");
        std::size_t const number = ++mCounts[{aCall.mFunction, open->second, target}];
        // The number of mappings is found by a call with too little room.
        if (returned == HBA_STATUS_OK || returned == HBA_STATUS_ERROR_MORE_DATA)
        {
            takeAnswer(aCall, adapterNamed(open->second));
        }
        else
        {
            addFault({aCall.mFunction, open->second, target, number, number, returned,
                      bytesOf(aCall.mResults, "sense")});
        }
    }

    void addFault(SeenFault const& aFault)
    {
        auto const isBefore = [&](SeenFault const& aOther)
        {
            return aOther.mLast + 1 == aFault.mFirst && aOther.mFunction == aFault.mFunction &&
                   aOther.mAdapter == aFault.mAdapter && aOther.mTarget == aFault.mTarget &&
                   aOther.mStatus == aFault.mStatus && aOther.mSense == aFault.mSense;
        };
        auto const before = std::find_if(mFaults.rbegin(), mFaults.rend(), isBefore);
        if (before == mFaults.rend())
        {
            mFaults.push_back(aFault);
        }
        else
        {
            before->mLast = aFault.mLast;
        }
    }

    static void takeAnswer(RecordedCall const& aCall, SeenAdapter& aAdapter)
    {
        SeenPort* const port = aCall.mArguments.contains("port") && aCall.mArguments["port"].is_number()
                                   ? &aAdapter.mPorts[valueOf<std::uint32_t>(aCall.mArguments, "port")]
                                   : nullptr;
        if (aCall.mFunction == "HBA_GetAdapterAttributes")
        {
            aAdapter.mAttributes = valueOf<HBA_ADAPTERATTRIBUTES>(aCall.mResults, "attributes");
        }
        else if (aCall.mFunction == "HBA_GetAdapterPortAttributes" && port != nullptr)
        {
            port->mAttributes = valueOf<HBA_PORTATTRIBUTES>(aCall.mResults, "attributes");
        }
        else if (aCall.mFunction == "HBA_GetDiscoveredPortAttributes" && port != nullptr)
        {
            port->mRemotePorts[valueOf<std::uint32_t>(aCall.mArguments, "discovered_port")] =
                valueOf<HBA_PORTATTRIBUTES>(aCall.mResults, "attributes");
        }
        else if (aCall.mFunction == "HBA_GetPortStatistics" && port != nullptr)
        {
            port->mStatistics = valueOf<HBA_PORTSTATISTICS>(aCall.mResults, "statistics");
        }
        else if (aCall.mFunction == "HBA_GetFcpTargetMapping" && aCall.mResults.contains("mappings"))
        {
            aAdapter.mMappings.clear();
            for (Json const& entry : aCall.mResults["mappings"])
            {
                readValue(entry, aAdapter.mMappings.emplace_back());
            }
        }
        else if (aCall.mFunction == "HBA_SendScsiInquiry" &&
                 valueOf<std::uint32_t>(aCall.mArguments, "vital_product_data") == 0)
        {
            aAdapter.mInquiries[unitOf(aCall.mArguments)] = bytesOf(aCall.mResults, "response");
        }
        else if (aCall.mFunction == "HBA_SendReadCapacity")
        {
            aAdapter.mCapacities[unitOf(aCall.mArguments)] = bytesOf(aCall.mResults, "response");
        }
    }

    static Bytes unitOf(Json const& aArguments)
    {
        Bytes unit = bytesOf(aArguments, "target");
        Bytes lun = bytesOf(aArguments, "lun");
        lun.resize(sizeof(HBA_UINT64));
        unit.insert(unit.end(), lun.begin(), lun.end());
        return unit;
    }

    std::vector<SeenAdapter> mAdapters;
    std::map<std::pair<std::string, std::uint32_t>, std::string> mOpen;  ///< adapters by library and handle
    std::map<std::tuple<std::string, std::string, Bytes>, std::size_t> mCounts;
    std::vector<SeenFault> mFaults;
};

Bytes unitOf(HBA_FCPSCSIENTRY const& aEntry)
{
    Bytes unit(std::begin(aEntry.FcpId.PortWWN.wwn), std::end(aEntry.FcpId.PortWWN.wwn));
    auto const* const lun = reinterpret_cast<unsigned char const*>(&aEntry.FcpId.FcpLun);
    unit.insert(unit.end(), lun, lun + sizeof aEntry.FcpId.FcpLun);
    return unit;
}

/// @return the LUN that the first two bytes of its SCSI encoding stand for; none for another encoding
std::optional<std::uint16_t> lunOf(std::uint8_t aFirst, std::uint8_t aSecond)
{
    constexpr std::uint8_t flat = 0x40;
    constexpr std::uint8_t methods = 0xc0;
    constexpr std::uint8_t bits = 0x3f;
    if (aFirst != 0 && (aFirst & methods) != flat)
    {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>((aFirst & bits) << CHAR_BIT | aSecond);
}

/// How the HBA library writes the LUNs of an adapter.
bool isIntegerStyle(SeenAdapter const& aAdapter)
{
    return std::any_of(aAdapter.mMappings.begin(), aAdapter.mMappings.end(),
                       [](HBA_FCPSCSIENTRY const& aEntry)
                       {
                           return aEntry.ScsiId.ScsiOSLun != 0 &&
                                  static_cast<std::uint64_t>(aEntry.FcpId.FcpLun) == aEntry.ScsiId.ScsiOSLun;
                       });
}

std::optional<std::uint16_t> lunOf(HBA_FCPSCSIENTRY const& aEntry, bool aIsInteger)
{
    auto const* const lun = reinterpret_cast<unsigned char const*>(&aEntry.FcpId.FcpLun);
    HBA_UINT32 const number = aEntry.ScsiId.ScsiOSLun;
    return aIsInteger
               ? lunOf(static_cast<std::uint8_t>(number >> CHAR_BIT), static_cast<std::uint8_t>(number))
               : lunOf(lun[0], lun[1]);
}

std::uint32_t bigEndianAt(Bytes const& aBytes, std::size_t aPosition)
{
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i)
    {
        number = number << CHAR_BIT | (aPosition + i < aBytes.size() ? aBytes[aPosition + i] : 0U);
    }
    return number;
}

std::string inquiryText(Bytes const& aInquiry, std::size_t aBegin, std::size_t aEnd)
{
    std::string text;
    for (std::size_t i = aBegin; i < aEnd; ++i)
    {
        text += i < aInquiry.size() && aInquiry[i] != 0 ? static_cast<char>(aInquiry[i]) : ' ';
    }
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

void writeLun(Writer& aWriter, SeenAdapter const& aAdapter, HBA_FCPSCSIENTRY const& aEntry,
              std::uint16_t aLun)
{
    aWriter.table("adapter.port.remote.lun");
    aWriter.key("lun", std::to_string(aLun));
    aWriter.key("os_device", quotedText(textIn(aEntry.ScsiId.OSDeviceName)));
    auto const inquiry = aAdapter.mInquiries.find(unitOf(aEntry));
    if (inquiry != aAdapter.mInquiries.end())
    {
        constexpr std::size_t vendor = 8;
        constexpr std::size_t product = 16;
        constexpr std::size_t revision = 32;
        constexpr std::size_t end = 36;
        aWriter.key("inquiry_vendor", quotedText(inquiryText(inquiry->second, vendor, product)));
        aWriter.key("inquiry_product", quotedText(inquiryText(inquiry->second, product, revision)));
        aWriter.key("inquiry_revision", quotedText(inquiryText(inquiry->second, revision, end)));
    }
    auto const capacity = aAdapter.mCapacities.find(unitOf(aEntry));
    if (capacity != aAdapter.mCapacities.end())
    {
        aWriter.key("block_size", std::to_string(bigEndianAt(capacity->second, sizeof(std::uint32_t))));
        aWriter.key("blocks", std::to_string(std::uint64_t{bigEndianAt(capacity->second, 0)} + 1));
    }
}

void writeRemotePort(Writer& aWriter, SeenAdapter const& aAdapter, HBA_PORTATTRIBUTES const& aPort,
                     bool aIsInteger)
{
    std::vector<std::pair<std::uint16_t, HBA_FCPSCSIENTRY const*>> luns;
    for (HBA_FCPSCSIENTRY const& entry : aAdapter.mMappings)
    {
        std::optional<std::uint16_t> const lun = lunOf(entry, aIsInteger);
        if (lun && std::memcmp(entry.FcpId.PortWWN.wwn, aPort.PortWWN.wwn, sizeof aPort.PortWWN.wwn) == 0)
        {
            luns.emplace_back(*lun, &entry);
        }
    }
    aWriter.table("adapter.port.remote");
    aWriter.port(aPort);
    aWriter.key("role", quotedText(luns.empty() ? "initiator" : "target"));
    for (auto const& [lun, entry] : luns)
    {
        writeLun(aWriter, aAdapter, *entry, lun);
    }
}

void writePort(Writer& aWriter, SeenAdapter const& aAdapter, SeenPort const& aPort, bool aIsInteger)
{
    if (!aPort.mAttributes)
    {
        return;
    }
    aWriter.table("adapter.port");
    aWriter.port(*aPort.mAttributes);
    if (aPort.mStatistics)
    {
        aWriter.single("adapter.port.statistics");
        HBA_PORTSTATISTICS statistics = *aPort.mStatistics;
        visitFields(statistics,
                    [&](char const* aName, HBA_INT64 aValue)
                    {
                        if (aValue >= 0)
                        {
                            aWriter.key(aName, std::to_string(aValue));
                        }
                    });
    }
    for (auto const& [index, remote] : aPort.mRemotePorts)
    {
        writeRemotePort(aWriter, aAdapter, remote, aIsInteger);
    }
}

/// @return whether the scenario has the target
bool hasTarget(Survey const& aSurvey, SeenFault const& aFault)
{
    auto const hasName = [&](auto const& aRemote) {
        return std::equal(aFault.mTarget.begin(), aFault.mTarget.end(),
                          std::begin(aRemote.second.PortWWN.wwn));
    };
    return std::any_of(aSurvey.adapters().begin(), aSurvey.adapters().end(),
                       [&](SeenAdapter const& aAdapter)
                       {
                           return aAdapter.mName == aFault.mAdapter &&
                                  std::any_of(aAdapter.mPorts.begin(), aAdapter.mPorts.end(),
                                              [&](auto const& aPort)
                                              {
                                                  auto const& remotes = aPort.second.mRemotePorts;
                                                  return std::any_of(remotes.begin(), remotes.end(), hasName);
                                              });
                       });
}

void writeFault(Writer& aWriter, Survey const& aSurvey, SeenFault const& aFault)
{
    bool const isKnown = callNamed(aFault.mFunction) &&
                         (aFault.mTarget.empty() ||
                          (aFault.mTarget.size() == sizeof HBA_WWN::wwn && hasTarget(aSurvey, aFault)));
    if (!isKnown)
    {
        aWriter.comment(fmt::format("{} returned {} in {} calls.", aFault.mFunction, aFault.mStatus,
                                    aFault.mLast - aFault.mFirst + 1));
        return;
    }
    aWriter.table("fault");
    aWriter.key("call", quotedText(aFault.mFunction));
    aWriter.key("adapter", quotedText(aFault.mAdapter));
    if (!aFault.mTarget.empty())
    {
        aWriter.key("port_wwn", nameText(aFault.mTarget.data()));
    }
    aWriter.key("nth", aFault.mFirst == aFault.mLast ? std::to_string(aFault.mFirst)
                                                     : fmt::format("\"{}-{}\"", aFault.mFirst, aFault.mLast));
    aWriter.key("status", std::to_string(aFault.mStatus));
    if (aFault.mStatus == HBA_STATUS_SCSI_CHECK_CONDITION && !aFault.mTarget.empty())
    {
        constexpr std::size_t key = 2;
        constexpr std::size_t code = 12;
        constexpr std::size_t qualifier = 13;
        constexpr unsigned int keyBits = 0x0f;
        Bytes sense = aFault.mSense;
        sense.resize(std::max(sense.size(), qualifier + 1));
        aWriter.key("sense_key", std::to_string(sense[key] & keyBits));
        aWriter.key("asc", std::to_string(sense[code]));
        aWriter.key("ascq", std::to_string(sense[qualifier]));
    }
}

void writeAdapter(Writer& aWriter, SeenAdapter const& aAdapter)
{
    bool const isInteger = isIntegerStyle(aAdapter);
    aWriter.table("adapter");
    aWriter.key("name", quotedText(aAdapter.mName));
    if (isInteger)
    {
        aWriter.key("lun_style", quotedText("integer"));
    }
    if (aAdapter.mAttributes)
    {
        HBA_ADAPTERATTRIBUTES const& attributes = *aAdapter.mAttributes;
        aWriter.text("manufacturer", textIn(attributes.Manufacturer));
        aWriter.text("serial_number", textIn(attributes.SerialNumber));
        aWriter.text("model", textIn(attributes.Model));
        aWriter.text("model_description", textIn(attributes.ModelDescription));
        aWriter.text("node_symbolic_name", textIn(attributes.NodeSymbolicName));
        aWriter.text("hardware_version", textIn(attributes.HardwareVersion));
        aWriter.text("driver_version", textIn(attributes.DriverVersion));
        aWriter.text("option_rom_version", textIn(attributes.OptionROMVersion));
        aWriter.text("firmware_version", textIn(attributes.FirmwareVersion));
        aWriter.text("driver_name", textIn(attributes.DriverName));
        aWriter.name("node_wwn", attributes.NodeWWN);
        aWriter.key("vendor_specific_id", std::to_string(attributes.VendorSpecificID));
    }
    for (auto const& [index, port] : aAdapter.mPorts)
    {
        writePort(aWriter, aAdapter, port, isInteger);
    }
}

std::string hexadecimal(Bytes const& aBytes) { return fmt::format("{:02x}", fmt::join(aBytes, "")); }

void writeEvents(Writer& aWriter, Recording const& aRecording)
{
    constexpr std::uint64_t nanosecondsOfMillisecond = 1'000'000;
    std::vector<RecordedEvent> const& events = aRecording.events();
    for (RecordedEvent const& event : events)
    {
        if (!event.mData.contains("category"))
        {
            continue;  // of an HBA library
        }
        aWriter.table("diagnostics.event");
        for (char const* const name : {"board", "category", "subcategory"})
        {
            aWriter.key(name, std::to_string(valueOf<std::uint32_t>(event.mData, name)));
        }
        if (Bytes const port = bytesOf(event.mData, "port"); port.size() == sizeof HBA_WWN::wwn)
        {
            aWriter.key("port_wwn", nameText(port.data()));
        }
        aWriter.text("payload", hexadecimal(bytesOf(event.mData, "payload")));
        aWriter.key("at_ms", std::to_string((event.mTime - events.front().mTime) / nanosecondsOfMillisecond));
    }
}

/// @return the record that the library filled, with its whole size
Bytes recordOf(RecordedCall const& aCall, char const* aName, std::size_t aSize)
{
    Bytes record = bytesOf(aCall.mResults, aName);
    record.resize(std::max(record.size(), aSize));
    return record;
}

void writeDiagnostics(Writer& aWriter, Recording const& aRecording)
{
    using Records = QZCLibvqmRecords;
    auto const library = aRecording.libraries().find(vendorLibraryPath);
    if (library == aRecording.libraries().end())
    {
        return;
    }
    aWriter.single("diagnostics");
    if (library->second.mError)
    {
        aWriter.key("library", quotedText("absent"));
        return;
    }
    std::map<std::uint32_t, Bytes> boards;
    std::map<std::string, std::string> keys;
    for (RecordedCall const& call : aRecording.calls())
    {
        if (call.mFunction == "VQM_GetLibVer")
        {
            keys["library_version"] = quotedText(textOfValue(call.mResults, "version"));
        }
        else if (call.mFunction == "VQM_InitDiagEnv")
        {
            Bytes const table = recordOf(call, "table", Records::sgDiagEnvRecordSize);
            auto const begin = table.begin() + Records::sgDriverVersionPosition;
            auto const end = std::find(begin, table.begin() + Records::sgDiagEnvRecordSize, 0);
            keys["driver_version"] = quotedText(std::string(begin, end));
        }
        else if (call.mFunction == "VQM_GetDrvInfo" && call.mReturned == 0U)
        {
            keys["feature_list"] =
                quotedText(fmt::format("0x{:x}", valueOf<std::uint64_t>(call.mResults, "features")));
            keys["record_version"] = std::to_string(recordOf(call, "record", 1).front());
        }
        else if (call.mFunction == "VQM_GetLinkInfo" && call.mReturned == 0U)
        {
            boards[valueOf<std::uint32_t>(call.mArguments, "board")] =
                recordOf(call, "record", Records::sgLinkInfoSize);
        }
    }
    for (auto const& [name, value] : keys)
    {
        aWriter.key(name, value);
    }
    for (auto const& [number, record] : boards)
    {
        aWriter.table("diagnostics.board");
        aWriter.key("first_wwn", nameText(record.data() + Records::sgFirstWwnPosition));
        aWriter.key("second_wwn", nameText(record.data() + Records::sgSecondWwnPosition));
    }
    if (!boards.empty())
    {
        writeEvents(aWriter, aRecording);
    }
}
}  // namespace

std::string scenarioOf(Recording const& aRecording)
{
    Survey const survey(aRecording);
    Writer writer;
    writer.comment("A scenario of what the calls of a recording have shown.");
    for (SeenAdapter const& adapter : survey.adapters())
    {
        writeAdapter(writer, adapter);
    }
    for (SeenFault const& fault : survey.faults())
    {
        writeFault(writer, survey, fault);
    }
    writeDiagnostics(writer, aRecording);
    return writer.content();
}
}  // namespace qzsim
