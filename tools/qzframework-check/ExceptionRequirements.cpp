// The root of the exceptions, which is a virtual base of the library's exceptions.
#include <algorithm>
#include <cstddef>
#include <string>

#include <fmt/format.h>

#include "backend/common/include/Exception.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzframework-check/Allocations.h"
#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
namespace
{
void expectText(QZCException const& aException, std::string const& aExpected)
{
    expect(aException.what() == aExpected,
           fmt::format("expected the text \"{}\", found \"{}\"", aExpected, aException.what()));
}

void checkMessage()
{
    std::string text = "No libvqm located";
    QZCException const exception(text.c_str(), 8);
    std::fill(text.begin(), text.end(), '#');
    expectText(exception, "No libvqm located");
}

void checkCode()
{
    unsigned int const code = QZCException("text", 802).getCode();
    expect(code == 802, fmt::format("expected code 802, found {}", code));
}

/// Throws an exception with two base classes and catches it as Base.
template <typename Base>
void checkCatching()
{
    try
    {
        throw QZCNoMemoryEx("Out of Memory", 2);
    }
    catch (Base const& exception)
    {
        expectText(exception, "Out of Memory");
        expect(exception.getCode() == 2, fmt::format("expected code 2, found {}", exception.getCode()));
    }
}

void checkBases()
{
    checkCatching<QZCException>();
    checkCatching<QZCGenericException>();
    checkCatching<QZCHaltEx>();
}

void checkAllocations()
{
    std::string const text(200, 'x');
    std::size_t const before = allocations();
    QZCNoMemoryEx const exception(text.c_str(), 2);
    QZCNoMemoryEx copy("", 0);
    copy = exception;
    std::size_t const made = allocations() - before;
    expectText(copy, text);
    expect(made == 0, fmt::format("expected no allocations for an exception and its copy, found {}", made));
}
}  // namespace

Requirements exceptionRequirements()
{
    return {
        {"Exception.message", "an exception stores a copy of its text", checkMessage},
        {"Exception.code", "an exception stores its code", checkCode},
        {"Exception.bases", "an exception with two bases is caught as each base and as the root", checkBases},
        {"Exception.allocations", "construction and copying do not call operator new", checkAllocations},
    };
}
}  // namespace frameworkcheck
