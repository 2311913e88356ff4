#include "tools/qzagent/cli/PatientOutput.h"

#include <climits>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace qzagent
{
namespace
{
constexpr unsigned int signalsToGiveUp = 2;
}  // namespace

void PatientOutput::write(std::string const& aText)
{
    for (std::size_t done = 0; done < aText.size(); done += PIPE_BUF)
    {
        waitForRoom();
        mOutput.write(aText.substr(done, PIPE_BUF));
    }
}

/// Waits here because a signal does not end a write that blocks.
void PatientOutput::waitForRoom()
{
    while (!mOutput.waitForRoom(mSignals.descriptor()))
    {
        mSignals.take();
        if (mSignals.count() >= signalsToGiveUp)
        {
            throw std::runtime_error("cannot write standard output: the reader does not read");
        }
    }
}
}  // namespace qzagent
