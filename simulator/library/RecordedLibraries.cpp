// The library that records and replays: which library the program gets when it opens one.
#include "simulator/library/RecordedLibraries.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include <dlfcn.h>
#include <unistd.h>

#include "simulator/control/EnvironmentVariables.h"
#include "simulator/include/QzEvent.h"
#include "simulator/library/HiddenFunctions.h"
#include "simulator/library/Recorded.h"
#include "simulator/library/RecordedEntryPoints.h"

namespace qzsim
{
namespace
{
using Lifetime = qzsim::Lifetime<Session>;

constexpr char const* diagnosticFunctions[] = {
    "VQM_GetLibVer",      "VQM_InitDiagEnv",         "VQM_FreeDiagEnv",
    "VQM_GetDrvInfo",     "VQM_GetLinkInfo",         "RegisterForEvent",
    "unRegisterForEvent", "VQM_QZ_RegisterForEvent", "VQM_QZ_unRegisterForEvent",
    QZ_SIMULATOR_MARKER};
constexpr char const* hbaFunctions[] = {"HBA_RegisterLibrary", "HBA_RegisterLibraryV2"};

/// The libraries that the program has opened. They stay loaded.
struct Libraries
{
    std::mutex mMutex;
    std::set<std::string> mConfigured;  ///< the paths in the configuration
    std::array<OpenHbaLibrary, mostHbaLibraries> mHba;
    std::size_t mNumberOfHba = 0;
    void* mDiagnostic = nullptr;
    bool mIsDiagnosticKnown = false;
};

Libraries& libraries()
{
    static auto& all = *new Libraries;
    return all;
}

thread_local std::size_t gLastOpened = 0;

[[gnu::constructor]] void load() { Lifetime::load(); }

/// @return the path of this library
std::string const& ownPath()
{
    static auto const& path = *new std::string(
        []
        {
            Dl_info self{};
            ::dladdr(reinterpret_cast<void const*>(&ownPath), &self);
            return self.dli_fname;
        }());
    return path;
}

/// Reads the configuration as the common library does.
void configure(std::string const& aContent)
{
    std::istringstream lines(aContent);
    std::string line;
    std::lock_guard const lock(libraries().mMutex);
    while (std::getline(lines, line))
    {
        std::istringstream words(line);
        std::string name;
        std::string path;
        if (words >> name >> path && name.front() != '#')
        {
            libraries().mConfigured.insert(path);
        }
    }
}

/// Records that the program has opened a library.
template <typename Names>
void recordLibrary(std::string const& aPath, void* aLibrary, Names const& aNames)
{
    CborWriter packet;
    Recorder::begin(packet, "library", aPath);
    packet.text("functions");
    packet.beginArray();
    for (char const* const name : aNames)
    {
        if (::dlsym(aLibrary, name) != nullptr)
        {
            packet.text(name);
        }
    }
    packet.end();
    session().recorder().write(aPath, packet);
}

void recordFailure(std::string const& aPath, char const* aError)
{
    CborWriter packet;
    Recorder::begin(packet, "library", aPath);
    packet.text("error");
    writeText(packet, aError == nullptr ? "" : aError);
    session().recorder().write(aPath, packet);
}

/// Makes dlsym find only the functions that the library has.
template <typename HasFunction>
void hideMissing(HasFunction aHasFunction)
{
    for (char const* const name : diagnosticFunctions)
    {
        if (!aHasFunction(name))
        {
            hideFunction(name);
        }
    }
}

/// @return whether this is the first time
bool openDiagnostic(void* aLibrary)
{
    std::lock_guard const lock(libraries().mMutex);
    libraries().mDiagnostic = aLibrary;
    return !std::exchange(libraries().mIsDiagnosticKnown, true);
}

/// @return whether this is the first time
bool openHba(std::string const& aPath, void* aLibrary)
{
    Libraries& all = libraries();
    std::lock_guard const lock(all.mMutex);
    auto* const end = all.mHba.begin() + all.mNumberOfHba;
    auto* const known = std::find_if(all.mHba.begin(), end,
                                     [&](OpenHbaLibrary const& aOpen) { return aOpen.mPath == aPath; });
    if (known == all.mHba.end())
    {
        throw std::runtime_error("more than 8 HBA libraries cannot be recorded");
    }
    gLastOpened = static_cast<std::size_t>(known - all.mHba.begin());
    if (known != end)
    {
        return false;
    }
    *known = {aPath, aLibrary, {}};
    ++all.mNumberOfHba;
    return true;
}

bool isConfigured(std::string const& aPath)
{
    std::lock_guard const lock(libraries().mMutex);
    return libraries().mConfigured.count(aPath) != 0;
}

char const* openRecorded(char const* aPath, int aMode, Open* aOpen)
{
    void* const library = aOpen(aPath, aMode);
    if (library == nullptr)
    {
        char const* const error = ::dlerror();
        if ((aMode & RTLD_NOLOAD) == 0)
        {
            recordFailure(aPath, error);
        }
        return aPath;
    }
    std::string const path = aPath;
    if (path == vendorLibraryPath)
    {
        if (openDiagnostic(library))
        {
            recordLibrary(path, library, diagnosticFunctions);
            hideMissing([=](char const* aName) { return ::dlsym(library, aName) != nullptr; });
        }
    }
    else if (openHba(path, library))
    {
        recordLibrary(path, library, hbaFunctions);
    }
    return ownPath().c_str();
}

/// @return whether the program has opened the library before
bool isOpen(std::string const& aPath)
{
    Libraries const& all = libraries();
    std::lock_guard const lock(libraries().mMutex);
    return aPath == vendorLibraryPath
               ? all.mIsDiagnosticKnown
               : std::any_of(all.mHba.begin(), all.mHba.end(),
                             [&](OpenHbaLibrary const& aLibrary) { return aLibrary.mPath == aPath; });
}

/// The program may read the text again, so it lasts as long as the process.
char const* kept(std::string const& aText)
{
    static std::mutex mutex;
    static auto& texts = *new std::set<std::string>;
    std::lock_guard const lock(mutex);
    return texts.insert(aText).first->c_str();
}

char const* openReplayed(char const* aPath, int aMode)
{
    std::string const path = aPath;
    auto const& recorded = session().player().recording().libraries();
    auto const library = recorded.find(path);
    bool const isAbsent = library == recorded.end() || library->second.mError;
    if (isAbsent || ((aMode & RTLD_NOLOAD) != 0 && !isOpen(path)))
    {
        // The error message of the dynamic linker then has the path that the program opens, if possible.
        bool const isFree = ::access(aPath, F_OK) != 0 && library == recorded.end();
        return isFree ? aPath : kept(absentFolder + path);
    }
    if (path != vendorLibraryPath)
    {
        openHba(path, nullptr);
    }
    else if (openDiagnostic(nullptr))
    {
        hideMissing([&](char const* aName) { return library->second.mFunctions.count(aName) != 0; });
    }
    return ownPath().c_str();
}

char* replayError(char* aError)
{
    std::string const message = aError;
    for (auto const& [path, library] : session().player().recording().libraries())
    {
        std::string const beginning = absentFolder + path + ':';
        if (library.mError && message.compare(0, beginning.size(), beginning) == 0)
        {
            // The type is that of dlerror. Nobody writes into its text.
            return const_cast<char*>(kept(*library.mError));
        }
    }
    return aError;
}

std::string wholeOf(std::FILE* aFile)
{
    std::string content;
    std::array<char, 4096> piece{};
    while (std::size_t const size = std::fread(piece.data(), 1, piece.size(), aFile))
    {
        content.append(piece.data(), size);
    }
    return content;
}

char const* recordConfiguration(char const* aContent)
{
    if (aContent != nullptr)
    {
        configure(aContent);
        CborWriter packet;
        Recorder::begin(packet, "configuration", aContent);
        session().recorder().write(configurationPath, packet);
    }
    return aContent;
}

char const* replayConfiguration()
{
    std::optional<std::string> const& recorded = session().player().recording().configuration();
    configure(recorded.value_or(""));
    return recorded ? recorded->c_str() : nullptr;
}
}  // namespace

OpenHbaLibrary& hbaLibrary(std::size_t aSlot) { return libraries().mHba[aSlot]; }

std::size_t lastOpenedHbaLibrary() { return gLastOpened; }

void* diagnosticFunction(char const* aName)
{
    std::lock_guard const lock(libraries().mMutex);
    return libraries().mDiagnostic == nullptr ? nullptr : ::dlsym(libraries().mDiagnostic, aName);
}

bool isSimulatedDiagnosticLibrary() { return diagnosticFunction(QZ_SIMULATOR_MARKER) != nullptr; }
}  // namespace qzsim

