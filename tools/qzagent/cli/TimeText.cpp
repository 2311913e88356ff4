#include "tools/qzagent/cli/TimeText.h"

#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

namespace qzagent
{
static_assert(sizeof(std::time_t) == sizeof(std::int64_t), "times after 2038 do not fit in 32 bits");

namespace
{
constexpr std::int64_t secondsPerMinute = 60;
constexpr std::int64_t secondsPerHour = 60 * secondsPerMinute;
constexpr std::int64_t secondsPerDay = 24 * secondsPerHour;
constexpr unsigned int digitsOfFraction = 9;
constexpr std::int64_t largestSecond = std::numeric_limits<std::uint64_t>::max() / nanosecondsPerSecond - 1;

// Dates are computed here, because the C library has no portable inverse of gmtime(). A year begins with March, which
// puts the leap day at its end. An era is 400 years.
constexpr std::int64_t yearsPerEra = 400;
constexpr std::int64_t daysPerEra = 146'097;
constexpr std::int64_t daysFromEraTo1970 = 719'468;

struct Date
{
    std::int64_t mYear;
    std::int64_t mMonth;
    std::int64_t mDay;
};

/// @param aDays days since 1970-01-01, not negative
Date dateOf(std::int64_t aDays)
{
    std::int64_t const days = aDays + daysFromEraTo1970;
    std::int64_t const era = days / daysPerEra;
    std::int64_t const dayOfEra = days % daysPerEra;
    std::int64_t const year = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    std::int64_t const dayOfYear = dayOfEra - (365 * year + year / 4 - year / 100);
    std::int64_t const month = (5 * dayOfYear + 2) / 153;  // from March
    std::int64_t const day = dayOfYear - (153 * month + 2) / 5 + 1;
    bool const isNextYear = month >= 10;
    return {year + era * yearsPerEra + (isNextYear ? 1 : 0), month + (isNextYear ? -9 : 3), day};
}

/// @return days since 1970-01-01
std::int64_t daysUntil(Date const& aDate)
{
    std::int64_t const year = aDate.mYear - (aDate.mMonth <= 2 ? 1 : 0);
    std::int64_t const yearOfEra = year % yearsPerEra;
    std::int64_t const month = aDate.mMonth + (aDate.mMonth > 2 ? -3 : 9);
    std::int64_t const dayOfYear = (153 * month + 2) / 5 + aDate.mDay - 1;
    return year / yearsPerEra * daysPerEra + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear -
           daysFromEraTo1970;
}

std::int64_t localOffset(std::uint64_t aSecond)
{
    auto const time = static_cast<std::time_t>(aSecond);
    std::tm local{};
    return ::localtime_r(&time, &local) == nullptr ? 0 : local.tm_gmtoff;
}

/// Takes numbers and characters from the front of a text.
class Scanner
{
public:
    explicit Scanner(std::string_view aText) : mLeft(aText) {}

    /// @return a number with exactly these digits; none when the text does not begin with one
    std::optional<std::int64_t> digits(std::size_t aCount)
    {
        std::int64_t number = 0;
        char const* const end = mLeft.data() + std::min(aCount, mLeft.size());
        auto const [last, error] = std::from_chars(mLeft.data(), end, number);
        if (error != std::errc() || last != mLeft.data() + aCount || mLeft.front() == '-')
        {
            return {};
        }
        mLeft.remove_prefix(aCount);
        return number;
    }

    /// @return number of digits at the front
    std::size_t countDigits() const
    {
        std::size_t const end = mLeft.find_first_not_of("0123456789");
        return end == std::string_view::npos ? mLeft.size() : end;
    }

    /// @return the first character if it is one of these
    std::optional<char> oneOf(std::string_view aCharacters)
    {
        if (mLeft.empty() || aCharacters.find(mLeft.front()) == std::string_view::npos)
        {
            return {};
        }
        char const found = mLeft.front();
        mLeft.remove_prefix(1);
        return found;
    }

