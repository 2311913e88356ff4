#include "tools/qzagent/vqm/QuazorSupport.h"

#include <cstring>
#include <memory>
#include <stdexcept>

#include <dlfcn.h>
#include <fmt/format.h>

#include "agentkit/include/VqmLibrary.h"
#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "tools/qzagent/cli/CurrentStep.h"

namespace qzagent
{
namespace
{
using Records = QZCLibvqmRecords;
using VqmGetDrvInfo = unsigned int(unsigned int, void*);

/// The layer does not keep the result, so the agent calls the function again.
/// @throws std::runtime_error when the function fails, or failed when the layer called it
void expectDriverInfo()
{
    std::unique_ptr<void, int (*)(void*)> const library(::dlopen("/usr/lib/libvqm.so", RTLD_LAZY),
                                                        &::dlclose);
    auto* const getDrvInfo = reinterpret_cast<VqmGetDrvInfo*>(::dlsym(library.get(), "VQM_GetDrvInfo"));
    alignas(Records::sgAlignment) unsigned char record[Records::sgDriverInfoSize] = {};
    record[Records::sgDriverInfoVersionPosition] = Records::sgDriverInfoVersion;
    setCurrentStep("VQM_GetDrvInfo of board 0");
    if (unsigned int const result = getDrvInfo(0, record); result != 0)
    {
        throw std::runtime_error(fmt::format("VQM_GetDrvInfo of board 0 failed with result {}", result));
    }
    unsigned long long features = 0;
    std::memcpy(&features, record + Records::sgFeatureListPosition, sizeof features);
    if (record[Records::sgDriverInfoVersionPosition] >= Records::sgDriverInfoVersion &&
        (features & Records::sgQuazorFeature) != 0)
    {
        throw std::runtime_error("VQM_GetDrvInfo of board 0 failed once; a second call succeeded");
    }
}
}  // namespace

bool supportsQuazorEvents(qz::VqmEnvironment& aEnvironment)
{
    bool const isSupported = aEnvironment.supportsQuazorEvents();
    if (!isSupported)
    {
        expectDriverInfo();
    }
    return isSupported;
}
}  // namespace qzagent
