#include "tools/qzagent/statistics/StatisticsLook.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <hbaapi.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/HbaLimits.h"
#include "tools/qzagent/hba/HbaStep.h"
#include "tools/qzagent/hba/Host.h"
#include "tools/qzagent/statistics/Counters.h"

namespace qzagent
{
namespace
{
constexpr unsigned int failedCallCode = 802;

/// Sets the counters, or that the port offers none.
void readCounts(qz::Adapter& aAdapter, unsigned int aIndex, PortStatistics& aPort)
{
    HBA_PORTSTATISTICS statistics{};
    // A library that answers OK without an answer must not look like a port that counted nothing.
    for (Counter const& counter : counters)
    {
        statistics.*counter.mField = -1;
    }
    HBA_STATUS const status = HBA_GetPortStatistics(aAdapter.handle(), aIndex, &statistics);
    aPort.mIsOffered = status != HBA_STATUS_ERROR_NOT_SUPPORTED;
    if (status == HBA_STATUS_OK)
    {
        aPort.mCounts = countsOf(statistics);
    }
    else if (aPort.mIsOffered)
    {
        throw QZCHbaapiEx(
            fmt::format("HBA_GetPortStatistics method failed for port {}", aPort.mName.text()).c_str(),
            failedCallCode);
    }
}

/// Adds a note for each port that offers no counters; only one if this applies to all ports.
void noteMissing(AdapterStatistics const& aAdapter, Report& aReport)
{
    std::vector<PortStatistics> const ports = aAdapter.mPorts.value_or(std::vector<PortStatistics>());
    auto const isMissing = [](PortStatistics const& aPort) { return !aPort.mIsOffered; };
    if (aAdapter.mIsComplete && !ports.empty() && std::all_of(ports.begin(), ports.end(), isMissing))
    {
        aReport.addNote(aAdapter.mName + ": the adapter does not offer port statistics");
        return;
    }
    for (PortStatistics const& port : ports)
    {
        if (isMissing(port))
        {
            aReport.addNote(
                fmt::format("{}: port {} does not offer port statistics", aAdapter.mName, port.mIndex));
        }
    }
}

/// Reads the ports. A port whose attributes are unavailable has no name and is left out.
void readPorts(qz::HbaApi& aApi, AdapterStatistics& aAdapter, Report& aReport)
{
    qz::Adapter opened(aApi, aAdapter.mName);
    unsigned int const count = opened.attributes()->NumberOfPorts;
    expectAtMost(mostPorts, count, "ports");
    aAdapter.mPorts.emplace();
    for (unsigned int i = 0; i < count; ++i)
    {
        HbaStep const step;
        try
        {
            qz::Wwn const name(opened.port(i).PortWWN);
            readCounts(opened, i, aAdapter.mPorts->emplace_back(PortStatistics{i, name, {}}));
        }
        catch (std::exception const& exception)
        {
            aReport.addFailure(step.failureOf(exception), {aAdapter.mName, i});
        }
    }
    aAdapter.mIsComplete = aAdapter.mPorts->size() == count;
}

using LookJson = nlohmann::json;

constexpr char const* invalidAnswer = "invalid answer";

/// @return the number, which json converts without a check
std::uint64_t numberIn(LookJson const& aJson,
                       std::uint64_t aLargest = std::numeric_limits<std::uint64_t>::max())
{
    if (!aJson.is_number_unsigned() || aJson.get<std::uint64_t>() > aLargest)
    {
        throw std::runtime_error(invalidAnswer);
    }
    return aJson.get<std::uint64_t>();
}

std::size_t indexIn(LookJson const& aJson)
{
    return static_cast<std::size_t>(numberIn(aJson, std::numeric_limits<std::size_t>::max()));
}

/// A list as json, or null; and back.
/// @{
template <typename Element, typename Convert>
LookJson listOf(std::vector<Element> const& aElements, Convert const& aConvert)
{
    LookJson list = LookJson::array();
    for (Element const& element : aElements)
    {
        list.push_back(aConvert(element));
    }
    return list;
}

template <typename Element, typename Convert>
std::vector<Element> listIn(LookJson const& aJson, Convert const& aConvert)
{
    std::vector<Element> elements;
    for (LookJson const& element : aJson.get_ref<LookJson::array_t const&>())
    {
        elements.push_back(aConvert(element));
    }
    return elements;
}
/// @}

LookJson bytesOfPort(PortStatistics const& aPort)
{
    LookJson counts;
    if (aPort.mCounts)
    {
        for (auto const& count : *aPort.mCounts)
        {
            counts.push_back(count ? LookJson(*count) : LookJson());
        }
    }
    return {aPort.mIndex, aPort.mName.text(), counts, aPort.mIsOffered};
}

PortStatistics portIn(LookJson const& aJson)
{
    std::optional<qz::Wwn> const name = qz::Wwn::parse(aJson.at(1).get<std::string>());
    if (!name)
    {
        throw std::runtime_error(invalidAnswer);
    }
    PortStatistics port{indexIn(aJson.at(0)), *name, {}, aJson.at(3).get<bool>()};
    LookJson const& counts = aJson.at(2);
    if (!counts.is_null())
    {
        port.mCounts.emplace();
        for (std::size_t i = 0; i < counters.size(); ++i)
        {
            if (!counts.at(i).is_null())
            {
                (*port.mCounts)[i] = numberIn(counts.at(i));
            }
        }
    }
    return port;
}

LookJson bytesOfAdapter(AdapterStatistics const& aAdapter)
{
    return {aAdapter.mIndex, aAdapter.mName,
            aAdapter.mPorts ? listOf(*aAdapter.mPorts, &bytesOfPort) : LookJson(), aAdapter.mIsComplete};
}

AdapterStatistics adapterIn(LookJson const& aJson)
{
    AdapterStatistics adapter{
        indexIn(aJson.at(0)), aJson.at(1).get<std::string>(), {}, aJson.at(3).get<bool>()};
    if (!aJson.at(2).is_null())
    {
        adapter.mPorts = listIn<PortStatistics>(aJson.at(2), &portIn);
    }
    return adapter;
}
}  // namespace

StatisticsLook lookAt(std::optional<std::string> const& aWanted, Report& aReport, Progress& aProgress,
                      std::function<void(AdapterStatistics const&)> const& aOnAdapter)
{
    StatisticsLook look{};
    visitAdapters(aReport, aWanted,
                  [&](qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName)
                  {
                      aProgress.setStep(aName + ": statistics");
                      AdapterStatistics& adapter =
                          look.mAdapters.emplace_back(AdapterStatistics{aIndex, aName, {}, false});
                      HbaStep const step;
                      try
                      {
                          readPorts(aApi, adapter, aReport);
                      }
                      catch (std::exception const& exception)
                      {
                          aReport.addFailure(step.failureOf(exception), {aName});
                      }
                      noteMissing(adapter, aReport);
                      aOnAdapter(adapter);
                  });
    look.mTime = std::chrono::steady_clock::now().time_since_epoch();
    look.mExitCode = aReport.exitCode();
    return look;
}

std::vector<std::uint8_t> bytesOf(StatisticsLook const& aLook)
{
    return LookJson::to_cbor({aLook.mTime.count(), listOf(aLook.mAdapters, &bytesOfAdapter),
                              static_cast<unsigned int>(aLook.mExitCode)});
}

StatisticsLook lookIn(std::vector<std::uint8_t> const& aBytes)
{
    LookJson const json = LookJson::from_cbor(aBytes);
    constexpr auto largestTime = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    constexpr auto largestCode = static_cast<std::uint64_t>(ExitCode::misused);
    return {std::chrono::nanoseconds(numberIn(json.at(0), largestTime)),
            listIn<AdapterStatistics>(json.at(1), &adapterIn),
            static_cast<ExitCode>(numberIn(json.at(2), largestCode))};
}
}  // namespace qzagent
