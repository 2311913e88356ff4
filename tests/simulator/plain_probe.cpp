// A program that does not link the runtime of C++. It calls the diagnostic library when memory has run out.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include <dlfcn.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
unsigned char gTable[65536];

template <typename Function>
Function* function(void* aLibrary, char const* aName)
{
    return reinterpret_cast<Function*>(::dlsym(aLibrary, aName));
}

void useAllMemory()
{
    rlimit const nothing{1, 1};
    ::setrlimit(RLIMIT_AS, &nothing);
    ::setrlimit(RLIMIT_DATA, &nothing);
    for (std::size_t const size : {4000U, 256U, 64U, 16U})
    {
        void const* volatile block = nullptr;
        do
        {
            block = std::malloc(size);
        } while (block != nullptr);
    }
}
}  // namespace

int main()
{
    void* const library = ::dlopen("/usr/lib/libvqm.so", RTLD_NOW);
    auto* const initialization = function<unsigned int(void*, unsigned int)>(library, "VQM_InitDiagEnv");
    auto* const query = function<unsigned int(unsigned int, void*)>(library, "VQM_GetLinkInfo");
    auto* const release = function<void()>(library, "VQM_FreeDiagEnv");
    std::printf("init: %u\n", initialization(gTable, 1));
    std::fflush(stdout);
    useAllMemory();
    unsigned int const refused = query(0, gTable);
    release();
    std::printf("link: %u\nfree\n", refused);
    std::fflush(stdout);
    ::_exit(EXIT_SUCCESS);
}
