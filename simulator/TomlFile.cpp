// The only source that knows the TOML library, which is compiled into it.
#define TOML_EXCEPTIONS 0
// How deep arrays and tables may lie in each other: a scenario that is written in one line has seven. With
// the library's own limit they could outgrow the stack.
#define TOML_MAX_NESTED_VALUES 8
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <toml++/toml.h>

#include "simulator/ScenarioError.h"
#include "simulator/TomlValue.h"

namespace qzsim
{
namespace
{
constexpr std::ptrdiff_t mostDotsOfLine = 300;

[[noreturn]] void refuseFile(std::string const& aPath, std::string const& aReason)
{
    throw ScenarioError(fmt::format("{}: cannot be read: {}", aPath, aReason));
}

std::string contentOf(std::string const& aPath)
{
    std::ifstream file(aPath, std::ios::binary);
    if (!file)
    {
        refuseFile(aPath, std::generic_category().message(errno));
    }
    try
    {
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
    catch (std::ios_base::failure const& error)  // a directory opens like a file
    {
        refuseFile(aPath, error.code().message());
    }
}

/// Each dot of a key opens another table, and the library descends into them without looking at its stack.
void checkDots(std::string const& aPath, std::string const& aContent)
{
    std::istringstream lines(aContent);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number)
    {
        auto const dots = std::count(line.begin(), line.end(), '.');
        if (dots > mostDotsOfLine)
        {
            throw ScenarioError(fmt::format("{}:{}:1: expected a line of at most {} dots, found {}", aPath,
                                            number, mostDotsOfLine, dots));
        }
    }
}

/// Turns the TOML library's tree into ours.
class Conversion
{
public:
    explicit Conversion(std::string const& aPath) : mPath(aPath) {}

    std::string place(toml::source_region const& aSource) const
    {
        return fmt::format("{}:{}:{}", mPath, aSource.begin.line, aSource.begin.column);
    }

    TomlValue operator()(toml::node const& aNode) const
    {
        return {place(aNode.source()),
                aNode.visit([this](auto const& aValue) { return this->content(aValue); })};
    }

private:
    TomlValue::Content content(toml::table const& aTable) const
    {
        TomlValue::Table entries;
        for (auto const& [key, value] : aTable)
        {
            entries.push_back({std::string(key.str()), place(key.source()), (*this)(value)});
        }
        return entries;
    }

    TomlValue::Content content(toml::array const& aArray) const
    {
        TomlValue::Array values;
        for (toml::node const& value : aArray)
        {
            values.push_back((*this)(value));
        }
        return values;
    }

    static TomlValue::Content content(toml::value<std::string> const& aText) { return aText.get(); }
    static TomlValue::Content content(toml::value<std::int64_t> const& aNumber) { return aNumber.get(); }
    static TomlValue::Content content(toml::value<double> const&) { return other("a fractional number"); }
    static TomlValue::Content content(toml::value<bool> const&) { return other("a boolean"); }
    static TomlValue::Content content(toml::value<toml::date> const&) { return other("a date"); }
    static TomlValue::Content content(toml::value<toml::time> const&) { return other("a time"); }
    static TomlValue::Content content(toml::value<toml::date_time> const&)
    {
        return other("a date and time");
    }

    static TomlValue::Content other(char const* aKind) { return TomlValue::Other{aKind}; }

    std::string const& mPath;
};
}  // namespace

TomlValue readToml(std::string const& aPath)
{
    Conversion const conversion(aPath);
    std::string const content = contentOf(aPath);
    checkDots(aPath, content);
    toml::parse_result const result = toml::parse(content);
    if (!result)
    {
        throw ScenarioError(
            fmt::format("{}: {}", conversion.place(result.error().source()), result.error().description()));
    }
    return conversion(result.table());
}
}  // namespace qzsim
