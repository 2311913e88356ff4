#include "tools/qzagent/report/ReportInputs.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <ios>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/EventMerge.h"
#include "tools/qzagent/capture/ForeignJson.h"
#include "tools/qzagent/capture/LinkTypes.h"
#include "tools/qzagent/check/HostCheck.h"
#include "tools/qzagent/documents/DocumentValue.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;

/// @return the JSON of the text; none when it is no JSON object
std::optional<Json> objectIn(std::string_view aText)
{
    try
    {
        Json json = parseForeignJson<Json>(aText);
        return json.is_object() ? std::optional(std::move(json)) : std::nullopt;
    }
    catch (DeepJsonError const&)
    {
    }
    catch (nlohmann::json::exception const&)
    {
    }
    return {};
}

bool isIntervalOfLatency(Json const& aLine)
{
    return aLine.contains("length_seconds") && aLine.contains("target_ports");
}

std::string timeOfDocument(Json const& aDocument)
{
    auto const found = aDocument.find("generated_at");
    return found != aDocument.end() && found->is_string() ? found->get<std::string>() : "";
}

constexpr char const* figuresOfLooks[] = {"p50", "p90", "p99", "maximum"};

/// @return the entry of a target port in a look at latencies
Json lookEntry(std::string const& aAdapter, DocumentValue const& aPort, DocumentValue const& aLatencies)
{
    Json entry{{"adapter", aAdapter},
               {"port_wwn", aPort.at("port_wwn").text()},
               {"io_count", aLatencies.at("io_count").number()}};
    if (aLatencies.has("latency_us"))
    {
        DocumentValue const figures = aLatencies.at("latency_us");
        for (char const* const key : figuresOfLooks)
        {
            DocumentValue const figure = figures.at(key);
            if (!figure.json().is_number())
            {
                figure.refuse("a number");
            }
            entry[key] = figure.json();
        }
    }
    return entry;
}

Json lookOf(DocumentValue const& aInterval)
{
    Json look{{"time", aInterval.at("time").text()}, {"target_ports", Json::array()}};
    for (DocumentValue const& port : aInterval.listAt("target_ports"))
    {
        look["target_ports"].push_back(lookEntry(port.at("adapter_name").text(), port, port));
    }
    return look;
}

std::string const& timeOfLook(Json const& aLook) { return aLook["time"].get_ref<std::string const&>(); }

/// Looks that become one: its time is that of the first, each figure of a target port is the worst.
class JoinedLooks
{
public:
    void add(Json const& aLook)
    {
        if (mLook.is_null())
        {
            mLook = {{"time", timeOfLook(aLook)}, {"target_ports", Json::array()}};
        }
        for (Json const& port : aLook["target_ports"])
        {
            addPort(port);
        }
    }

    Json const& look() const { return mLook; }

private:
    void addPort(Json const& aPort)
    {
        Json& ports = mLook["target_ports"];
        auto const [place, isNew] = mPlaces.emplace(
            std::pair(aPort["adapter"].get<std::string>(), aPort["port_wwn"].get<std::string>()),
            ports.size());
        if (isNew)
        {
            ports.push_back(aPort);
            return;
        }
        Json& joined = ports[place->second];
        joined["io_count"] = joined["io_count"].get<std::uint64_t>() + aPort["io_count"].get<std::uint64_t>();
        for (char const* const key : figuresOfLooks)
        {
            if (aPort.contains(key) && (!joined.contains(key) || joined[key] < aPort[key]))
            {
                joined[key] = aPort[key];
            }
        }
    }

    Json mLook;
    /// Of each adapter and target port.
    std::map<std::pair<std::string, std::string>, std::size_t> mPlaces;
};
}  // namespace

void ReportInputs::read(std::vector<std::string> const& aPaths)
{
    std::vector<std::string> captures;
    for (std::string const& path : aPaths)
    {
        if (formOfFile(path) != CaptureForm::json || (!readIntervals(path) && !readDocument(path)))
        {
            captures.push_back(path);
        }
    }
    EventMerge merge(captures, {},
                     {mDamage, [] {},
                      [this](CaptureOther const& aOther)
                      {
                          if (aOther.mInterface->mLinkType == documentLinkType)
                          {
                              addText(
                                  aOther.mInterface->mName,
                                  {reinterpret_cast<char const*>(aOther.mData.mData), aOther.mData.mSize});
                          }
                          else
                          {
                              ++mOthers;
                          }
                      },
                      [this](CaptureLatencies const&) { ++mOthers; }});
    while (CaptureEvent const* const event = merge.next())
    {
        mEvents.add(*event);
    }
}

