#include "simulator/recording/ScenarioCheck.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <hbaapi.h>

#include "simulator/hba/HbaSimulation.h"
#include "simulator/library/Redirection.h"
#include "simulator/recording/CborReader.h"
#include "simulator/recording/CborWriter.h"
#include "simulator/recording/Members.h"
#include "simulator/recording/ScsiAnswers.h"
#include "simulator/recording/Values.h"
#include "simulator/world/World.h"
#include "toml/TomlValue.h"

namespace qzsim
{
namespace
{
/// The answer of the simulation, in the form of a recorded one.
struct Answer
{
    std::uint32_t mReturned = HBA_STATUS_OK;
    Json mResults = Json::object();
};

/// @return the value in the form of a recorded one
template <typename Value>
Json recordedForm(Value aValue)
{
    CborWriter writer;
    writeValue(writer, aValue);
    return readCbor(writer.content()).value_or(Json());
}

/// A LUN of a target of an adapter.
using Unit = std::tuple<std::string, Bytes, Bytes>;

/// Performs recorded calls in the simulation.
class Rehearsal
{
public:
    /// @param aLoads how often the program has loaded the libraries; the first attempts may have failed
    Rehearsal(std::string const& aScenario, std::size_t aLoads)
    {
        World const world(tomlfile::readToml("scenario", aScenario));
        HBA_STATUS status = HBA_STATUS_ERROR;
        for (std::size_t i = 0; status != HBA_STATUS_OK && i < std::max<std::size_t>(aLoads, 1); ++i)
        {
            status = mSimulation.load(world, Strikes());
        }
    }
    ~Rehearsal() { mSimulation.end(); }
    Rehearsal(Rehearsal const&) = delete;
    Rehearsal& operator=(Rehearsal const&) = delete;

    /// @return nothing for a call that cannot be compared
    std::optional<Answer> answer(RecordedCall const& aCall)
    {
        if (aCall.mFunction == "HBA_OpenAdapter")
        {
            return open(aCall);
        }
        auto const open = openFor(aCall);
        return open == mOpen.end() ? std::nullopt : query(aCall, open->second.mHandle);
    }

    /// @param aCall has an answer
    /// @return the name of the adapter and the bytes of the target and the LUN
    Unit unitOf(RecordedCall const& aCall) const
    {
        return {openFor(aCall)->second.mName, bytesOf(aCall.mArguments, "target"),
                bytesOf(aCall.mArguments, "lun")};
    }

private:
    /// An adapter that the program has opened.
    struct Open
    {
        HBA_HANDLE mHandle;  ///< in the simulation
        std::string mName;
    };
    using Opens = std::map<std::pair<std::string, std::uint32_t>, Open>;  ///< by library and recorded handle

    /// @return the adapter that the call is for; the end if there is none
    Opens::const_iterator openFor(RecordedCall const& aCall) const
    {
        return aCall.mArguments.contains("handle")
                   ? mOpen.find({aCall.mLibrary, valueOf<std::uint32_t>(aCall.mArguments, "handle")})
                   : mOpen.end();
    }

    /// An adapter with the empty name has another one in the scenario.
    std::optional<Answer> open(RecordedCall const& aCall)
    {
        std::string const name = textOfValue(aCall.mArguments, "name");
        std::uint32_t const recorded = aCall.mReturned.value_or(HBA_HANDLE_INVALID);
        if (auto const former = mOpen.find({aCall.mLibrary, recorded}); former != mOpen.end())
        {
            mSimulation.closeAdapter(former->second.mHandle);  // its handles are limited
        }
        HBA_HANDLE const handle = mSimulation.openAdapter(name.c_str());
        if (recorded != HBA_HANDLE_INVALID)
        {
            mOpen[{aCall.mLibrary, recorded}] = {handle, name};
        }
        bool const isSame = (handle == HBA_HANDLE_INVALID) == (recorded == HBA_HANDLE_INVALID);
        return Answer{isSame ? recorded : handle, Json::object()};
    }

    std::optional<Answer> query(RecordedCall const& aCall, HBA_HANDLE aHandle)
    {
        std::string const& function = aCall.mFunction;
        auto const port = valueOf<HBA_UINT32>(aCall.mArguments, "port");
        if (function == "HBA_GetAdapterAttributes")
        {
            HBA_ADAPTERATTRIBUTES attributes{};
            auto const status = mSimulation.adapterAttributes(aHandle, &attributes);
            return Answer{status, {{"attributes", recordedForm(attributes)}}};
        }
        if (function == "HBA_GetAdapterPortAttributes")
        {
            HBA_PORTATTRIBUTES attributes{};
            auto const status = mSimulation.portAttributes(aHandle, port, &attributes);
            return Answer{status, {{"attributes", recordedForm(attributes)}}};
        }
        if (function == "HBA_GetDiscoveredPortAttributes")
        {
            HBA_PORTATTRIBUTES attributes{};
            auto const status = mSimulation.discoveredPortAttributes(
                aHandle, port, valueOf<HBA_UINT32>(aCall.mArguments, "discovered_port"), &attributes);
            Json form = recordedForm(attributes);
            form.erase("discovered_ports");  // ports that a remote port has discovered are in no scenario
            return Answer{status, {{"attributes", form}}};
        }
        if (function == "HBA_GetPortStatistics")
        {
            HBA_PORTSTATISTICS statistics{};
            return Answer{mSimulation.portStatistics(aHandle, port, &statistics), Json::object()};
        }
        if (function == "HBA_GetFcpTargetMapping")
        {
            return mappings(aCall, aHandle);
        }
        return scsiAnswer(aCall, aHandle);
    }

