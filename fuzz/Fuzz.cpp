#include "fuzz/Fuzz.h"

#include <cstddef>
#include <cstdint>

#include "backend/common/include/Logger.h"

namespace
{
void dropLine(void*, char const*, unsigned int) {}
}  // namespace

/// Every log line is formatted, with values from the input, and then dropped.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    SetLogLevelMask(QZLL_Assertion | QZLL_Error | QZLL_Notice | QZLL_Information | QZLL_Trace);
    SetLogSink(&dropLine, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aBytes, std::size_t aSize)
{
    fuzz::check({aBytes, aSize});
    return 0;
}
