#include "tools/qzagent/topology/Topology.h"

#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/documents/DocumentFile.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/documents/LiveDocument.h"
#include "tools/qzagent/topology/FabricTree.h"
#include "tools/qzagent/topology/TopologyJson.h"
#include "tools/qzagent/topology/TopologyLayout.h"
#include "tools/qzagent/topology/TopologyPicture.h"

namespace qzagent
{
namespace
{
struct TopologyOptions
{
    std::optional<std::string> mBundle;  ///< none for the host now
    bool mIsDot = false;
    bool mIsSvg = false;
    std::uint64_t mTimeout = 300;  ///< of the look at the host, in seconds
};

/// @return the document of the verb inventory. Its errors become those of the report
nlohmann::ordered_json inventoryOf(Setting const& aSetting, TopologyOptions const& aOptions)
{
    if (aOptions.mBundle)
    {
        return documentNamed("inventory", readDocuments(*aOptions.mBundle, aSetting.mReport),
                             *aOptions.mBundle);
    }
    StopSignals signals;
    std::chrono::seconds const limit(aOptions.mTimeout);
    nlohmann::ordered_json document = readLive(aSetting, signals, limit, &addInventory, {"inventory"});
    aSetting.mReport.addOthers(static_cast<ExitCode>(document.at("exit_status").get<int>()));
    return document;
}

/// Reports what the document of a file does not show by itself.
void reportFile(HostPart const& aHost, std::string const& aPath, Report& aReport)
{
    if (hasFailure(aHost))
    {
        aReport.addError(ExitCode::failed, fmt::format("{}: the inventory is incomplete", aPath));
    }
    else if (aHost.mParts.empty())
    {
        aReport.addNote("no adapters");
    }
}

Answer showTopology(Setting const& aSetting, TopologyOptions const& aOptions)
{
    std::string const source = aOptions.mBundle.value_or("the host");
    HostPart const host = hostTreeOf(inventoryOf(aSetting, aOptions), source).mRoot;
    if (aOptions.mBundle)
    {
        reportFile(host, source, aSetting.mReport);
    }
    if (aOptions.mIsDot)
    {
        return {{}, dotOf(topologyOf(host))};
    }
    if (aOptions.mIsSvg)
    {
        Topology const topology = topologyOf(host);
        return {{}, svgOf(topology, layoutOf(topology))};
    }
    if (aSetting.mIsJson)
    {
        return {jsonOf(topologyOf(host, std::numeric_limits<std::size_t>::max())), {}};
    }
    return {{}, fabricTreeOf(host, aSetting.mIsColoured)};
}

Answer topology(Setting const& aSetting, TopologyOptions const& aOptions)
{
    if (int{aOptions.mIsDot} + int{aOptions.mIsSvg} + int{aSetting.mIsJson} > 1)
    {
        aSetting.mReport.addError(ExitCode::misused,
                                  "only one of --dot, --svg and --json can be given; see "
                                  "qzagent topology --help");
        return {};
    }
    try
    {
        return showTopology(aSetting, aOptions);
    }
    catch (DocumentError const& error)
    {
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    return {};
}
}  // namespace

void addTopology(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<TopologyOptions>();
    ArgumentList arguments = aCommandLine.addVerb(
        "topology", "Show the fabrics with the ports in them",
        "  qzagent topology           the fabrics with the ports of the host and its targets\n"
        "  qzagent topology --svg visit.pcapng > topology.svg\n"
        "                             a picture of the host of a bundle\n",
        [options](Setting const& aSetting) { return topology(aSetting, *options); });
    arguments.addPositional(
        "BUNDLE", options->mBundle,
        "Show this bundle, report or output of inventory --json; the host now by default");
    arguments.addFlag("--dot", options->mIsDot, "Print a graph for Graphviz");
    arguments.addFlag("--svg", options->mIsSvg, "Print a picture");
    arguments.addNumber("--part-timeout", "S", {1, longestLook}, options->mTimeout,
                        "Give up when the look at the host takes longer than S seconds; 300 by default");
}
}  // namespace qzagent