    std::optional<Answer> mappings(RecordedCall const& aCall, HBA_HANDLE aHandle)
    {
        constexpr std::uint32_t most = 65'536;
        std::uint32_t const room = std::min(valueOf<std::uint32_t>(aCall.mArguments, "mappings"), most);
        std::size_t const size = sizeof(HBA_FCPTARGETMAPPING) + room * sizeof(HBA_FCPSCSIENTRY);
        std::vector<HBA_UINT64> memory(size / sizeof(HBA_UINT64) + 1);
        auto* const list = reinterpret_cast<HBA_FCPTARGETMAPPING*>(memory.data());
        list->NumberOfEntries = room;
        Answer answer{mSimulation.targetMapping(aHandle, list), Json::object()};
        answer.mResults["count"] = list->NumberOfEntries;
        answer.mResults["mappings"] = Json::array();
        for (std::uint32_t i = 0; i < std::min(room, list->NumberOfEntries); ++i)
        {
            answer.mResults["mappings"].push_back(recordedForm(list->entry[i]));
        }
        return answer;
    }

    std::optional<Answer> scsiAnswer(RecordedCall const& aCall, HBA_HANDLE aHandle)
    {
        constexpr std::uint32_t most = 131'080;  // of the longest list of LUNs
        std::vector<std::uint8_t> response(
            std::min(valueOf<std::uint32_t>(aCall.mArguments, "response"), most), unwritten);
        std::vector<std::uint8_t> sense(std::min(valueOf<std::uint32_t>(aCall.mArguments, "sense"), most));
        auto responseSize = static_cast<HBA_UINT32>(response.size());
        auto senseSize = static_cast<HBA_UINT32>(sense.size());
        HBA_UINT8 scsiStatus = 0;
        ScsiBuffers const buffers{response.data(), &responseSize, &scsiStatus, sense.data(), &senseSize};
        ScsiAddress const address{aHandle, std::nullopt, valueOf<HBA_WWN>(aCall.mArguments, "target")};
        HBA_UINT64 lun = 0;
        Bytes lunBytes = bytesOf(aCall.mArguments, "lun");
        lunBytes.resize(sizeof lun);
        std::memcpy(&lun, lunBytes.data(), sizeof lun);
        Answer answer;
        if (aCall.mFunction == "HBA_SendReportLUNs")
        {
            answer.mReturned = mSimulation.reportLuns(address, buffers);
        }
        else if (aCall.mFunction == "HBA_SendScsiInquiry")
        {
            answer.mReturned =
                mSimulation.inquiry(address, lun, valueOf<HBA_UINT8>(aCall.mArguments, "vital_product_data"),
                                    valueOf<HBA_UINT32>(aCall.mArguments, "page"), buffers);
        }
        else if (aCall.mFunction == "HBA_SendReadCapacity")
        {
            answer.mReturned = mSimulation.readCapacity(address, lun, buffers);
        }
        else
        {
            return {};
        }
        while (!response.empty() && response.back() == unwritten)
        {
            response.pop_back();
        }
        answer.mResults["response_written"] = response.size();
        answer.mResults["response"] = Json::binary(response);
        answer.mResults["sense"] = Json::binary(sense);
        return answer;
    }

    static constexpr std::uint8_t unwritten = 0xdb;

