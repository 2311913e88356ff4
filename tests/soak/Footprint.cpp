#include "tests/soak/Footprint.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <malloc.h>
#include <unistd.h>

namespace
{
std::size_t residentKiB()
{
    std::size_t size = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

std::size_t openFiles()
{
    // Excludes the descriptor that the iterator has open.
    std::filesystem::directory_iterator const files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files))) - 1;
}
}  // namespace

Footprint Footprint::now() { return {residentKiB(), mallinfo2().uordblks, openFiles()}; }