    std::string_view left() const { return mLeft; }

private:
    std::string_view mLeft;
};

/// @return the number of two digits if it is at most the largest, and follows the character
std::optional<std::int64_t> part(Scanner& aScanner, std::string_view aBefore, std::int64_t aLargest)
{
    if (!aBefore.empty() && !aScanner.oneOf(aBefore))
    {
        return {};
    }
    std::optional<std::int64_t> const number = aScanner.digits(2);
    return number && *number <= aLargest ? number : std::nullopt;
}

std::optional<std::int64_t> dateFrom(Scanner& aScanner)
{
    constexpr std::size_t digitsOfYear = 4;
    std::optional<std::int64_t> const year = aScanner.digits(digitsOfYear);
    std::optional<std::int64_t> const month = part(aScanner, "-", 12);
    std::optional<std::int64_t> const day = part(aScanner, "-", 31);
    if (!year || !month || !day)
    {
        return {};
    }
    Date const date{*year, *month, *day};
    std::int64_t const days = daysUntil(date);
    if (*year < 1970 || days < 0)
    {
        return {};
    }
    // A day that the month does not have is another date.
    Date const normal = dateOf(days);
    return normal.mMonth == date.mMonth && normal.mDay == date.mDay ? std::optional(days) : std::nullopt;
}

/// @return nanoseconds; none when the text has a point without one to nine digits
std::optional<std::uint64_t> fractionFrom(Scanner& aScanner)
{
    if (!aScanner.oneOf("."))
    {
        return 0;
    }
    std::size_t const count = aScanner.countDigits();
    if (count == 0 || count > digitsOfFraction)
    {
        return {};
    }
    auto fraction = static_cast<std::uint64_t>(*aScanner.digits(count));
    for (std::size_t i = count; i < digitsOfFraction; ++i)
    {
        fraction *= 10;
    }
    return fraction;
}

/// @return seconds east of UTC
std::optional<std::int64_t> zoneFrom(Scanner& aScanner)
{
    if (aScanner.oneOf("Zz"))
    {
        return 0;
    }
    std::optional<char> const sign = aScanner.oneOf("+-");
    std::optional<std::int64_t> const hours = part(aScanner, "", 23);
    std::optional<std::int64_t> const minutes = part(aScanner, ":", 59);
    if (!sign || !hours || !minutes)
    {
        return {};
    }
    std::int64_t const offset = *hours * secondsPerHour + *minutes * secondsPerMinute;
    return *sign == '+' ? offset : -offset;
}

std::optional<std::int64_t> secondsOf(char aUnit)
{
    switch (aUnit)
    {
        case 's':
            return 1;
        case 'm':
            return secondsPerMinute;
        case 'h':
            return secondsPerHour;
        case 'd':
            return secondsPerDay;
        default:
            return {};
    }
}

/// @param aText number and unit
/// @return nanoseconds
std::optional<std::uint64_t> durationOf(std::string_view aText)
{
    constexpr std::size_t mostDigits = 9;
    Scanner scanner(aText);
    std::size_t const count = scanner.countDigits();
    if (count == 0 || count > mostDigits || count + 1 != aText.size())
    {
        return {};
    }
    std::optional<std::int64_t> const number = scanner.digits(count);
    std::optional<std::int64_t> const unit = secondsOf(scanner.left().front());
    if (!number || !unit || *number * *unit > largestSecond)
    {
        return {};
    }
    return static_cast<std::uint64_t>(*number * *unit) * nanosecondsPerSecond;
}
}  // namespace

void TimeText::append(std::string& aText, pcapng::Time aTime)
{
    if (mStyle == Style::relative)
    {
        appendRelative(aText, aTime);
        return;
    }
    std::uint64_t const second = aTime / nanosecondsPerSecond;
    if (mSecond != second)
    {
        prepare(second);
    }
    char fraction[digitsOfFraction];
    std::uint64_t rest = aTime % nanosecondsPerSecond;
    for (std::size_t i = sizeof fraction; i > 0; --i)
    {
        fraction[i - 1] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    }
    aText += mUpToSecond;
    aText.append(fraction, sizeof fraction);
    aText += mZone;
}

void TimeText::appendRelative(std::string& aText, pcapng::Time aTime)
{
    if (!mFirst)
    {
        mFirst = aTime;
    }
    bool const isBefore = aTime < *mFirst;
    std::uint64_t const distance = isBefore ? *mFirst - aTime : aTime - *mFirst;
    fmt::format_to(std::back_inserter(aText), "{}{}.{:09}", isBefore ? '-' : '+',
                   distance / nanosecondsPerSecond, distance % nanosecondsPerSecond);
}

void TimeText::prepare(std::uint64_t aSecond)
{
    std::int64_t const offset = mStyle == Style::local ? localOffset(aSecond) : 0;
    // West of Greenwich, the first hours of 1970 are a part of 1969, which no capture has.
    std::int64_t const shown = std::max<std::int64_t>(static_cast<std::int64_t>(aSecond) + offset, 0);
    Date const date = dateOf(shown / secondsPerDay);
    std::int64_t const second = shown % secondsPerDay;
    mUpToSecond = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.", date.mYear, date.mMonth, date.mDay,
                              second / secondsPerHour, second / secondsPerMinute % 60, second % 60);
    std::int64_t const minutes = std::abs(offset) / secondsPerMinute;
    mZone = mStyle == Style::utc
                ? "Z"
                : fmt::format("{}{:02}:{:02}", offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
    mSecond = aSecond;
}

std::string timeText(std::chrono::system_clock::time_point aTime)
{
    std::string text;
    TimeText(TimeText::Style::utc).append(text, timeOf(aTime));
    constexpr std::size_t endOfNanoseconds = 4;  // three digits and the Z
    return text.substr(0, text.size() - endOfNanoseconds) + "Z";
}

pcapng::Time timeOf(std::chrono::system_clock::time_point aTime)
{
    return static_cast<pcapng::Time>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(aTime.time_since_epoch()).count());
}

std::optional<pcapng::Time> timeOf(std::string_view aText)
{
    Scanner scanner(aText);
    std::optional<std::int64_t> const days = dateFrom(scanner);
    std::optional<std::int64_t> const hours = part(scanner, "Tt ", 23);
    std::optional<std::int64_t> const minutes = part(scanner, ":", 59);
    std::optional<std::int64_t> const seconds = part(scanner, ":", 59);
    std::optional<std::uint64_t> const fraction = fractionFrom(scanner);
    std::optional<std::int64_t> const zone = zoneFrom(scanner);
    if (!days || !hours || !minutes || !seconds || !fraction || !zone || !scanner.left().empty())
    {
        return {};
    }
    std::int64_t const second =
        *days * secondsPerDay + *hours * secondsPerHour + *minutes * secondsPerMinute + *seconds - *zone;
    if (second < 0 || second > largestSecond)
    {
        return {};
    }
    return static_cast<std::uint64_t>(second) * nanosecondsPerSecond + *fraction;
}

std::optional<pcapng::Time> timeOf(std::string_view aText, pcapng::Time aNow)
{
    constexpr std::string_view ago = " ago";
    std::optional<std::uint64_t> before;
    if (!aText.empty() && aText.front() == '-')
    {
        before = durationOf(aText.substr(1));
    }
    else if (aText.size() > ago.size() && aText.substr(aText.size() - ago.size()) == ago)
    {
        before = durationOf(aText.substr(0, aText.size() - ago.size()));
    }
    if (before)
    {
        return aNow - std::min(aNow, *before);
    }
    return timeOf(aText);
}
}  // namespace qzagent
