// The logger accepts any text and any value, from any thread.
#include <string>
#include <thread>
#include <vector>

#include "backend/common/include/Logger.h"
#include "tools/qzframework-check/Child.h"
#include "tools/qzframework-check/Requirement.h"

#define QZ_LOG_FILE "LoggerRequirements"

namespace frameworkcheck
{
namespace
{
/// An exception from a call fails the requirement.
void checkCalling()
{
    QZ_LOG_ENTERED();
    QZ_LOG_ERROR("text");
    QZ_LOG_NOTICE("text");
    QZ_LOG_INFORMATION("text");
    QZ_LOG_TRACE("text");
    QZ_LOG_LEFT();
}

void checkFormatting()
{
    QZ_LOG_ERROR("Failed to get adapter #%d name - %s", 7, "HBA_STATUS_ERROR");
    std::string const expected = "Failed to get adapter #7 name - HBA_STATUS_ERROR";
    std::string const found = standardError();
    if (found.empty())
    {
        throw Unseen("standard error is empty: look for \"" + expected + "\" in the framework's log");
    }
    expect(found.find(expected) != std::string::npos,
           "expected \"" + expected + "\", found \"" + found + "\"");
}

void checkHostileValues()
{
    QZ_LOG_ERROR("%s", std::string(100000, 'x').c_str());
    QZ_LOG_ERROR("Adapter name: %s", "%s%n\n\t\x1b[31m\xff");
    QZ_LOG_ERROR("%s", "");
}

void logLines()
{
    for (int line = 0; line < 200; ++line)
    {
        QZ_LOG_ERROR("line %d", line);
    }
}

void checkThreads()
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(logLines);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}
}  // namespace

Requirements loggerRequirements()
{
    return {
        {"Logger.call", "every level can be logged without an exception", checkCalling},
        {"Logger.format", "the values are inserted into the text", checkFormatting},
        {"Logger.hostile-values", "long texts and control characters do no harm", checkHostileValues},
        {"Logger.threads", "several threads can log at the same time", checkThreads},
    };
}
}  // namespace frameworkcheck
