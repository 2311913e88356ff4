#include "tools/qzagent/vqm/VqmVersions.h"

#include <optional>
#include <string>
#include <string_view>

#include "backend/common/include/Logger.h"
#include "tools/qzagent/cli/ErrorStream.h"

namespace qzagent
{
namespace
{
constexpr std::string_view tagOfInformation = " -I- ";
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
void takeVersion(std::optional<std::string>& aVersion, std::string_view aText, std::string_view aStart)
{
    if (aText.substr(0, aStart.size()) == aStart && aText.size() > aStart.size())
    {
        aVersion = aText.substr(aStart.size());
    }
}
}  // namespace

LibvqmVersionLog::LibvqmVersionLog(ErrorStream& aErrors, LibvqmVersions& aVersions)
    : mErrors(aErrors), mVersions(aVersions), mFormerMask(GetLogLevelMask())
{
    SetLogSink(&takeLine, this);
    SetLogLevelMask(mFormerMask | QZLL_Information);
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
    takeVersion(log.mVersions.mLibrary, loggedTextOf(line), libraryText);
    takeVersion(log.mVersions.mDriver, loggedTextOf(line), driverText);
    bool const isInformation = line.find(tagOfInformation) < line.find(": ");
    if (!isInformation || (log.mFormerMask & QZLL_Information) != 0)
    {
        log.mErrors.writeLine(line);
    }
}
}  // namespace qzagent
