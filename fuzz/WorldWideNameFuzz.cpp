// Sets World Wide Names from text and compares with a scan of our own.
#include <array>
#include <cstddef>
#include <cstring>
#include <string>

#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "fuzz/Fuzz.h"

namespace
{
using fuzz::expect;

constexpr std::size_t numBytes = 8;
constexpr std::size_t pairDistance = 3;
constexpr std::size_t textLength = 23;

using Name = std::array<unsigned char, numBytes>;

constexpr Name before = {0x10, 0x21, 0x32, 0x43, 0x54, 0x65, 0x76, 0x87};

bool isBlank(char aCharacter) { return std::strchr(" \t\n\v\f\r", aCharacter) != nullptr; }

std::size_t digitOf(char aCharacter)
{
    static std::string const digits = "0123456789abcdef0123456789ABCDEF";
    std::size_t const place = digits.find(aCharacter);
    return place == std::string::npos ? place : place % 16;
}

/// Scans a pair as a hexadecimal number, which may have blanks and a sign before it. Leaves aValue alone when
/// there is none.
void scan(std::string const& aPair, unsigned int& aValue)
{
    std::size_t i = 0;
    while (i < aPair.size() && isBlank(aPair[i]))
    {
        ++i;
    }
    bool const hasSign = i < aPair.size() && (aPair[i] == '-' || aPair[i] == '+');
    bool const isNegative = hasSign && aPair[i] == '-';
    i += hasSign ? 1 : 0;
    std::size_t const begin = i;
    unsigned int number = 0;
    for (; i < aPair.size() && digitOf(aPair[i]) != std::string::npos; ++i)
    {
        number = number * 16 + static_cast<unsigned int>(digitOf(aPair[i]));
    }
    if (i != begin)
    {
        aValue = isNegative ? 0U - number : number;
    }
}

/// Where the first separator is wrong; the text's length when all are right.
std::size_t wrongSeparatorIn(std::string const& aText)
{
    std::size_t place = pairDistance - 1;
    while (place < aText.size() && aText[place] == ':')
    {
        place += pairDistance;
    }
    return place < aText.size() ? place : aText.size();
}

/// What the bytes become: those up to the wrong separator, and then what they were before.
Name bytesOf(std::string const& aText)
{
    Name bytes = before;
    std::size_t const end = wrongSeparatorIn(aText);
    unsigned int value = 0;
    for (std::size_t i = 0; i < numBytes && i * pairDistance < end; ++i)
    {
        scan(aText.substr(i * pairDistance, 2), value);
        bytes[i] = static_cast<unsigned char>(value);
    }
    return bytes;
}

bool isNow(QZCWorldWideName const& aName, Name const& aBytes)
{
    return std::memcmp(aName.getBinaryForm(), aBytes.data(), numBytes) == 0;
}

/// @return whether the text was accepted
bool set(QZCWorldWideName& aName, std::string const& aText)
{
    try
    {
        aName.setStringForm(aText.c_str());
        return true;
    }
    catch (QZCInvalidEx const& error)
    {
        expect(error.getCode() == 6, "a refusal has the code 6");
        expect(std::strcmp(error.what(), "Invalid WWN string") == 0, "a refusal has its text");
        return false;
    }
}

void checkBinaryForm(QZCWorldWideName const& aName)
{
    QZCWorldWideName const rebuilt(aName.getBinaryForm());
    QZCWorldWideName again;
    again.setStringForm(rebuilt.getStringForm());
    expect(std::memcmp(again.getBinaryForm(), aName.getBinaryForm(), numBytes) == 0,
           "the text that bytes give stands for the same bytes");
}
}  // namespace

void fuzz::check(Input aInput)
{
    std::string const text = fuzz::textOf(aInput);
    QZCWorldWideName name(before.data());
    std::string const textBefore = name.getStringForm().get();
    bool const isAccepted = set(name, text);
    bool const hasLength = text.size() == textLength;
    expect(isAccepted == (hasLength && wrongSeparatorIn(text) == textLength),
           "a text is accepted that has its length and its separators");
    expect(name.getStringForm().get() == (hasLength ? text : textBefore),
           "the text is kept, but for one of another length");
    expect(isNow(name, hasLength ? bytesOf(text) : before), "the bytes are what the pairs stand for");
    checkBinaryForm(name);
}
