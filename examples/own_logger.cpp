// Hands the library's log lines to a service manager: with a priority in front, by which it files them, and
// without the time, which it knows itself. The adapters' names are read to have something to log.
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string_view>

#include "backend/common/include/Logger.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

namespace
{
/// A line begins with the time and a blank, then comes the tag of its level.
constexpr std::size_t timeLength = 28;
constexpr std::size_t tagLength = 3;

/// Takes the place of the framework's own output as long as it lives.
class ServiceLog
{
public:
    explicit ServiceLog(std::FILE* aStream) { SetLogSink(&write, aStream); }
    ~ServiceLog() { SetLogSink(nullptr, nullptr); }
    ServiceLog(ServiceLog const&) = delete;
    ServiceLog& operator=(ServiceLog const&) = delete;

private:
    /// Called by any thread. A single call of the C library keeps the line in one piece.
    static void write(void* aStream, char const* aLine, unsigned int aLength) noexcept
    {
        std::string_view line(aLine, aLength);
        line.remove_prefix(timeLength);
        std::fprintf(static_cast<std::FILE*>(aStream), "%s%.*s", priorityOf(line.substr(0, tagLength)),
                     static_cast<int>(line.size()), line.data());
    }

    static char const* priorityOf(std::string_view aTag)
    {
        return aTag == "-H-"   ? "<2>"
               : aTag == "-E-" ? "<3>"
               : aTag == "-N-" ? "<5>"
               : aTag == "-I-" ? "<6>"
                               : "<7>";
    }
};

void readNames()
{
    QZCHbaapiAbs hbaapi;
    hbaapi.HA_LoadHbaapi();
    try
    {
        QZCVector<QZCString> names;
        hbaapi.HA_GetAdapterNames(hbaapi.HA_GetNumberOfAdapters(), names);
    }
    catch (std::exception const&)
    {
        hbaapi.HA_FreeHbaapi();
        throw;
    }
    hbaapi.HA_FreeHbaapi();
}
}  // namespace

int main()
{
    ServiceLog const log(stderr);
    SetLogLevelMask(GetLogLevelMask() | QZLL_Trace);
    try
    {
        readNames();
        return 0;
    }
    catch (std::exception const& exception)
    {
        std::fprintf(stderr, "<3>own_logger: %s\n", exception.what());
        return 1;
    }
}
