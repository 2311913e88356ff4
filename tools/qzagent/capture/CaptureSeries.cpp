#include "tools/qzagent/capture/CaptureSeries.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "tools/qzagent/capture/AppendedFile.h"

namespace qzagent
{
namespace
{
constexpr std::string_view suffix = ".pcapng";

bool endsWith(std::string_view aText, std::string_view aEnd)
{
    return aText.size() >= aEnd.size() && aText.substr(aText.size() - aEnd.size()) == aEnd;
}

std::string withoutSuffix(std::string const& aPath)
{
    return endsWith(aPath, suffix) ? aPath.substr(0, aPath.size() - suffix.size()) : aPath;
}

std::string fileName(std::string const& aName, std::uint64_t aNumber)
{
    return fmt::format("{}-{:05}{}", aName, aNumber, suffix);
}

/// @return the number in the name of a file; none when it is no file of the series
std::optional<std::uint64_t> numberIn(std::string const& aFile, std::string const& aName)
{
    std::uint64_t number = 0;
    std::size_t const start = std::min(aName.size() + 1, aFile.size());
    std::from_chars(aFile.data() + start, aFile.data() + aFile.size(), number);
    return number != 0 && fileName(aName, number) == aFile ? std::optional(number) : std::nullopt;
}

/// @param aName path of the files without number
/// @return the numbers of the files that exist, sorted
std::deque<std::uint64_t> numbersOf(std::string const& aName)
{
    std::filesystem::path const path(aName);
    std::filesystem::path const folder = path.has_parent_path() ? path.parent_path() : ".";
    std::deque<std::uint64_t> numbers;
    // A folder that cannot be read is reported when a file in it is opened.
    std::error_code ignored;
    std::filesystem::directory_iterator const end;
    for (std::filesystem::directory_iterator entry(folder, ignored); entry != end; entry.increment(ignored))
    {
        if (auto const number = numberIn(entry->path().filename().string(), path.filename().string()))
        {
            numbers.push_back(*number);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::uint64_t sizeOf(std::string const& aPath)
{
    std::error_code error;
    std::uintmax_t const size = std::filesystem::file_size(aPath, error);
    return error ? 0 : size;
}
}  // namespace

CaptureSeries::CaptureSeries(std::string const& aPath, KeepLimit const& aKeep)
    : mName(withoutSuffix(aPath)), mKeep(aKeep), mNumbers(numbersOf(mName))
{
}

std::string CaptureSeries::next()
{
    std::uint64_t number = mNumbers.empty() ? 1 : mNumbers.back() + 1;
    while (!createUnlessPresent(pathOf(number)))
    {
        ++number;
    }
    mNumbers.push_back(number);
    return pathOf(number);
}

void CaptureSeries::removeOldest(std::uint64_t aCurrentSize)
{
    while (mNumbers.size() > 1 && !isWithinLimit(aCurrentSize))
    {
        std::error_code ignored;
        std::filesystem::remove(pathOf(mNumbers.front()), ignored);
        mNumbers.pop_front();
    }
}

std::string CaptureSeries::pathOf(std::uint64_t aNumber) const { return fileName(mName, aNumber); }

bool CaptureSeries::isWithinLimit(std::uint64_t aCurrentSize) const
{
    if (mKeep.mFiles)
    {
        return mNumbers.size() <= *mKeep.mFiles;
    }
    return !mKeep.mSize || std::accumulate(mNumbers.begin(), std::prev(mNumbers.end()), aCurrentSize,
                                           [this](std::uint64_t aSize, std::uint64_t aNumber)
                                           { return aSize + sizeOf(pathOf(aNumber)); }) <= *mKeep.mSize;
}

std::optional<std::string> nextInSeries(std::string const& aPath, std::set<std::string> const& aEnds)
{
    std::string const name = aPath.substr(0, std::min(aPath.rfind('-'), aPath.size()));
    std::optional<std::uint64_t> const number = numberIn(aPath, name);
    if (!number)
    {
        return {};
    }
    std::deque<std::uint64_t> const numbers = numbersOf(name);
    for (auto next = std::upper_bound(numbers.begin(), numbers.end(), *number); next != numbers.end(); ++next)
    {
        std::string const path = fileName(name, *next);
        if (aEnds.count(path) != 0)
        {
            break;
        }
        if (sizeOf(path) != 0)
        {
            return path;
        }
    }
    return {};
}
}  // namespace qzagent
