#include "simulator/recording/ScenarioText.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <deque>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <hbaapi.h>

#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "simulator/library/Redirection.h"
#include "simulator/recording/Members.h"
#include "simulator/recording/ScsiAnswers.h"
#include "simulator/recording/Values.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/PortAttributes.h"
#include "simulator/scenario/Scsi.h"
#include "toml/TomlValue.h"

namespace qzsim
{
namespace
{
constexpr char const* callForLuns = "HBA_SendReportLUNs";
constexpr char const* callForInquiry = "HBA_SendScsiInquiry";

/// What a call is for.
struct Subject
{
    std::string mAdapter;                 ///< name; empty for none
    Bytes mTarget;                        ///< of a SCSI command; otherwise empty
    std::optional<std::uint32_t> mBoard;  ///< of a call of the diagnostic library

    bool operator==(Subject const& aOther) const
    {
        return mAdapter == aOther.mAdapter && mTarget == aOther.mTarget && mBoard == aOther.mBoard;
    }
    bool operator<(Subject const& aOther) const
    {
        return std::tie(mAdapter, mTarget, mBoard) < std::tie(aOther.mAdapter, aOther.mTarget, aOther.mBoard);
    }
};

/// Calls of a function that failed one after another, or that succeeded with less than the whole answer.
struct SeenFault
{
    std::string mFunction;
    Subject mSubject;
    std::size_t mFirst;  ///< counted among the calls of the function for the subject
    std::size_t mLast;
    std::uint32_t mStatus;
    Bytes mSense;
    std::string mShape;  ///< the key and value of a scenario; empty for a call that failed
};

/// The LUNs that a target has reported.
struct SeenReport
{
    Subject mSubject;
    std::size_t mNumber;  ///< counted among the calls of the function for the subject
    bool mIsWhole;        ///< false if the list is longer than what was written of it
    std::set<std::optional<std::uint16_t>> mLuns;
};

/// The attributes of a port; none if they could not be read.
using SeenAttributes = std::optional<HBA_PORTATTRIBUTES>;

/// What the calls have shown of a port.
struct SeenPort
{
    SeenAttributes mAttributes;
    std::optional<HBA_PORTSTATISTICS> mStatistics;
    std::map<std::uint32_t, SeenAttributes> mRemotePorts;
};

struct SeenAdapter
{
    std::string mName;
    std::optional<HBA_ADAPTERATTRIBUTES> mAttributes;
    std::map<std::uint32_t, SeenPort> mPorts;
    std::vector<HBA_FCPSCSIENTRY> mMappings;
    std::set<Bytes> mTargets;            ///< names of the ports to which SCSI commands were sent
    std::map<Bytes, Bytes> mInquiries;   ///< by the name of the target and the bytes of the LUN
    std::map<Bytes, Bytes> mCapacities;  ///< the same, as far as they were written
};

/// @return number of bytes of the first character of a text that is not empty
std::size_t sizeOfCharacter(std::string_view aText)
{
    constexpr unsigned int mask = 0xc0;
    constexpr unsigned int continued = 0x80;
    auto const end =
        std::find_if(aText.begin() + 1, aText.end(),
                     [](char aByte) { return (static_cast<unsigned char>(aByte) & mask) != continued; });
    return static_cast<std::size_t>(end - aText.begin());
}

/// @return the text as TOML, with a question mark for each control character and for what is not UTF-8
std::string quotedText(std::string_view aText)
{
    constexpr std::string_view replacement = "\xef\xbf\xbd";
    std::string const valid =
        Json::parse(Json(aText).dump(-1, ' ', false, Json::error_handler_t::replace)).get<std::string>();
    std::string text = "\"";
    for (std::string_view rest = valid; !rest.empty();)
    {
        std::string_view const character = rest.substr(0, sizeOfCharacter(rest));
        rest.remove_prefix(character.size());
        bool const isKept = character != replacement && !tomlfile::hasControlCharacter(character);
        text += character == "\"" || character == "\\" ? "\\" : "";
        text += isKept ? character : "?";
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

Bytes bytesOfName(HBA_WWN const& aName) { return {std::begin(aName.wwn), std::end(aName.wwn)}; }

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
    void line(std::string_view aText) { mText += fmt::format("{}\n", aText); }
    void comment(std::string_view aText) { mText += fmt::format("# {}\n", aText); }

    /// A name that is not in the recording.
    void inventedName(std::string_view aName)
    {
        ++mInvented;
        HBA_WWN name{};
        for (std::size_t i = 0; i < sizeof mInvented; ++i)
        {
            name.wwn[sizeof name.wwn - 1 - i] = static_cast<unsigned char>(mInvented >> (i * CHAR_BIT));
        }
        key(aName, nameText(name.wwn));
    }

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
    std::uint32_t mInvented = 0;
};

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

/// Collects what the calls have shown.
class Survey
{
public:
    explicit Survey(Recording const& aRecording)
    {
        for (RecordedCall const& call : aRecording.calls())
        {
            call.mLibrary == vendorLibraryPath ? takeOfBoard(call) : take(call);
        }
    }

    std::vector<SeenAdapter> const& adapters() const { return mAdapters; }

    std::vector<SeenFault> const& faults() const { return mFaults; }

    std::vector<SeenReport> const& reports() const { return mReports; }

    void addFault(SeenFault const& aFault)
    {
        auto const isBefore = [&](SeenFault const& aOther)
        {
            return aOther.mLast + 1 == aFault.mFirst && aOther.mFunction == aFault.mFunction &&
                   aOther.mSubject == aFault.mSubject && aOther.mStatus == aFault.mStatus &&
                   aOther.mSense == aFault.mSense && aOther.mShape == aFault.mShape;
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

private:
    SeenAdapter& adapterNamed(std::string const& aName)
    {
        auto const found = std::find_if(mAdapters.begin(), mAdapters.end(),
                                        [&](SeenAdapter const& aAdapter) { return aAdapter.mName == aName; });
        return found == mAdapters.end() ? mAdapters.emplace_back(SeenAdapter{aName, {}, {}, {}, {}, {}, {}})
                                        : *found;
    }

    void takeOfBoard(RecordedCall const& aCall)
    {
        std::optional<Call> const call = callNamed(aCall.mFunction);
        if (call && concernsBoard(*call))
        {
            count(aCall, {{}, {}, valueOf<std::uint32_t>(aCall.mArguments, "board")},
                  aCall.mReturned.value_or(0));
        }
    }

    /// @return whether the list in the answer has more entries than the program has room for. Programs call with little
    /// room to learn their number.
    static bool isCutList(RecordedCall const& aCall)
    {
        constexpr char const* lists[] = {"bindings", "mappings"};
        return std::any_of(std::begin(lists), std::end(lists),
                           [&](char const* aName)
                           {
                               return aCall.mResults.contains(aName) &&
                                      valueOf<std::uint32_t>(aCall.mResults, "count") >
                                          valueOf<std::uint32_t>(aCall.mArguments, aName);
                           });
    }

    static bool isAnswer(RecordedCall const& aCall, std::uint32_t aStatus)
    {
        return aStatus == HBA_STATUS_OK || (aStatus == HBA_STATUS_ERROR_MORE_DATA && isCutList(aCall));
    }

    /// Counts a call. A call that failed is a fault.
    void count(RecordedCall const& aCall, Subject const& aSubject, std::uint32_t aStatus)
    {
        std::size_t const number = ++mCounts[{aCall.mFunction, aSubject}];
        if (!isAnswer(aCall, aStatus))
        {
            addFault(
                {aCall.mFunction, aSubject, number, number, aStatus, bytesOf(aCall.mResults, "sense"), {}});
        }
        else if (sendsScsiCommand(aCall))
        {
            if (mWritten < sizeOfAnswer(aCall))
            {
                addFault({aCall.mFunction, aSubject, number, number, aStatus, {}, shapeOf(mWritten)});
            }
            else if (auto const size = sizeBeforeZeros(aCall))
            {
                mWritten = *size;
                addFault({aCall.mFunction,
                          aSubject,
                          number,
                          number,
                          aStatus,
                          {},
                          fmt::format("length = {}\nzeros = true", mWritten)});
            }
            if (aCall.mFunction == callForLuns)
            {
                takeReport(aCall, aSubject, number);
            }
        }
    }

    void takeReport(RecordedCall const& aCall, Subject const& aSubject, std::size_t aNumber)
    {
        Bytes const response = bytesOf(aCall.mResults, "response");
        SeenReport report{aSubject, aNumber, sizeOfReport(response) <= mWritten, {}};
        for (Bytes const& lun : lunsIn(response, mWritten))
        {
            report.mLuns.insert(lunOf(lun[0], lun[1]));
        }
        if (report.mIsWhole || !report.mLuns.empty())
        {
            mReports.push_back(std::move(report));
        }
    }

    static std::string shapeOf(std::size_t aWritten)
    {
        return aWritten == 0 ? "untouched = true" : fmt::format("length = {}", aWritten);
    }

    /// An adapter whose name could not be read has an invented one until it can be read.
    void takeName(RecordedCall const& aCall, std::uint32_t aStatus)
    {
        std::string& name = mNames[{aCall.mLibrary, valueOf<std::uint32_t>(aCall.mArguments, "index")}];
        if (aStatus == HBA_STATUS_OK)
        {
            std::string const found = textOfValue(aCall.mResults, "name");
            rename(name.empty() ? found : name, found);
            name = found;
        }
        else if (name.empty())
        {
            name = fmt::format("unnamed-{}", mAdapters.size());
        }
        adapterNamed(name);
        count(aCall, {name, {}, {}}, aStatus);
    }

    void rename(std::string const& aOld, std::string const& aNew)
    {
        for (SeenAdapter& adapter : mAdapters)
        {
            adapter.mName = adapter.mName == aOld ? aNew : adapter.mName;
        }
        for (SeenFault& fault : mFaults)
        {
            fault.mSubject.mAdapter = fault.mSubject.mAdapter == aOld ? aNew : fault.mSubject.mAdapter;
        }
        auto const name = Subject{aOld, {}, {}};
        if (auto const counted = mCounts.find({"HBA_GetAdapterName", name});
            aOld != aNew && counted != mCounts.end())
        {
            mCounts[{"HBA_GetAdapterName", {aNew, {}, {}}}] = counted->second;
        }
    }

    void take(RecordedCall const& aCall)
    {
        if (sendsScsiCommand(aCall))
        {
            mWritten = mSizes.of(aCall);  // a failed call leaves bytes in the buffer too
        }
        std::uint32_t const returned = aCall.mReturned.value_or(0);
        if (aCall.mFunction == "HBA_OpenAdapter")
        {
            std::string const name = textOfValue(aCall.mArguments, "name");
            bool const isOpen = returned != HBA_HANDLE_INVALID;
            count(aCall, {name, {}, {}}, isOpen ? HBA_STATUS_OK : HBA_STATUS_ERROR);
            if (isOpen)
            {
                mOpen[{aCall.mLibrary, returned}] = name;
            }
            return;
        }
        if (aCall.mFunction == "HBA_GetAdapterName")
        {
            if (returned != HBA_STATUS_ERROR_ILLEGAL_INDEX)
            {
                takeName(aCall, returned);
            }
            return;
        }
        if (aCall.mFunction == "HBA_LoadLibrary")
        {
            count(aCall, {}, returned);
            return;
        }
        auto const open = mOpen.find({aCall.mLibrary, valueOf<std::uint32_t>(aCall.mArguments, "handle")});
        if (open == mOpen.end() || !aCall.mArguments.contains("handle"))
        {
            return;
        }
        Bytes const target = bytesOf(aCall.mArguments, "target");
        count(aCall, {open->second, target, {}}, returned);
        SeenAdapter& adapter = adapterNamed(open->second);
        adapter.mTargets.insert(target);
        if (isAnswer(aCall, returned))
        {
            takeAnswer(aCall, adapter);
        }
        else if (returned != HBA_STATUS_ERROR_ILLEGAL_INDEX)
        {
            takeFailure(aCall, adapter);
        }
    }

    /// A port whose attributes cannot be read has its place among the others.
    static void takeFailure(RecordedCall const& aCall, SeenAdapter& aAdapter)
    {
        if (aCall.mFunction == "HBA_GetAdapterPortAttributes" ||
            aCall.mFunction == "HBA_GetDiscoveredPortAttributes")
        {
            SeenPort& port = aAdapter.mPorts[valueOf<std::uint32_t>(aCall.mArguments, "port")];
            if (aCall.mArguments.contains("discovered_port"))
            {
                port.mRemotePorts[valueOf<std::uint32_t>(aCall.mArguments, "discovered_port")];
            }
        }
    }

    void takeAnswer(RecordedCall const& aCall, SeenAdapter& aAdapter) const
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
        else if (aCall.mFunction == callForInquiry &&
                 valueOf<std::uint32_t>(aCall.mArguments, "vital_product_data") == 0)
        {
            takeResponse(aCall, aAdapter.mInquiries);
        }
        else if (aCall.mFunction == "HBA_SendReadCapacity")
        {
            takeResponse(aCall, aAdapter.mCapacities);
        }
    }

    /// An answer that is not whole does not replace another one.
    void takeResponse(RecordedCall const& aCall, std::map<Bytes, Bytes>& aResponses) const
    {
        Bytes response = bytesOf(aCall.mResults, "response");
        response.resize(std::min(mWritten, sizeOfAnswer(aCall)));
        Bytes& kept = aResponses[unitOf(aCall.mArguments)];
        kept = response.size() >= kept.size() ? response : kept;
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
    std::map<std::pair<std::string, std::uint32_t>, std::string>
        mNames;  ///< of adapters by library and index
    std::map<std::pair<std::string, Subject>, std::size_t> mCounts;
    std::vector<SeenFault> mFaults;
    std::vector<SeenReport> mReports;
    WrittenSizes mSizes;
    std::size_t mWritten = 0;  ///< of the last response to a SCSI command
};

Bytes unitOf(HBA_FCPSCSIENTRY const& aEntry)
{
    Bytes unit(std::begin(aEntry.FcpId.PortWWN.wwn), std::end(aEntry.FcpId.PortWWN.wwn));
    auto const* const lun = reinterpret_cast<unsigned char const*>(&aEntry.FcpId.FcpLun);
    unit.insert(unit.end(), lun, lun + sizeof aEntry.FcpId.FcpLun);
    return unit;
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

/// @return the first two bytes of the SCSI encoding of the LUN
std::array<std::uint8_t, 2> firstBytesOf(HBA_FCPSCSIENTRY const& aEntry, bool aIsInteger)
{
    auto const* const lun = reinterpret_cast<unsigned char const*>(&aEntry.FcpId.FcpLun);
    HBA_UINT32 const number = aEntry.ScsiId.ScsiOSLun;
    return aIsInteger
               ? std::array{static_cast<std::uint8_t>(number >> CHAR_BIT), static_cast<std::uint8_t>(number)}
               : std::array{lun[0], lun[1]};
}

std::optional<std::uint16_t> lunOf(HBA_FCPSCSIENTRY const& aEntry, bool aIsInteger)
{
    auto const bytes = firstBytesOf(aEntry, aIsInteger);
    return lunOf(bytes[0], bytes[1]);
}

/// @return whether a LUN that has a short form has the long one
bool isFlat(HBA_FCPSCSIENTRY const& aEntry, std::uint16_t aLun, bool aIsInteger)
{
    constexpr std::uint16_t highestShort = 0xff;
    return aLun <= highestShort && firstBytesOf(aEntry, aIsInteger)[0] != 0;
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
    if (inquiry != aAdapter.mInquiries.end() && !inquiry->second.empty())
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
    std::size_t const known = capacity == aAdapter.mCapacities.end() ? 0 : capacity->second.size();
    if (known >= 2 * sizeof(std::uint32_t))
    {
        aWriter.key("block_size", std::to_string(bigEndianAt(capacity->second, sizeof(std::uint32_t))));
    }
    if (known >= sizeof(std::uint32_t))
    {
        aWriter.key("blocks", std::to_string(std::uint64_t{bigEndianAt(capacity->second, 0)} + 1));
    }
}

/// A remote port. If its attributes could not be read, it may still be a target of the adapter.
struct SeenRemotePort
{
    SeenAttributes mAttributes;
    std::optional<HBA_FCPID> mTarget;
    std::vector<std::pair<std::uint16_t, HBA_FCPSCSIENTRY const*>> mLuns =
        {};                ///< with their mappings; null for a LUN that is only reported
    bool mIsFlat = false;  ///< whether all LUNs have flat space addressing

    /// @return empty if it is not known
    Bytes name() const
    {
        return mAttributes ? bytesOfName(mAttributes->PortWWN)
               : mTarget   ? bytesOfName(mTarget->PortWWN)
                           : Bytes();
    }
    bool hasLun(std::uint16_t aLun) const
    {
        return std::any_of(mLuns.begin(), mLuns.end(),
                           [=](auto const& aKnown) { return aKnown.first == aLun; });
    }
};

using SeenRemotePorts = std::vector<SeenRemotePort>;

/// Gives each LUN to the remote port of the scenario that has it. A target that several ports of the adapter see has a
/// remote port for each of them. The number of the bus is that of the port for some libraries. For others, a mapping that
/// occurs again belongs to the next port.
void assignLuns(SeenAdapter const& aAdapter, bool aIsInteger, std::vector<SeenRemotePorts>& aPorts)
{
    struct Place
    {
        std::size_t mPort;
        SeenRemotePort* mRemotePort;
    };
    std::map<Bytes, std::vector<Place>> places;
    for (std::size_t i = 0; i < aPorts.size(); ++i)
    {
        for (SeenRemotePort& remotePort : aPorts[i])
        {
            places[remotePort.name()].push_back({i, &remotePort});
        }
    }
    for (HBA_FCPSCSIENTRY const& entry : aAdapter.mMappings)
    {
        std::vector<Place>& all = places[bytesOfName(entry.FcpId.PortWWN)];
        std::optional<std::uint16_t> const lun = lunOf(entry, aIsInteger);
        auto const isFree = [&](Place const& aPlace) { return !aPlace.mRemotePort->hasLun(*lun); };
        auto const isOfBus = [&](Place const& aPlace)
        { return aPlace.mPort == entry.ScsiId.ScsiBusNumber && isFree(aPlace); };
        if (!lun)
        {
            continue;
        }
        auto place = std::find_if(all.begin(), all.end(), isOfBus);
        place = place == all.end() ? std::find_if(all.begin(), all.end(), isFree) : place;
        if (place != all.end())
        {
            SeenRemotePort& remotePort = *place->mRemotePort;
            remotePort.mLuns.emplace_back(*lun, &entry);
            remotePort.mIsFlat = remotePort.mIsFlat || isFlat(entry, *lun, aIsInteger);
        }
    }
}

void writeUnmappedLun(Writer& aWriter, std::uint16_t aLun)
{
    aWriter.table("adapter.port.remote.lun");
    aWriter.key("lun", std::to_string(aLun));
    aWriter.key("mapped", "false");
}

/// Writes what follows the attributes of a remote port.
void writeLuns(Writer& aWriter, SeenAdapter const& aAdapter, SeenRemotePort const& aPort)
{
    bool const isTarget = !aPort.mLuns.empty() || aAdapter.mTargets.count(aPort.name()) != 0;
    aWriter.key("role", quotedText(isTarget ? "target" : "initiator"));
    if (aPort.mIsFlat)
    {
        aWriter.key("lun_addressing", quotedText("flat"));
    }
    for (auto const& [lun, entry] : aPort.mLuns)
    {
        entry == nullptr ? writeUnmappedLun(aWriter, lun) : writeLun(aWriter, aAdapter, *entry, lun);
    }
}

void writeRemotePort(Writer& aWriter, SeenAdapter const& aAdapter, SeenRemotePort const& aPort)
{
    aWriter.table("adapter.port.remote");
    if (aPort.mAttributes)
    {
        aWriter.port(*aPort.mAttributes);
        writeLuns(aWriter, aAdapter, aPort);
        return;
    }
    aWriter.comment("The attributes are not in the recording.");
    if (aPort.mTarget)
    {
        aWriter.key("port_wwn", nameText(aPort.mTarget->PortWWN.wwn));
        aWriter.name("node_wwn", aPort.mTarget->NodeWWN);
        aWriter.key("fc_id", fmt::format("0x{:06x}", aPort.mTarget->FcId & highestFcId));
        writeLuns(aWriter, aAdapter, aPort);
        return;
    }
    aWriter.inventedName("port_wwn");
    aWriter.key("role", quotedText("initiator"));
}

/// @return the targets whose attributes could not be read
std::deque<HBA_FCPID> unreadTargets(SeenAdapter const& aAdapter)
{
    std::set<Bytes> known;
    for (auto const& [number, port] : aAdapter.mPorts)
    {
        for (auto const& [index, remote] : port.mRemotePorts)
        {
            known.insert(remote ? bytesOfName(remote->PortWWN) : Bytes());
        }
    }
    std::deque<HBA_FCPID> targets;
    for (HBA_FCPSCSIENTRY const& entry : aAdapter.mMappings)
    {
        if (known.insert(bytesOfName(entry.FcpId.PortWWN)).second)
        {
            targets.push_back(entry.FcpId);
        }
    }
    return targets;
}

/// @return number of entries, of which some may be missing. A damaged recording may have any index
template <typename Entries>
std::uint32_t lengthOf(Entries const& aEntries)
{
    constexpr std::uint32_t most = 16384;
    return aEntries.empty() ? 0 : std::min(aEntries.rbegin()->first, most - 1) + 1;
}

/// @return number of entries that are missing before the last one
template <typename Entries>
std::size_t gapsOf(Entries const& aEntries)
{
    std::size_t const length = lengthOf(aEntries);
    return length - std::min(length, aEntries.size());
}

/// @throws RecordingError when the scenario would have very many ports that the recording does not have
void checkGaps(std::vector<SeenAdapter> const& aAdapters)
{
    constexpr std::size_t most = 65536;
    std::size_t gaps = 0;
    for (SeenAdapter const& adapter : aAdapters)
    {
        gaps += gapsOf(adapter.mPorts);
        for (auto const& [index, port] : adapter.mPorts)
        {
            gaps += gapsOf(port.mRemotePorts);
        }
    }
    if (gaps > most)
    {
        throw RecordingError(fmt::format(
            "the recording has numbers of ports that leave out {} ports, more than {}", gaps, most));
    }
}

/// @param aUnread   targets of the adapter; those that the port gets are removed
/// @param aTakesAll whether the port gets all of them
SeenRemotePorts remotePortsOf(SeenPort const& aPort, std::deque<HBA_FCPID>& aUnread, bool aTakesAll)
{
    SeenRemotePorts ports;
    for (std::uint32_t index = 0; index < lengthOf(aPort.mRemotePorts) || (aTakesAll && !aUnread.empty());
         ++index)
    {
        auto const found = aPort.mRemotePorts.find(index);
        SeenRemotePort& port = ports.emplace_back();
        if (found != aPort.mRemotePorts.end() && found->second)
        {
            port.mAttributes = found->second;
        }
        else if (!aUnread.empty())
        {
            port.mTarget = aUnread.front();
            aUnread.pop_front();
        }
    }
    return ports;
}

void writePort(Writer& aWriter, SeenAdapter const& aAdapter, SeenPort const& aPort,
               SeenRemotePorts const& aRemotePorts)
{
    aWriter.table("adapter.port");
    if (!aPort.mAttributes)
    {
        aWriter.comment("The attributes are not in the recording.");
        aWriter.inventedName("port_wwn");
    }
    else
    {
        aWriter.port(*aPort.mAttributes);
        if (aPort.mAttributes->NumberofDiscoveredPorts != aRemotePorts.size())
        {
            aWriter.key("number_of_discovered_ports",
                        std::to_string(aPort.mAttributes->NumberofDiscoveredPorts));
        }
    }
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
    for (SeenRemotePort const& port : aRemotePorts)
    {
        writeRemotePort(aWriter, aAdapter, port);
    }
}

/// @return whether the scenario of the adapter has the target
bool hasTarget(SeenAdapter const& aAdapter, Bytes const& aTarget)
{
    auto const isMapped = [&](HBA_FCPSCSIENTRY const& aEntry)
    { return bytesOfName(aEntry.FcpId.PortWWN) == aTarget; };
    auto const isRemote = [&](auto const& aRemote)
    { return aRemote.second && bytesOfName(aRemote.second->PortWWN) == aTarget; };
    auto const isAt = [&](auto const& aPort)
    {
        auto const& remotes = aPort.second.mRemotePorts;
        return std::any_of(remotes.begin(), remotes.end(), isRemote);
    };
    auto const& ports = aAdapter.mPorts;
    auto const& mappings = aAdapter.mMappings;
    return std::any_of(ports.begin(), ports.end(), isAt) ||
           (!ports.empty() && std::any_of(mappings.begin(), mappings.end(), isMapped));
}

/// @return whether a scenario can have the fault
bool isKnown(Survey const& aSurvey, SeenFault const& aFault, std::uint32_t aBoards)
{
    Subject const& subject = aFault.mSubject;
    auto const isIn = [&](SeenAdapter const& aAdapter)
    {
        return aAdapter.mName == subject.mAdapter &&
               (subject.mTarget.empty() || hasTarget(aAdapter, subject.mTarget));
    };
    return callNamed(aFault.mFunction) && (!subject.mBoard || *subject.mBoard < aBoards) &&
           (subject.mAdapter.empty() ||
            std::any_of(aSurvey.adapters().begin(), aSurvey.adapters().end(), isIn));
}

void writeFault(Writer& aWriter, Survey const& aSurvey, SeenFault const& aFault, std::uint32_t aBoards)
{
    Subject const& subject = aFault.mSubject;
    if (!isKnown(aSurvey, aFault, aBoards))
    {
        aWriter.comment(fmt::format("{} returned {} in {} calls.", aFault.mFunction, aFault.mStatus,
                                    aFault.mLast - aFault.mFirst + 1));
        return;
    }
    aWriter.table("fault");
    aWriter.key("call", quotedText(aFault.mFunction));
    aWriter.text("adapter", subject.mAdapter);
    if (!subject.mTarget.empty())
    {
        aWriter.key("port_wwn", nameText(subject.mTarget.data()));
    }
    if (subject.mBoard)
    {
        aWriter.key("board", std::to_string(*subject.mBoard));
    }
    aWriter.key("nth", aFault.mFirst == aFault.mLast ? std::to_string(aFault.mFirst)
                                                     : fmt::format("\"{}-{}\"", aFault.mFirst, aFault.mLast));
    if (!aFault.mShape.empty())
    {
        aWriter.line(aFault.mShape);
        return;
    }
    aWriter.key(subject.mBoard ? "result" : "status", std::to_string(aFault.mStatus));
    if (aFault.mStatus == HBA_STATUS_SCSI_CHECK_CONDITION && !subject.mTarget.empty())
    {
        Bytes const sense = senseIn(aFault.mSense);
        aWriter.key("sense_key", std::to_string(sense[0]));
        aWriter.key("asc", std::to_string(sense[1]));
        aWriter.key("ascq", std::to_string(sense[2]));
    }
}

/// The LUNs of the targets in the scenario.
using Luns = std::map<Subject, std::vector<std::uint16_t>>;

/// Adds the LUNs that a target reports without a mapping. Puts those that it does not report at the end, where a fault can
/// leave them out of the list.
void arrangeLuns(Survey const& aSurvey, Subject const& aTarget, SeenRemotePort& aPort)
{
    auto const& reports = aSurvey.reports();
    auto const isOfTarget = [&](SeenReport const& aReport) { return aReport.mSubject == aTarget; };
    auto const isWhole = [&](SeenReport const& aReport) { return aReport.mIsWhole && isOfTarget(aReport); };
    auto last = std::find_if(reports.rbegin(), reports.rend(), isWhole);
    last = last == reports.rend() ? std::find_if(reports.rbegin(), reports.rend(), isOfTarget) : last;
    if (last != reports.rend())
    {
        std::set<std::optional<std::uint16_t>> unmapped = last->mLuns;
        unmapped.erase(std::nullopt);
        for (auto const& [lun, entry] : aPort.mLuns)
        {
            unmapped.erase(lun);
        }
        for (std::optional<std::uint16_t> const& lun : unmapped)
        {
            aPort.mLuns.emplace_back(*lun, nullptr);
        }
        std::stable_partition(aPort.mLuns.begin(), aPort.mLuns.end(),
                              [&](auto const& aLun) { return last->mLuns.count(aLun.first) != 0; });
    }
}

/// @return for each whole report that lacks LUNs at the end of those of the target, a fault
std::vector<SeenFault> faultsOfReports(std::vector<SeenReport> const& aReports, Luns const& aLuns)
{
    std::vector<SeenFault> faults;
    for (SeenReport const& report : aReports)
    {
        auto const target = aLuns.find(report.mSubject);
        if (!report.mIsWhole || target == aLuns.end() || report.mLuns.size() >= target->second.size())
        {
            continue;
        }
        auto const end = target->second.begin() + static_cast<std::ptrdiff_t>(report.mLuns.size());
        bool const isBeginning = std::all_of(
            target->second.begin(), end, [&](std::uint16_t aLun) { return report.mLuns.count(aLun) != 0; });
        if (isBeginning)
        {
            faults.push_back({callForLuns,
                              report.mSubject,
                              report.mNumber,
                              report.mNumber,
                              HBA_STATUS_OK,
                              {},
                              fmt::format("missing = {}", target->second.end() - end)});
        }
    }
    return faults;
}

/// @param aLuns receives those of the targets of the adapter
void writeAdapter(Writer& aWriter, Survey const& aSurvey, SeenAdapter const& aAdapter, Luns& aLuns)
{
    bool const isInteger = isIntegerStyle(aAdapter);
    aWriter.table("adapter");
    aWriter.key("name", quotedText(aAdapter.mName.empty() ? "unnamed" : aAdapter.mName));
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
        if (attributes.NumberOfPorts != lengthOf(aAdapter.mPorts))
        {
            aWriter.key("number_of_ports", std::to_string(attributes.NumberOfPorts));
        }
    }
    std::deque<HBA_FCPID> unread = unreadTargets(aAdapter);
    std::vector<SeenPort> ports(lengthOf(aAdapter.mPorts));
    std::vector<SeenRemotePorts> remotePorts;
    for (std::uint32_t index = 0; index < ports.size(); ++index)
    {
        auto const found = aAdapter.mPorts.find(index);
        ports[index] = found == aAdapter.mPorts.end() ? SeenPort() : found->second;
        bool const takesAll = !ports[index].mAttributes || index + 1 == ports.size();
        remotePorts.push_back(remotePortsOf(ports[index], unread, takesAll));
    }
    assignLuns(aAdapter, isInteger, remotePorts);
    for (SeenRemotePorts& ofPort : remotePorts)
    {
        for (SeenRemotePort& remotePort : ofPort)
        {
            Subject const target{aAdapter.mName, remotePort.name(), {}};
            // The first port that sees a target gets the calls.
            auto const [place, isNew] = aLuns.try_emplace(target);
            if (isNew)
            {
                arrangeLuns(aSurvey, target, remotePort);
                for (auto const& [lun, entry] : remotePort.mLuns)
                {
                    place->second.push_back(lun);
                }
            }
        }
    }
    for (std::size_t index = 0; index < ports.size(); ++index)
    {
        writePort(aWriter, aAdapter, ports[index], remotePorts[index]);
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

/// @return the link information record of each board; an empty one if it could not be read
std::vector<Bytes> boardsIn(Recording const& aRecording)
{
    using Records = QZCLibvqmRecords;
    std::vector<Bytes> boards;
    for (RecordedCall const& call : aRecording.calls())
    {
        if (call.mFunction == "VQM_InitDiagEnv")
        {
            boards.resize(std::max<std::size_t>(
                boards.size(),
                std::min<std::uint32_t>(call.mReturned.value_or(0), Records::sgDiagEnvCapacity)));
        }
        else if (auto const board = valueOf<std::uint32_t>(call.mArguments, "board");
                 call.mFunction == "VQM_GetLinkInfo" && call.mReturned == 0U &&
                 board < Records::sgDiagEnvCapacity)
        {
            boards.resize(std::max<std::size_t>(boards.size(), board + 1));
            boards[board] = recordOf(call, "record", Records::sgLinkInfoSize);
        }
    }
    return boards;
}

/// @return the functions that the diagnostic library lacks, as a list; empty if it has all
std::string missingFunctions(RecordedLibrary const& aLibrary)
{
    std::string names;
    for (std::size_t i = 0; i < numberOfCalls; ++i)
    {
        auto const call = static_cast<Call>(i);
        if (isDiagnostic(call) && aLibrary.mFunctions.count(nameOf(call)) == 0)
        {
            names += (names.empty() ? "" : ", ") + quotedText(nameOf(call));
        }
    }
    return names.empty() ? names : '[' + names + ']';
}

void writeDiagnostics(Writer& aWriter, Recording const& aRecording, std::vector<Bytes> const& aBoards)
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
    }
    if (std::string const missing = missingFunctions(library->second); !missing.empty())
    {
        keys["missing_functions"] = missing;
    }
    for (auto const& [name, value] : keys)
    {
        aWriter.key(name, value);
    }
    for (Bytes const& record : aBoards)
    {
        aWriter.table("diagnostics.board");
        if (record.empty())
        {
            aWriter.comment("The names are not in the recording.");
            aWriter.inventedName("first_wwn");
            aWriter.inventedName("second_wwn");
            continue;
        }
        aWriter.key("first_wwn", nameText(record.data() + Records::sgFirstWwnPosition));
        aWriter.key("second_wwn", nameText(record.data() + Records::sgSecondWwnPosition));
    }
    if (!aBoards.empty())
    {
        writeEvents(aWriter, aRecording);
    }
}
}  // namespace

std::string scenarioOf(Recording const& aRecording)
{
    Survey survey(aRecording);
    checkGaps(survey.adapters());
    Writer writer;
    Luns luns;
    writer.comment("A scenario of what the calls of a recording have shown.");
    for (SeenAdapter const& adapter : survey.adapters())
    {
        writeAdapter(writer, survey, adapter, luns);
    }
    for (SeenFault const& fault : faultsOfReports(survey.reports(), luns))
    {
        survey.addFault(fault);
    }
    std::vector<Bytes> const boards = boardsIn(aRecording);
    for (SeenFault const& fault : survey.faults())
    {
        writeFault(writer, survey, fault, static_cast<std::uint32_t>(boards.size()));
    }
    writeDiagnostics(writer, aRecording, boards);
    return writer.content();
}
}  // namespace qzsim
