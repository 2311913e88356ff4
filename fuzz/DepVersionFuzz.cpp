// Parses version texts and compares them with components from an independent parser.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "fuzz/Fuzz.h"

namespace
{
using fuzz::expect;

constexpr std::size_t mostComponents = 8;

using Components = std::vector<std::uint32_t>;

bool isBlank(char aCharacter) { return std::strchr(" \t\n\v\f\r", aCharacter) != nullptr; }
bool isDigit(char aCharacter) { return aCharacter >= '0' && aCharacter <= '9'; }

/// The number at the start of the text, saturated to 64 bits and then truncated to 32 bits.
std::uint32_t numberIn(std::string const& aText)
{
    std::size_t i = 0;
    while (i < aText.size() && isBlank(aText[i]))
    {
        ++i;
    }
    bool const hasSign = i < aText.size() && (aText[i] == '-' || aText[i] == '+');
    bool const isNegative = hasSign && aText[i] == '-';
    i += hasSign ? 1 : 0;
    std::uint64_t const limit =
        std::uint64_t{std::numeric_limits<std::int64_t>::max()} + (isNegative ? 1 : 0);
    std::uint64_t number = 0;
    for (; i < aText.size() && isDigit(aText[i]); ++i)
    {
        auto const digit = static_cast<std::uint64_t>(aText[i] - '0');
        number = number > (limit - digit) / 10 ? limit : number * 10 + digit;
    }
    return static_cast<std::uint32_t>(isNegative ? 0 - number : number);
}

Components componentsOf(std::string const& aText)
{
    Components components;
    std::size_t begin = 0;
    for (std::size_t dot = aText.find('.'); dot != std::string::npos; dot = aText.find('.', begin))
    {
        components.push_back(numberIn(aText.substr(begin, dot - begin)));
        begin = dot + 1;
    }
    components.push_back(numberIn(aText.substr(begin)));
    return components;
}

QZCDepVersion versionOf(Components const& aComponents)
{
    std::string text;
    for (std::uint32_t const component : aComponents)
    {
        text += (text.empty() ? "" : ".") + std::to_string(component);
    }
    return QZCDepVersion(text.c_str());
}

/// Compares the version with versions that differ from it in a single component.
void checkOrder(QZCDepVersion const& aVersion, Components const& aComponents)
{
    for (std::size_t i = 0; i < aComponents.size(); ++i)
    {
        Components changed = aComponents;
        changed[i] += 1;
        QZCDepVersion const other = versionOf(changed);
        bool const isLess = changed[i] != 0;
        expect(!(aVersion == other), "versions that differ in a component are not equal");
        expect((aVersion < other) == isLess, "the differing component decides what is less");
        expect((aVersion > other) != isLess, "the differing component decides what is greater");
    }
}

void checkVersion(std::string const& aText, Components const& aComponents)
{
    QZCDepVersion const version(aText.c_str());
    QZCDepVersion const same = versionOf(aComponents);
    expect(version == same && !(version < same) && !(version > same), "the components are those of the text");
    checkOrder(version, aComponents);
}

/// Ends a child without the fuzzer's exit handlers, which would report a crash.
void leaveAtOnce(int aStatus, void*) { ::_exit(aStatus); }

/// @return the wait status of a process that parses the text
int statusOfParsing(std::string const& aText)
{
    pid_t const child = ::fork();
    if (child == 0)
    {
        ::on_exit(&leaveAtOnce, nullptr);
        QZCDepVersion const version(aText.c_str());
        ::_exit(EXIT_SUCCESS);
    }
    expect(child > 0, "fork succeeds");
    int status = 0;
    while (::waitpid(child, &status, 0) == -1)
    {
        expect(errno == EINTR, "waiting succeeds unless the fuzzer's timer interrupts it");
    }
    return status;
}
}  // namespace

void fuzz::check(Input aInput)
{
    std::string const text = fuzz::textOf(aInput);
    Components const components = componentsOf(text);
    if (components.size() <= mostComponents)
    {
        checkVersion(text, components);
        return;
    }
    int const status = statusOfParsing(text);
    expect(WIFEXITED(status) && WEXITSTATUS(status) == 1, "a ninth component ends the process with status 1");
}
