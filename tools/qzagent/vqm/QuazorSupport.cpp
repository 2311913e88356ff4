#include "tools/qzagent/vqm/QuazorSupport.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

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

/// A list of features until the library writes one. It does not have the feature of Quazor events.
constexpr unsigned long long unwrittenFeatures =
    0xa5a5a5a5a5a5a5a5 & ~static_cast<unsigned long long>(Records::sgQuazorFeature);

/// The layer does not keep the result, so the agent calls the function again.
/// @throws std::runtime_error when the function fails or does not answer, or did so when the layer called it
void expectDriverInfo()
{
    std::unique_ptr<void, int (*)(void*)> const library(::dlopen("/usr/lib/libvqm.so", RTLD_LAZY),
                                                        &::dlclose);
    auto* const getDrvInfo = reinterpret_cast<VqmGetDrvInfo*>(::dlsym(library.get(), "VQM_GetDrvInfo"));
    alignas(Records::sgAlignment) unsigned char record[Records::sgDriverInfoSize] = {};
    record[Records::sgDriverInfoVersionPosition] = Records::sgDriverInfoVersion;
    std::memcpy(record + Records::sgFeatureListPosition, &unwrittenFeatures, sizeof unwrittenFeatures);
    std::vector<unsigned char> const unwritten(std::begin(record), std::end(record));
    setCurrentCall("VQM_GetDrvInfo", "board 0");
    if (unsigned int const result = getDrvInfo(0, record); result != 0)
    {
        throw std::runtime_error(fmt::format("VQM_GetDrvInfo of board 0 failed with result {}", result));
    }
    if (std::equal(unwritten.begin(), unwritten.end(), record))
    {
        throw std::runtime_error("no answer, VQM_GetDrvInfo of board 0 returned 0 without data");
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
