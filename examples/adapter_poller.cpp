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
#include "agentkit/include/HbaWitness.h"
#include "agentkit/include/Wwn.h"

namespace
{
struct Ports
{
    std::map<qz::Wwn, HBA_PORTSTATE> mStates;  // 0, which is no state of the HBA API, when the port is gone
    bool mIsComplete = true;                   // otherwise a missing port may only have failed to answer
    void add(HBA_PORTATTRIBUTES const& aPort) { mStates[qz::Wwn(aPort.PortWWN)] = aPort.PortState; }
};

/// An adapter or port that fails is reported and does not hide the others.
template <typename Action>
void attempt(std::string const& aWhat, Ports& aPorts, Action aAction)
try
{
    aAction();
}
catch (std::exception const& exception)
{
    std::fprintf(stderr, "adapter_poller: %s: %s, status %u\n", aWhat.c_str(), exception.what(),
                 qz::lastHbaCall().mStatus);
    aPorts.mIsComplete = false;
}

void readAdapter(qz::HbaApi& aApi, unsigned int aIndex, Ports& aPorts)
{
    qz::Adapter adapter(aApi, aApi.adapterName(aIndex));
    for (unsigned int port = 0, ports = adapter.attributes()->NumberOfPorts; port < ports; ++port)
    {
        attempt("adapter " + std::to_string(aIndex) + " port " + std::to_string(port), aPorts,
                [&] { aPorts.add(adapter.port(port)); });
    }
}

void readAll(Ports& aPorts)
{
    qz::HbaApi api;  // loaded for each round: some HBA libraries read their ports only then
    for (unsigned int index = 0; index < api.numberOfAdapters(); ++index)
    {
        attempt("adapter " + std::to_string(index), aPorts, [&] { readAdapter(api, index, aPorts); });
    }
}
}  // namespace

int main(int aCount, char** aArguments)
{
    std::chrono::seconds const interval(aCount == 3 ? std::atoi(aArguments[1]) : 1);
    Ports last;
    for (int round = 0, rounds = aCount == 3 ? std::atoi(aArguments[2]) : 1; round < rounds; ++round)
    {
        std::this_thread::sleep_for(round == 0 ? interval * 0 : interval);
        Ports now = last;
        std::for_each(now.mStates.begin(), now.mStates.end(), [](auto& aPort) { aPort.second = 0; });
        attempt("HBA API", now, [&] { readAll(now); });
        for (auto const& [name, state] : now.mStates)
        {
            if (last.mStates[name] != state && (state != 0 || now.mIsComplete))
            {
                std::printf("%s %s %u\n", name.text().c_str(), state == 0 ? "gone" : "state", state);
                last.mStates[name] = state;
            }
        }
    }
}
