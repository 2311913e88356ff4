#include "tools/qzagent/capture/SectionOfHost.h"

#include <fstream>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <sys/utsname.h>

#include "tools/qzagent/capture/SectionComment.h"
#include "tools/qzagent/cli/CommandLine.h"

namespace qzagent
{
namespace
{
/// @return the first line of a file of the kernel
std::optional<std::string> lineOf(char const* aPath)
{
    std::ifstream file(aPath);
    std::string line;
    return std::getline(file, line) ? std::optional(line) : std::nullopt;
}
}  // namespace

pcapng::Section makeSectionOfHost(LibvqmVersions const& aVersions)
{
    utsname host{};
    ::uname(&host);
    SectionComment const comment{lineOf("/proc/sys/kernel/random/uuid"),
                                 lineOf("/proc/sys/kernel/random/boot_id"), aVersions.mLibrary,
                                 aVersions.mDriver};
    return {host.nodename, fmt::format("{} {} {} {}", host.sysname, host.release, host.version, host.machine),
            fmt::format("{} {}", toolName, QZAGENT_VERSION), formatSectionComment(comment)};
}
}  // namespace qzagent