    HbaSimulation mSimulation;
    Opens mOpen;
};

Json valueIn(Json const& aObject, char const* aName)
{
    auto const found = aObject.find(aName);
    return found == aObject.end() ? Json() : *found;
}

/// @return the names of the attributes in which they differ
std::string differingAttributes(Json const& aRecorded, Json const& aSimulated)
{
    std::string names;
    for (auto const& [name, value] : aSimulated.items())
    {
        names += valueIn(aRecorded, name.c_str()) == value ? "" : (names.empty() ? "" : ", ") + name;
    }
    return names;
}

/// @return the mappings in one order, without the numbers that the operating system gives to ports and targets
Json comparable(Json aMappings)
{
    for (Json& mapping : aMappings)
    {
        if (auto const scsi = mapping.find("scsi"); scsi != mapping.end() && scsi->is_object())
        {
            scsi->erase("bus");
            scsi->erase("target");
        }
    }
    if (aMappings.is_array())
    {
        std::sort(aMappings.begin(), aMappings.end());
    }
    return aMappings;
}

/// @param aWritten number of bytes that were written in the recorded response to a SCSI command
/// @return how the answers differ; empty if they do not
std::string difference(RecordedCall const& aCall, Answer const& aAnswer, std::size_t aWritten)
{
    std::uint32_t const returned = aCall.mReturned.value_or(0);
    if (returned != aAnswer.mReturned)
    {
        return fmt::format("returns {} instead of {}", aAnswer.mReturned, returned);
    }
    Json const& recorded = aCall.mResults;
    Json const& simulated = aAnswer.mResults;
    if (returned == HBA_STATUS_SCSI_CHECK_CONDITION)
    {
        bool const isSame = senseIn(bytesOf(recorded, "sense")) == senseIn(bytesOf(simulated, "sense"));
        return isSame ? "" : "has another sense";
    }
    if (simulated.contains("mappings") && (returned == HBA_STATUS_OK || recorded.contains("mappings")))
    {
        bool const isWhole = returned == HBA_STATUS_OK;
        bool const isSame =
            valueIn(recorded, "count") == simulated["count"] &&
            (!isWhole || comparable(valueIn(recorded, "mappings")) == comparable(simulated["mappings"]));
        return isSame ? "" : "has other mappings";
    }
    if (returned != HBA_STATUS_OK)
    {
        return {};
    }
    if (simulated.contains("attributes"))
    {
        std::string const names =
            differingAttributes(valueIn(recorded, "attributes"), simulated["attributes"]);
        return names.empty() ? names : "has other attributes: " + names;
    }
    bool const isSame = !simulated.contains("response") ||
                        contentOf(aCall.mFunction, bytesOf(recorded, "response"), aWritten) ==
                            contentOf(aCall.mFunction, bytesOf(simulated, "response"),
                                      valueOf<std::uint32_t>(simulated, "response_written"));
    return isSame ? "" : "has another response";
}

/// @return whether the answer says that the number of the last block is too large for it
bool isOfLargeDisk(RecordedCall const& aCall, std::size_t aWritten)
{
    constexpr std::size_t sizeOfNumber = 4;
    constexpr std::uint8_t allBits = 0xff;
    Bytes const response = bytesOf(aCall.mResults, "response");
    return aCall.mFunction == "HBA_SendReadCapacity" && aCall.mReturned == HBA_STATUS_OK &&
           std::min(aWritten, response.size()) >= sizeOfNumber &&
           std::count(response.begin(), response.begin() + sizeOfNumber, allBits) == sizeOfNumber;
}
}  // namespace

std::vector<std::string> differencesOf(Recording const& aRecording, std::string const& aScenario)
{
    struct Found
    {
        std::size_t mCalls;
        std::size_t mDifferent;
        std::string mFirst;
    };
    std::map<std::string, Found> functions;
    std::set<Unit> largeDisks;
    WrittenSizes sizes;
    std::vector<RecordedCall> const& calls = aRecording.calls();
    auto const loads =
        std::count_if(calls.begin(), calls.end(),
                      [](RecordedCall const& aCall) { return aCall.mFunction == "HBA_LoadLibrary"; });
    Rehearsal rehearsal(aScenario, static_cast<std::size_t>(loads));
    for (RecordedCall const& call : calls)
    {
        std::size_t const written = sendsScsiCommand(call) ? sizes.of(call) : 0;
        std::optional<Answer> const answer =
            call.mLibrary == vendorLibraryPath ? std::nullopt : rehearsal.answer(call);
        if (!answer)
        {
            continue;
        }
        if (isOfLargeDisk(call, written))
        {
            largeDisks.insert(rehearsal.unitOf(call));
        }
        Found& found = functions[call.mFunction];
        ++found.mCalls;
        if (std::string const reason = difference(call, *answer, written); !reason.empty())
        {
            found.mFirst =
                found.mDifferent++ == 0
                    ? fmt::format("{}, which {}", describeCall(call.mFunction, call.mArguments), reason)
                    : found.mFirst;
        }
    }
    std::vector<std::string> sentences;
    for (auto const& [name, found] : functions)
    {
        if (found.mDifferent != 0)
        {
            sentences.push_back(
                fmt::format("{} of {} calls of {} have other answers than in the recording; the first is {}",
                            found.mDifferent, found.mCalls, name, found.mFirst));
        }
    }
    if (!largeDisks.empty())
    {
        sentences.push_back(
            fmt::format("the sizes of {} LUNs are not in the recording, because READ CAPACITY shows only "
                        "that they have 2^32 or more blocks",
                        largeDisks.size()));
    }
    return sentences;
}
}  // namespace qzsim
