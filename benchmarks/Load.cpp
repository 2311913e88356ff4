// Opens a library and prints the time in microseconds and the resident memory in KiB that this takes. Calls are bound
// lazily, because the common library calls the HBA API without linking it.
#include <chrono>
#include <cstdio>
#include <fstream>

#include <dlfcn.h>
#include <unistd.h>

namespace
{
long residentKib()
{
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}
}  // namespace

int main(int aCount, char** aArguments)
{
    if (aCount != 2)
    {
        return 2;
    }
    residentKib();  // the first call allocates
    long const before = residentKib();
    auto const start = std::chrono::steady_clock::now();
    void const* const library = dlopen(aArguments[1], RTLD_LAZY | RTLD_LOCAL);
    std::chrono::duration<double, std::micro> const time = std::chrono::steady_clock::now() - start;
    if (library == nullptr)
    {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    std::printf("%.0f %ld\n", time.count(), residentKib() - before);
    return 0;
}