extern "C" char const* QZSIM_PathToOpen(char const* aPath, int aMode, qzsim::Open* aOpen)
{
    bool const isRecorded = std::strcmp(aPath, qzsim::vendorLibraryPath) == 0 || qzsim::isConfigured(aPath);
    return !isRecorded
               ? aPath
               : qzsim::answerOf<char const*>(aPath,
                                              [=]
                                              {
                                                  return qzsim::session().isRecording()
                                                             ? qzsim::openRecorded(aPath, aMode, aOpen)
                                                             : qzsim::openReplayed(aPath, aMode);
                                              });
}

extern "C" char const* QZSIM_Configuration(std::FILE* aFile)
{
    char const* const content = aFile == nullptr ? nullptr : qzsim::kept(qzsim::wholeOf(aFile));
    // A process that outlives the runner is not recorded, and uses the libraries of the host.
    bool const isReplay = qzsim::environment(qzsim::ringVariable) == nullptr;
    return qzsim::answerOf<char const*>(isReplay ? nullptr : content,
                                        [=]
                                        {
                                            return qzsim::session().isRecording()
                                                       ? qzsim::recordConfiguration(content)
                                                       : qzsim::replayConfiguration();
                                        });
}

extern "C" char* QZSIM_Error(char* aError)
{
    return qzsim::answerOf<char*>(
        aError, [=] { return qzsim::session().isRecording() ? aError : qzsim::replayError(aError); });
}
