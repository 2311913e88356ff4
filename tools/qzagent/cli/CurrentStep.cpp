#include "tools/qzagent/cli/CurrentStep.h"

#include <mutex>
#include <string>

namespace qzagent
{
namespace
{
std::mutex stepMutex;
std::string step;
}  // namespace

void setCurrentStep(std::string const& aStep)
{
    std::lock_guard const lock(stepMutex);
    step = aStep;
}

std::string currentStep()
{
    std::lock_guard const lock(stepMutex);
    return step;
}
}  // namespace qzagent
