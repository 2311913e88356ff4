/// @file
/// Replaces the dynamic linker. It defines dlopen, dlsym, dlerror and dlclose in the test program, which must
/// export its symbols so that all its libraries call them. The source must be compiled with optimisation and
/// without sanitizers, since sanitizers call these functions before they are initialised.
#pragma once

namespace qz
{
/// Answers the calls during its lifetime. Otherwise they go to the C library, except that dlerror() then returns null: the
/// search for the function of the C library clears the error. Only one object may exist at a time.
/// @ingroup agentkit
class FakeLinker
{
public:
    FakeLinker();
    virtual ~FakeLinker();
    FakeLinker(FakeLinker const&) = delete;
    FakeLinker& operator=(FakeLinker const&) = delete;

    /// Answers dlopen.
    /// @param aPath the library
    /// @param aMode the flags
    /// @return a handle, or null
    virtual void* open(char const* aPath, int aMode) noexcept = 0;

    /// Answers dlsym.
    /// @param aHandle a handle from open()
    /// @param aSymbol the symbol
    /// @return its address, or null
    virtual void* find(void* aHandle, char const* aSymbol) noexcept = 0;

    /// Answers dlerror.
    /// @return the text of the last error, once; else null
    virtual char* takeError() noexcept = 0;

    /// Answers dlclose.
    /// @param aHandle a handle from open()
    /// @return 0, or another number for an error
    virtual int close(void* aHandle) noexcept = 0;
};
}  // namespace qz
