#include "tests/support/VirtualSlots.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include <cxxabi.h>
#include <dlfcn.h>

namespace
{
std::string nameOf(void const* aFunction)
{
    Dl_info info;
    // For a function without a symbol, dladdr finds the nearest symbol of another function.
    if (dladdr(aFunction, &info) == 0 || info.dli_sname == nullptr || info.dli_saddr != aFunction)
    {
        return "unnamed function";
    }
    return demangled(info.dli_sname);
}
}  // namespace

std::string demangled(char const* aName)
{
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const name(
        abi::__cxa_demangle(aName, nullptr, nullptr, &status), std::free);
    return status == 0 ? name.get() : aName;
}

std::vector<std::string> virtualSlots(void const* aObject, std::size_t aCount)
{
    void const* const* table = nullptr;
    std::memcpy(&table, aObject, sizeof table);
    std::vector<std::string> names;
    for (std::size_t slot = 0; slot < aCount; ++slot)
    {
        names.push_back(nameOf(table[slot]));
    }
    return names;
}
