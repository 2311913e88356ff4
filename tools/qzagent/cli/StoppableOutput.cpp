#include "tools/qzagent/cli/StoppableOutput.h"

#include <climits>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"

namespace qzagent
{
namespace
{
constexpr unsigned int signalsToGiveUp = 2;

/// Waits here because a signal does not end a write that blocks.
void waitForRoom(Output const& aOutput, StopSignals& aSignals)
{
    while (!aOutput.waitForRoom(aSignals.descriptor()))
    {
        aSignals.take();
        if (aSignals.count() >= signalsToGiveUp)
        {
            throw std::runtime_error("cannot write standard output: the reader does not read");
        }
    }
}
}  // namespace

void writeStoppably(Output& aOutput, StopSignals& aSignals, std::string const& aText)
{
    for (std::size_t done = 0; done < aText.size(); done += PIPE_BUF)
    {
        waitForRoom(aOutput, aSignals);
        aOutput.write(aText.substr(done, PIPE_BUF));
    }
}
}  // namespace qzagent
