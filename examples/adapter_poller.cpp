// Prints what changes at the adapters' ports: adapter_poller SECONDS ROUNDS.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <map>
#include <string>
#include <thread>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"

namespace
{
constexpr HBA_PORTSTATE gone = 0;  // no state of the HBA API

using States = std::map<qz::Wwn, HBA_PORTSTATE>;

/// An adapter or port that fails is reported and does not hide the others.
template <typename Action>
void attempt(std::string const& aWhat, Action aAction)
try
{
    aAction();
}
catch (std::exception const& exception)
{
    std::fprintf(stderr, "adapter_poller: %s: %s\n", aWhat.c_str(), exception.what());
}

void readAdapter(qz::HbaApi& aApi, unsigned int aIndex, States& aStates)
{
    std::string const name = aApi.adapterName(aIndex);
    qz::Adapter adapter(aApi, name);
    for (unsigned int port = 0, ports = adapter.attributes()->NumberOfPorts; port < ports; ++port)
    {
        attempt(name + " port " + std::to_string(port),
                [&]
                {
                    HBA_PORTATTRIBUTES const found = adapter.port(port);
                    aStates[qz::Wwn(found.PortWWN)] = found.PortState;
                });
    }
}

void readAll(States& aStates)
{
    qz::HbaApi api;  // loaded for each round: some HBA libraries read their ports only then
    for (unsigned int index = 0; index < api.numberOfAdapters(); ++index)
    {
        attempt("adapter " + std::to_string(index), [&] { readAdapter(api, index, aStates); });
    }
}
}  // namespace

int main(int aCount, char** aArguments)
{
    std::chrono::seconds const interval(aCount == 3 ? std::atoi(aArguments[1]) : 1);
    int const rounds = aCount == 3 ? std::atoi(aArguments[2]) : 1;
    States last;
    for (int round = 0; round < rounds; ++round)
    {
        std::this_thread::sleep_for(round == 0 ? interval * 0 : interval);
        States now = last;
        std::for_each(now.begin(), now.end(), [](auto& aEntry) { aEntry.second = gone; });
        attempt("HBA API", [&] { readAll(now); });
        for (auto const& [name, state] : now)
        {
            if (last[name] != state)
            {
                std::printf("%s %s %u\n", name.text().c_str(), state == gone ? "gone" : "state", state);
            }
        }
        last = now;
    }
}
