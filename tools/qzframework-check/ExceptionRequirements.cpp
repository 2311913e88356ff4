// The root of the exceptions, also as the virtual base that it is to the library.
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

/// Throws what is of two kinds, and catches it by its root, or by one of the kinds.
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
    expect(made == 0, fmt::format("an exception and its copy made {} allocations", made));
}
}  // namespace

Requirements exceptionRequirements()
{
    return {
        {"Exception.message", "the text is copied into the object", checkMessage},
        {"Exception.code", "the code is kept", checkCode},
        {"Exception.bases", "an exception of two kinds is caught by each, and by the root", checkBases},
        {"Exception.allocations", "making and copying one takes no operator new", checkAllocations},
    };
}
}  // namespace frameworkcheck
