// A program that opens the diagnostic library and does not know the simulator. Each argument is one step, which prints
// its result.
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <hbaapi.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/include/QzEvent.h"
#include "tests/simulator/Steps.h"

namespace
{
constexpr std::size_t versionPosition = 52;
constexpr std::size_t featuresPosition = 144;
constexpr std::size_t secondNamePosition = 152;
constexpr std::size_t firstNamePosition = 160;

void* gLibrary = nullptr;

/// The events that callbacks received, in order. They are never destroyed: callbacks run until the process is gone.
std::mutex gMutex;
std::vector<std::string>& gEvents = *new std::vector<std::string>;

/// Exit status with which the first callback ends the process; negative: callbacks do not end it.
std::atomic<int> gExitStatus = -1;

/// Whether callbacks never return, and whether one is running.
std::atomic<bool> gIsStuck = false;
std::atomic<bool> gIsInCallback = false;

[[noreturn]] void waitForEver()
{
    for (;;)
    {
        ::pause();
    }
}

void awaitCallback(std::string const&)
{
    while (!gIsInCallback)
    {
        std::this_thread::yield();
    }
    std::printf("in callback\n");
}

template <typename Function>
Function* function(char const* aName)
{
    return reinterpret_cast<Function*>(::dlsym(gLibrary, aName));
}

void openLibrary(std::string const& aPath)
{
    gLibrary = ::dlopen(aPath.c_str(), RTLD_LAZY);
    std::printf("open %s: %s\n", aPath.c_str(), gLibrary == nullptr ? "absent" : "there");
}

void openBadLibrary(std::string const& aPath)
{
    bool const isThere = ::dlopen(aPath.c_str(), RTLD_LAZY) != nullptr;
    std::printf("open: %s\n", isThere ? "there" : ::dlerror());
}

void findFunction(std::string const& aName)
{
    bool const isThere = ::dlsym(gLibrary, aName.c_str()) != nullptr;
    std::printf("%s: %s\n", aName.c_str(), isThere ? "there" : std::strchr(::dlerror(), ':') + 2);
}

/// @return whether a file with this name is mapped into the process
bool isMapped(std::string const& aName)
{
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line))
    {
        if (line.find(aName) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

void closeLibrary(std::string const&)
{
    ::dlclose(gLibrary);
    std::printf("close: %s\n", isMapped("libqzsim-vqm.so") ? "loaded" : "gone");
}

/// Calls a function of the library after its last dlclose.
void callStaleFunction(std::string const&)
{
    auto* const query = function<unsigned int(unsigned int, void*)>("VQM_GetLinkInfo");
    auto* const initialization = function<unsigned int(void*, unsigned int)>("VQM_InitDiagEnv");
    ::dlclose(gLibrary);
    std::array<unsigned char, 168> record{};
    std::printf("stale: link %u\n", query(0, record.data()));
    std::printf("stale: init %u\n", initialization(nullptr, 0));
}

void printVersion(std::string const&)
{
    std::array<char, 129> text{};
    function<void(char*)>("VQM_GetLibVer")(text.data());
    std::printf("version: %s\n", text.data());
}

void initialize(std::string const&)
{
    std::array<char, 32 * 108 + 1> table{};
    unsigned int const count =
        function<unsigned int(void*, unsigned int)>("VQM_InitDiagEnv")(table.data(), 32);
    std::printf("init: %u, driver \"%s\"\n", count, table.data() + versionPosition);
}

void freeEnvironment(std::string const&)
{
    function<void()>("VQM_FreeDiagEnv")();
    std::printf("free\n");
}

void printDriver(std::string const& aBoard)
{
    std::array<unsigned char, 152> record{};
    unsigned int const result = function<unsigned int(unsigned int, void*)>("VQM_GetDrvInfo")(
        static_cast<unsigned int>(std::stoul(aBoard)), record.data());
    std::uint64_t features = 0;
    std::memcpy(&features, record.data() + featuresPosition, sizeof features);
    std::printf("driver %s: %u version %u features 0x%llx\n", aBoard.c_str(), result, record[0],
                static_cast<unsigned long long>(features));
}

std::string nameAt(unsigned char const* aBytes)
{
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x:%02x:%02x", aBytes[0], aBytes[1],
                  aBytes[2], aBytes[3], aBytes[4], aBytes[5], aBytes[6], aBytes[7]);
    return text.data();
}

void printLink(std::string const& aBoard)
{
    std::array<unsigned char, 168> record{};
    unsigned int const result = function<unsigned int(unsigned int, void*)>("VQM_GetLinkInfo")(
        static_cast<unsigned int>(std::stoul(aBoard)), record.data());
    std::printf("link %s: %u first %s second %s\n", aBoard.c_str(), result,
                nameAt(record.data() + firstNamePosition).c_str(),
                nameAt(record.data() + secondNamePosition).c_str());
}

void note(std::string const& aInterface, unsigned int aBoard, unsigned int aCategory,
          unsigned int aSubcategory, void const* aContext, QZ_event const* aEvent)
{
    std::ostringstream line;
    line << aInterface << " board " << aBoard << " category " << aCategory << '/' << aSubcategory << ' '
         << static_cast<char const*>(aContext) << " length " << aEvent->mLength;
    if (gIsStuck)
    {
        gIsInCallback = true;
        waitForEver();
    }
    if (gExitStatus >= 0)
    {
        std::exit(gExitStatus);
    }
    std::lock_guard const lock(gMutex);
    gEvents.push_back(line.str());
}

void takePlain(unsigned int aBoard, unsigned int aCategory, unsigned int aSubcategory, void* aContext,
               QZ_event* aEvent)
{
    note("plain", aBoard, aCategory, aSubcategory, aContext, aEvent);
}

void takeQuazor(unsigned int aBoard, HBA_wwn aPort, unsigned int aCategory, unsigned int aSubcategory,
                void* aContext, QZ_event* aEvent)
{
    note("quazor " + nameAt(aPort.wwn), aBoard, aCategory, aSubcategory, aContext, aEvent);
}

char gContext[] = "context";

void registerPlain(std::string const& aBoard)
{
    auto* const call = function<unsigned int(unsigned int, unsigned int, void*, unsigned int,
                                             void (*)(unsigned int, ...), void*)>("RegisterForEvent");
    unsigned int const result =
        call(static_cast<unsigned int>(std::stoul(aBoard)), QZ_ANY_CATEGORY, gContext, QZ_ANY_CATEGORY,
             reinterpret_cast<void (*)(unsigned int, ...)>(takePlain), nullptr);
    std::printf("plain %s: %u\n", aBoard.c_str(), result);
}

/// Registers for all events at the second name of the board.
void registerQuazor(std::string const& aBoard)
{
    auto const board = static_cast<unsigned int>(std::stoul(aBoard));
    std::array<unsigned char, 168> record{};
    function<unsigned int(unsigned int, void*)>("VQM_GetLinkInfo")(board, record.data());
    HBA_wwn port{};
    std::memcpy(port.wwn, record.data() + secondNamePosition, sizeof port.wwn);
    unsigned int id = 0;
    auto* const call =
        function<unsigned int(unsigned int, HBA_wwn, unsigned int, unsigned int, void*, unsigned int*,
                              decltype(&takeQuazor))>("VQM_QZ_RegisterForEvent");
    unsigned int const result =
        call(board, port, QZ_ANY_CATEGORY, QZ_ANY_CATEGORY, gContext, &id, takeQuazor);
    std::printf("quazor %s: %u id %u\n", aBoard.c_str(), result, id);
}

/// Waits for a total number of events and prints them.
void printEvents(std::string const& aCount)
{
    std::size_t const count = std::stoul(aCount);
    std::unique_lock lock(gMutex);
    while (gEvents.size() < count)
    {
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        lock.lock();
    }
    std::map<std::string, int> kinds;
    for (std::string const& event : gEvents)
    {
        ++kinds[event];
    }
    for (auto const& [kind, times] : kinds)
    {
        std::printf("%d of %s\n", times, kind.c_str());
    }
}

/// The child process runs the following steps. The parent waits for it and exits.
void forkProcess(std::string const&)
{
    std::fflush(nullptr);
    std::unique_lock lock(gMutex);  // so that the child does not inherit it locked by a callback
    pid_t const child = ::fork();
    if (child == 0)
    {
        gEvents.clear();
        return;
    }
    lock.unlock();
    int status = 0;
    ::waitpid(child, &status, 0);
    std::printf("forked: %d\n", WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    std::exit(EXIT_SUCCESS);
}

/// Exit handler that calls the library after the library's own cleanup.
void callLastly()
{
    std::array<unsigned char, 168> record{};
    unsigned int const result =
        function<unsigned int(unsigned int, void*)>("VQM_GetLinkInfo")(0, record.data());
    function<void()>("VQM_FreeDiagEnv")();
    std::printf("lastly: link %u, free\n", result);
}

Steps const steps = {
    {"open", openLibrary},
    {"openBad", openBadLibrary},
    {"find", findFunction},
    {"close", closeLibrary},
    {"stale", callStaleFunction},
    {"stickInCallbacks", [](std::string const&) { gIsStuck = true; }},
    {"version", printVersion},
    {"init", initialize},
    {"free", freeEnvironment},
    {"driver", printDriver},
    {"link", printLink},
    {"plain", registerPlain},
    {"quazor", registerQuazor},
    {"events", printEvents},
    {"lastly", [](std::string const&) { std::atexit(callLastly); }},
    {"fork", forkProcess},
    {"exitInCallbacks", [](std::string const& aStatus) { gExitStatus = std::stoi(aStatus); }},
    {"awaitCallback", awaitCallback},
    {"waitForEver", [](std::string const&) { waitForEver(); }},
};
}  // namespace

int main(int aCount, char** aArguments)
{
    runSteps(steps, aCount, aArguments);
    return 0;
}
