/// @file
/// Takes the dynamic linker's place. A test program that links this and exports its symbols has its own
/// dlopen, dlsym, dlerror and dlclose, which all its libraries call. The source is to be compiled with
/// optimisation and without sanitizers, as they call it before they are ready.
#pragma once

/// Answers the calls while it lives; else they go to the C library. One at a time.
class FakeLinker
{
public:
    FakeLinker();
    virtual ~FakeLinker();
    FakeLinker(FakeLinker const&) = delete;
    FakeLinker& operator=(FakeLinker const&) = delete;

    virtual void* open(char const* aPath, int aMode) noexcept = 0;
    virtual void* find(void* aHandle, char const* aSymbol) noexcept = 0;
    virtual char* takeError() noexcept = 0;
    virtual int close(void* aHandle) noexcept = 0;
};
