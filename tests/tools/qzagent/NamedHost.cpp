/// @file
/// A library to preload. The host has the name web-lab07.storage.example.

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace
{
constexpr char hostName[] = "web-lab07.storage.example";
}  // namespace

extern "C" int gethostname(char* aName, std::size_t aSize) noexcept
{
    std::memcpy(aName, hostName, std::min(aSize, sizeof hostName));
    return 0;
}

extern "C" int uname(utsname* aSystem) noexcept
{
    auto const result = static_cast<int>(::syscall(SYS_uname, aSystem));
    std::memcpy(aSystem->nodename, hostName, sizeof hostName);
    return result;
}
