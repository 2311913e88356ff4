#include "simulator/world/Journal.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "simulator/control/Descriptor.h"

namespace qzsim
{
namespace
{
[[noreturn]] void refuseJournal(std::string const& aPath)
{
    throw std::runtime_error(
        fmt::format("cannot record changes in \"{}\": {}", aPath, std::generic_category().message(errno)));
}
}  // namespace

bool Journal::isKept() const
{
    struct stat status = {};
    return !isShared() || ::stat(mPath.c_str(), &status) == 0;
}

void Journal::append(std::string const& aLine)
{
    std::string const line = aLine + '\n';
    if (!isShared())
    {
        mUnread += line;
        return;
    }
    Descriptor const file(::open(mPath.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    // One call: the system then keeps the lines of different processes apart.
    if (file.number() < 0 ||
        ::write(file.number(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
    {
        refuseJournal(mPath);
    }
}

std::vector<std::string> Journal::takeNew()
{
    if (isShared())
    {
        readFile();
    }
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = mUnread.find('\n'); end != std::string::npos; end = mUnread.find('\n', start))
    {
        lines.push_back(mUnread.substr(start, end - start));
        start = end + 1;
    }
    mUnread.erase(0, start);
    return lines;
}

void Journal::readFile()
{
    // Without a look at the size, each call of the simulated libraries would open a file.
    struct stat status = {};
    if (::stat(mPath.c_str(), &status) != 0 || static_cast<std::size_t>(status.st_size) <= mPosition)
    {
        return;
    }
    std::ifstream file(mPath, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(mPosition));
    std::string const added(std::istreambuf_iterator<char>(file), {});
    mUnread += added;
    mPosition += added.size();
}
}  // namespace qzsim
