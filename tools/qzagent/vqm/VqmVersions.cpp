#include "tools/qzagent/vqm/VqmVersions.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <dlfcn.h>

#include "backend/common/include/Logger.h"
#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ErrorStream.h"

namespace qzagent
{
namespace
{
using VqmGetLibVer = void(char*);

constexpr unsigned int neededLevels = QZLL_Information | QZLL_Trace;
constexpr std::string_view libraryText = "Found Libvqm version : ";
constexpr std::string_view driverText = "KWRT Driver Version - ";

/// @return the text of a log line, without time, place and line end
std::string_view loggedTextOf(std::string_view aLine)
{
    constexpr std::string_view endOfPlace = ": ";
    std::size_t const place = aLine.find(endOfPlace);
    return place == std::string_view::npos ? aLine : aLine.substr(place + endOfPlace.size());
}

/// An empty version is none: the library has written nothing.
/// @return whether the text has a version
bool takeVersion(std::optional<std::string>& aVersion, std::string_view aText, std::string_view aStart)
{
    bool const hasVersion = aText.substr(0, aStart.size()) == aStart && aText.size() > aStart.size();
    if (hasVersion)
    {
        aVersion = aText.substr(aStart.size());
    }
    return hasVersion;
}

/// @return whether the line has the tag of the level, before its place
bool hasTag(std::string_view aLine, std::string_view aTag) { return aLine.find(aTag) < aLine.find(": "); }

/// Opening the environment calls several functions of the library, each in an operation that logs its beginning.
void takeStep(std::string_view aLine)
{
    struct Operation
    {
        std::string_view mBeginning;
        char const* mCall;
        char const* mBoard;
    };
    constexpr Operation operations[] = {{" __initLibvqm: Entered", "VQM_InitDiagEnv", ""},
                                        {" __processLibvqmVersion: Entered", "VQM_GetLibVer", ""},
                                        {" DoesDriverSupportQzapi: Entered", "VQM_GetDrvInfo", "board 0"}};
    for (Operation const& operation : operations)
    {
        if (aLine.size() > operation.mBeginning.size() &&
            aLine.substr(aLine.size() - operation.mBeginning.size()) == operation.mBeginning)
        {
            setCurrentCall(operation.mCall, operation.mBoard);
        }
    }
}
}  // namespace

std::optional<std::string> libraryVersion()
{
    std::unique_ptr<void, int (*)(void*)> const library(::dlopen("/usr/lib/libvqm.so", RTLD_LAZY),
                                                        &::dlclose);
    auto* const getLibVer = reinterpret_cast<VqmGetLibVer*>(::dlsym(library.get(), "VQM_GetLibVer"));
    // The library may fill all bytes except the last one.
    std::array<char, QZCLibvqmRecords::sgLibraryVersionSize + 1> text{};
    if (getLibVer != nullptr)
    {
        setCurrentCall("VQM_GetLibVer");
        getLibVer(text.data());
    }
    return text.front() == '\0' ? std::nullopt : std::optional<std::string>(text.data());
}

LibvqmVersionLog::LibvqmVersionLog(ErrorStream& aErrors, LibvqmVersions& aVersions,
                                   std::function<void()> aOnVersion)
    : mErrors(aErrors),
      mVersions(aVersions),
      mOnVersion(std::move(aOnVersion)),
      mFormerMask(GetLogLevelMask())
{
    SetLogSink(&takeLine, this);
    SetLogLevelMask(mFormerMask | neededLevels);
}

LibvqmVersionLog::~LibvqmVersionLog()
{
    SetLogLevelMask(mFormerMask);
    mErrors.takeLog();
}

void LibvqmVersionLog::takeLine(void* aLog, char const* aLine, unsigned int aLength)
{
    auto& log = *static_cast<LibvqmVersionLog*>(aLog);
    std::string_view const line(aLine, aLength - 1);
    std::string_view const text = loggedTextOf(line);
    if (takeVersion(log.mVersions.mLibrary, text, libraryText) ||
        takeVersion(log.mVersions.mDriver, text, driverText))
    {
        log.mOnVersion();
    }
    takeStep(line);
    bool const isHidden = (hasTag(line, " -I- ") && (log.mFormerMask & QZLL_Information) == 0) ||
                          (hasTag(line, " -T- ") && (log.mFormerMask & QZLL_Trace) == 0);
    if (!isHidden)
    {
        log.mErrors.writeLine(line);
    }
}
}  // namespace qzagent
