#include "simulator/library/HiddenFunctions.h"

#include <cstddef>
#include <cstdint>
#include <memory>

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

namespace qzsim
{
namespace
{
using Symbol = ElfW(Sym);

struct LibraryCloser
{
    void operator()(void* aLibrary) const { ::dlclose(aLibrary); }
};

/// The dynamic linker ignores a symbol without a value. The library is linked so that the pages of its symbols have no
/// code.
void removeValue(Symbol* aSymbol)
{
    auto const pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    std::size_t const offset = reinterpret_cast<std::uintptr_t>(aSymbol) % pageSize;
    std::size_t const size = offset + sizeof *aSymbol;
    char* const page = reinterpret_cast<char*>(aSymbol) - offset;
    if (::mprotect(page, size, PROT_READ | PROT_WRITE) == 0)
    {
        aSymbol->st_value = 0;
        aSymbol->st_shndx = SHN_UNDEF;
        ::mprotect(page, size, PROT_READ);
    }
}
}  // namespace

void hideFunction(std::string const& aName)
{
    Dl_info self{};
    ::dladdr(reinterpret_cast<void const*>(&hideFunction), &self);
    std::unique_ptr<void, LibraryCloser> const library(::dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD));
    void const* const function = ::dlsym(library.get(), aName.c_str());
    void* symbol = nullptr;
    if (::dladdr1(function, &self, &symbol, RTLD_DL_SYMENT) != 0 && symbol != nullptr)
    {
        removeValue(static_cast<Symbol*>(symbol));
    }
}
}  // namespace qzsim
