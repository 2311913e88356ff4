#include "tools/qzagent/LibvqmVersions.h"

#include <optional>
#include <string>
#include <string_view>

#include "backend/common/include/Logger.h"
#include "tools/qzagent/ErrorStream.h"

namespace qzagent
{
namespace
{
constexpr std::string_view tagOfInformation = " -I- ";
constexpr std::string_view libraryText = "Found Libvqm version : ";
constexpr std::string_view driverText = "KWRT Driver Version - ";

/// What was logged, without time, place and line end.
std::string_view textOf(std::string_view aLine)
{
    constexpr std::string_view endOfPlace = ": ";
    aLine.remove_suffix(1);
    std::size_t const place = aLine.find(endOfPlace);
    return place == std::string_view::npos ? aLine : aLine.substr(place + endOfPlace.size());
}

void takeVersion(std::optional<std::string>& arVersion, std::string_view aText, std::string_view aStart)
{
    if (aText.substr(0, aStart.size()) == aStart)
    {
        arVersion = aText.substr(aStart.size());
    }
}
}  // namespace

LibvqmVersionLog::LibvqmVersionLog(ErrorStream& arErrors, LibvqmVersions& arVersions)
    : mErrors(arErrors), mVersions(arVersions), mFormerMask(GetLogLevelMask())
{
    SetLogSink(&takeLine, this);
    SetLogLevelMask(mFormerMask | QZLL_Information);
}

LibvqmVersionLog::~LibvqmVersionLog()
{
    SetLogLevelMask(mFormerMask);
    mErrors.takeLog();
}

void LibvqmVersionLog::takeLine(void* apLog, char const* apLine, unsigned int aLength)
{
    auto& log = *static_cast<LibvqmVersionLog*>(apLog);
    std::string_view const line(apLine, aLength);
    takeVersion(log.mVersions.mLibrary, textOf(line), libraryText);
    takeVersion(log.mVersions.mDriver, textOf(line), driverText);
    bool const isInformation = line.find(tagOfInformation) < line.find(": ");
    if (!isInformation || (log.mFormerMask & QZLL_Information) != 0)
    {
        log.mErrors.writeLine(line);
    }
}
}  // namespace qzagent
