#include "tools/qzagent/cli/ReplacedFile.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/qzagent/cli/NewFile.h"

namespace qzagent
{
namespace
{
[[noreturn]] void refuseReplacement(std::string const& aPath, int aError)
{
    throw std::system_error(aError, std::generic_category(), "cannot write " + aPath);
}
}  // namespace

void expectReplaceable(std::string const& aPath)
{
    struct stat status = {};
    if (::lstat(aPath.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    {
        refuseReplacement(aPath, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
}

void replaceFile(std::string const& aPath, std::string const& aText, mode_t aMode)
{
    expectReplaceable(aPath);
    // Collectors of metrics ignore a file with this ending.
    std::string const newPath = fmt::format("{}.{}.tmp", aPath, ::getpid());
    constexpr mode_t privateFile = 0600;
    NewFile file(newPath, privateFile);
    // The umask does not apply to the mode of chmod().
    if (::chmod(newPath.c_str(), aMode) != 0)
    {
        refuseReplacement(aPath, errno);
    }
    file.write({reinterpret_cast<unsigned char const*>(aText.data()), aText.size()});
    file.finish();
    if (std::rename(newPath.c_str(), aPath.c_str()) != 0)
    {
        int const error = errno;
        ::unlink(newPath.c_str());
        refuseReplacement(aPath, error);
    }
}
}  // namespace qzagent
