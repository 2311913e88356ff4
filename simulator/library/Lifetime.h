/// @file
/// How the simulated libraries live in a process. Both follow this policy:
/// - Unloading: dlclose ends the events, waits for running callbacks, and frees everything. The library is then gone:
///   loaded again, it starts from nothing. Under qzsim the HBA library stays loaded, because the common library closes it
///   on each HBA_FreeLibrary, and a scenario counts the calls of a whole process.
/// - Exit: the end of the process destroys nothing and waits for nothing. Exit functions of the program may call the
///   library, and callbacks may run until the process is gone. A library that is loaded when exit begins is not unmapped
///   by a later dlclose.
/// - Fork: the simulation is locked while the process forks, so the child has a consistent copy. The child keeps what
///   the HBA library has loaded and open. The threads of the diagnostic library do not exist in the child, so its
///   environment is closed there.
///
/// The simulation has the methods
///
///     void end() noexcept;          // ends all threads and frees all memory
///     void beforeFork();
///     void afterForkInParent();
///     void afterForkInChild();
#pragma once

#include <new>

#include <dlfcn.h>
#include <pthread.h>

namespace qzsim
{
/// The one simulation of a library. It is never destroyed, so it can be called at any time.
template <typename Simulation>
Simulation& simulation()
{
    alignas(Simulation) static unsigned char place[sizeof(Simulation)];
    static auto* const instance = new (place) Simulation;
    return *instance;
}

/// Keeps the library that contains the code loaded for the rest of the process.
inline void keepLoaded(void const* aCode)
{
    Dl_info library{};
    ::dladdr(aCode, &library);
    ::dlopen(library.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

/// Each simulated library calls load() from its constructor function and unload() from its destructor function. A
/// dlclose runs the destructor functions before the exit functions of the library; the end of the process runs them after
/// those. This tells the two apart.
template <typename Simulation>
class Lifetime
{
public:
    static void load()
    {
        static ExitNotice const notice;
        ::pthread_atfork([] { simulation<Simulation>().beforeFork(); },
                         [] { simulation<Simulation>().afterForkInParent(); },
                         [] { simulation<Simulation>().afterForkInChild(); });
    }

    static void unload() { sIsUnloading = close(); }

    /// Ends the simulation, unless the process is ending.
    /// @return whether it ended
    static bool close()
    {
        if (!sIsExiting)
        {
            simulation<Simulation>().end();
        }
        return !sIsExiting;
    }

private:
    /// Its destructor is the exit function. After dlclose, the thread sanitizer would still call one of std::atexit.
    struct ExitNotice
    {
        ExitNotice() = default;
        ~ExitNotice()
        {
            if (!sIsUnloading)
            {
                sIsExiting = true;
                keepLoaded(reinterpret_cast<void const*>(&unload));
            }
        }
        ExitNotice(ExitNotice const&) = delete;
        ExitNotice& operator=(ExitNotice const&) = delete;
    };

    inline static bool sIsExiting = false;
    inline static bool sIsUnloading = false;
};
}  // namespace qzsim
