#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
Requirements allRequirements()
{
    Requirements all;
    for (auto const group :
         {bufferRequirements, streamRequirements, referenceCountRequirements, exceptionRequirements,
          clibRequirements, loggerRequirements, assertionRequirements})
    {
        Requirements const requirements = group();
        all.insert(all.end(), requirements.begin(), requirements.end());
    }
    return all;
}
}  // namespace frameworkcheck
