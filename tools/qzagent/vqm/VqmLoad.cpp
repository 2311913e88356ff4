#include "tools/qzagent/vqm/VqmLoad.h"

#include <memory>
#include <string>

#include <unistd.h>

#include "agentkit/include/VqmLibrary.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/LoadError.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
std::unique_ptr<qz::VqmLibrary> loadVqm(Report& aReport)
{
    setCurrentStep("loading of libvqm");
    try
    {
        return std::make_unique<qz::VqmLibrary>();
    }
    catch (QZCNotFoundEx const&)
    {
        std::string const path = "/usr/lib/libvqm.so";
        bool const isMissing = ::access(path.c_str(), F_OK) != 0;
        aReport.addNote(isMissing ? missingVqmNote : path + " does not load: " + loadErrorOf(path));
        throw;
    }
}
}  // namespace qzagent
