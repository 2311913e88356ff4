// A failed assertion ends the process and logs one line.
#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "backend/common/include/Assertion.h"
#include "tools/qzframework-check/Child.h"
#include "tools/qzframework-check/Requirement.h"

#define QZ_LOG_FILE "AssertionRequirements"

namespace frameworkcheck
{
namespace
{
void failAnAssertion()
{
    int const ports = 0;
    QZ_ASSERT(0 < ports);
}

void checkHolding()
{
    int evaluations = 0;
    QZ_ASSERT(++evaluations == 1);
    expect(evaluations == 1, fmt::format("expected one evaluation of the condition, found {}", evaluations));
    expect(standardError().empty(),
           "expected no log line for a true condition, found \"" + standardError() + "\"");
}

void checkEnding()
{
    std::string const end = endOfProcess(failAnAssertion);
    expect(end == "ended with exit status 1", "expected exit status 1, but the process " + end);
}

void checkLine()
{
    endOfProcess(failAnAssertion);
    std::string const found = standardError();
    if (found.empty())
    {
        throw Unseen("standard error is empty: look for the condition \"0 < ports\" in the framework's log");
    }
    auto const lines = std::count(found.begin(), found.end(), '\n');
    expect(lines == 1 && found.find("0 < ports") != std::string::npos,
           "expected one line with the condition \"0 < ports\", found \"" + found + "\"");
}
}  // namespace

Requirements assertionRequirements()
{
    return {
        {"Assertion.holds", "a true condition is evaluated once and not logged", checkHolding},
        {"Assertion.ends", "a failed assertion ends the process with exit status 1", checkEnding},
        {"Assertion.line", "a failed assertion logs one line with the condition", checkLine},
    };
}
}  // namespace frameworkcheck
