#include "tools/qzagent/diff/Looks.h"

#include <string>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/documents/DocumentFile.h"
#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
HostTree lookIn(std::string const& aPath, Report& aReport)
{
    return hostTreeOf(documentNamed("inventory", readDocuments(aPath, aReport), aPath), aPath);
}

std::vector<std::string> lookLike(HostTree const& aOther)
{
    std::vector<std::string> arguments{"inventory"};
    if (aOther.mHasUnits)
    {
        arguments.emplace_back("--luns");
    }
    return arguments;
}

std::vector<Change> compare(HostTree const& aOld, HostTree const& aNew, Report& aReport)
{
    if (aOld.mHost != aNew.mHost)
    {
        aReport.addNote(fmt::format("the looks are at different hosts: {} and {}", aOld.mHost, aNew.mHost));
    }
    return changesBetween(aOld, aNew);
}
}  // namespace qzagent