nlohmann::ordered_json ReportInputs::latencyLooks() const
{
    std::vector<std::reference_wrapper<Json const>> looks(mLooks.begin(), mLooks.end());
    std::stable_sort(looks.begin(), looks.end(),
                     [](Json const& aLeft, Json const& aRight)
                     { return timeOfLook(aLeft) < timeOfLook(aRight); });
    std::size_t const size = (looks.size() + mostReportedLooks - 1) / mostReportedLooks;
    Json joinedLooks = Json::array();
    for (std::size_t from = 0; from < looks.size(); from += size)
    {
        JoinedLooks joined;
        for (std::size_t i = from; i < std::min(from + size, looks.size()); ++i)
        {
            joined.add(looks[i]);
        }
        joinedLooks.push_back(joined.look());
    }
    return joinedLooks;
}

bool ReportInputs::isEmpty() const
{
    return mDocuments.size() == unknownDocuments().size() && mEvents.isEmpty() && mLooks.empty();
}

std::vector<std::string> ReportInputs::unknownDocuments() const
{
    // A bundle has the document of vendor, whose errors it repeats.
    constexpr std::string_view known[] = {inventoryName, firstStatisticsName, secondStatisticsName,
                                          portsName,     latencyName,         watchName,
                                          "vendor"};
    std::vector<std::string> unknown;
    for (auto const& [name, document] : mDocuments)
    {
        if (std::find(std::begin(known), std::end(known), name) == std::end(known))
        {
            unknown.push_back(name);
        }
    }
    return unknown;
}

void ReportInputs::add(std::string const& aName, nlohmann::ordered_json aDocument)
{
    if (aName == latencyName)
    {
        addLook(aDocument);
    }
    auto const found = mDocuments.find(aName);
    bool const isNewer =
        found == mDocuments.end() ||
        (aName == firstStatisticsName ? timeOfDocument(aDocument) < timeOfDocument(found->second)
                                      : timeOfDocument(aDocument) >= timeOfDocument(found->second));
    if (isNewer)
    {
        mDocuments[aName] = std::move(aDocument);
    }
}

void ReportInputs::addText(std::string const& aName, std::string_view aText)
{
    if (std::optional<Json> document = objectIn(aText))
    {
        add(aName, std::move(*document));
    }
    else
    {
        mDamage(fmt::format("the document {} is not a JSON object", aName));
    }
}

void ReportInputs::addLook(nlohmann::ordered_json const& aLatency)
{
    try
    {
        DocumentValue const document = documentOf(latencyName, aLatency, latencyName);
        Json look{{"time", document.at("generated_at").text()}, {"target_ports", Json::array()}};
        for (DocumentValue const& adapter : document.listAt("adapters"))
        {
            for (DocumentValue const& port : adapter.listAt("target_ports"))
            {
                look["target_ports"].push_back(
                    lookEntry(adapter.at("name").text(), port, port.at("latencies")));
            }
        }
        mLooks.push_back(std::move(look));
    }
    catch (DocumentError const& error)
    {
        mDamage(error.what());
    }
}

/// @return whether the file is a document
bool ReportInputs::readDocument(std::string const& aPath)
{
    std::ifstream file(aPath, std::ios::binary);
    std::string const text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::optional<Json> document = objectIn(text);
    if (!document || !document->contains("command") || !(*document)["command"].is_string())
    {
        return false;
    }
    std::string const command = (*document)["command"];
    if (command == "statistics")
    {
        add(firstStatisticsName, *document);
        add(secondStatisticsName, std::move(*document));
    }
    else
    {
        add(command, std::move(*document));
    }
    return true;
}

/// @return whether the file has lines of `latency --interval --json`
bool ReportInputs::readIntervals(std::string const& aPath)
{
    std::ifstream file(aPath, std::ios::binary);
    std::size_t number = 0;
    for (std::string line; std::getline(file, line);)
    {
        std::optional<Json> const interval = objectIn(line);
        bool const isInterval = interval && isIntervalOfLatency(*interval);
        if (++number == 1 && !isInterval)
        {
            return false;
        }
        try
        {
            if (!isInterval)
            {
                throw DocumentError("an interval of latencies was expected");
            }
            mLooks.push_back(lookOf({*interval, "the interval"}));
        }
        catch (DocumentError const& error)
        {
            mDamage(fmt::format("{}:{}: {}", aPath, number, error.what()));
        }
    }
    return true;
}
}  // namespace qzagent
