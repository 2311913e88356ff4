#include "benchmarks/LoggerPeer.h"

#include <atomic>
#include <cstdlib>

namespace
{
std::atomic<unsigned int> gMask{~128u};
}

void peerLog(unsigned int aLevel, char const*, unsigned int, char const*, char const*, char const*, ...)
{
    if ((aLevel & gMask.load(std::memory_order_relaxed)) == 0)
    {
        return;
    }
    std::abort();
}
