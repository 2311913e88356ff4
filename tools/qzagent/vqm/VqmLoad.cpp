#include "tools/qzagent/vqm/VqmLoad.h"

#include <memory>
#include <string>

#include <dlfcn.h>
#include <fmt/format.h>
#include <unistd.h>

#include "agentkit/include/VqmLibrary.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/LoadError.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
namespace
{
std::string const libraryPath = "/usr/lib/libvqm.so";

/// A call of a function that is missing fails without its name.
void noteMissingFunctions(Report& aReport)
{
    std::unique_ptr<void, int (*)(void*)> const library(
        ::dlopen(libraryPath.c_str(), RTLD_LAZY | RTLD_NOLOAD), &::dlclose);
    std::string missing;
    for (char const* const name :
         {"VQM_GetLibVer", "VQM_InitDiagEnv", "VQM_FreeDiagEnv", "VQM_GetDrvInfo", "VQM_GetLinkInfo",
          "RegisterForEvent", "unRegisterForEvent", "VQM_QZ_RegisterForEvent", "VQM_QZ_unRegisterForEvent"})
    {
        if (library != nullptr && ::dlsym(library.get(), name) == nullptr)
        {
            missing += (missing.empty() ? "" : ", ") + std::string(name);
        }
    }
    if (!missing.empty())
    {
        aReport.addNote(fmt::format("{} lacks functions: {}", libraryPath, missing));
    }
}
}  // namespace

std::unique_ptr<qz::VqmLibrary> loadVqm(Report& aReport)
{
    setCurrentStep("loading of libvqm");
    try
    {
        auto library = std::make_unique<qz::VqmLibrary>();
        noteMissingFunctions(aReport);
        return library;
    }
    catch (QZCNotFoundEx const&)
    {
        bool const isMissing = ::access(libraryPath.c_str(), F_OK) != 0;
        aReport.addNote(isMissing ? missingVqmNote
                                  : libraryPath + " does not load: " + loadErrorOf(libraryPath));
        throw;
    }
}
}  // namespace qzagent
