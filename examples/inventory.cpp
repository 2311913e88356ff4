// Lists the adapters of this host, the World Wide Names of their ports, and the LUNs of their targets.
#include <cstdio>
#include <ctime>
#include <exception>
#include <set>
#include <string>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"

namespace
{
void listTargets(qz::Adapter& aAdapter)
{
    std::set<qz::Wwn> targets;
    for (HBA_FCPSCSIENTRY const& mapping : aAdapter.targetMappings())
    {
        targets.emplace(mapping.FcpId.PortWWN);
    }
    for (qz::Wwn const& target : targets)
    {
        std::printf("  target %s, %zu LUNs\n", target.text().c_str(),
                    aAdapter.reportLuns(target).luns().size());
    }
}

void listAdapter(qz::HbaApi& aApi, std::string const& aName)
{
    std::printf("%s\n", aName.c_str());
    qz::Adapter adapter(aApi, aName);
    unsigned int const ports = adapter.attributes()->NumberOfPorts;
    for (unsigned int port = 0; port < ports; ++port)
    {
        std::printf("  port %u %s\n", port, qz::Wwn(adapter.port(port).PortWWN).text().c_str());
    }
    listTargets(adapter);
}
}  // namespace

int main()
try
{
    qz::HbaApi api;
    for (unsigned int index = 0; index < api.numberOfAdapters(); ++index)
    {
        listAdapter(api, api.adapterName(index));
    }
}
catch (std::exception const& exception)
{
    std::fprintf(stderr, "inventory: %s\n", exception.what());
    return 1;
}
