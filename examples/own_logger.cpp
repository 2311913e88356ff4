// Passes the log lines of the library to a service manager: with a priority prefix, and without the time, which the
// service manager adds. Reads the adapter names to produce some log lines.
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string_view>

#include "agentkit/include/HbaApi.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"

namespace
{
/// A line starts with the time and a blank, followed by the tag of its level.
constexpr std::size_t timeLength = 28;
constexpr std::size_t tagLength = 3;

/// Replaces the log output of the framework during its lifetime.
class ServiceLog
{
public:
    explicit ServiceLog(std::FILE* aStream) { SetLogSink(&write, aStream); }
    ~ServiceLog() { SetLogSink(nullptr, nullptr); }
    ServiceLog(ServiceLog const&) = delete;
    ServiceLog& operator=(ServiceLog const&) = delete;

private:
    /// Any thread may call this. A single fprintf call keeps the line in one piece.
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
    qz::HbaApi api;
    QZCVector<QZCString> names;
    api.layer().HA_GetAdapterNames(api.numberOfAdapters(), names);
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
