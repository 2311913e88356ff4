// Sets World Wide Names from text and compares them with an independent parser.
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

/// Parses a pair as a hexadecimal number after optional blanks and a sign. Without a number, aValue is unchanged.
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

/// The position of the first wrong separator, or the length of the text when all are right.
std::size_t wrongSeparatorIn(std::string const& aText)
{
    std::size_t place = pairDistance - 1;
    while (place < aText.size() && aText[place] == ':')
    {
        place += pairDistance;
    }
    return place < aText.size() ? place : aText.size();
}

/// The expected bytes: parsed up to the wrong separator, unchanged after it.
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
        expect(error.getCode() == 6, "a refused text has the code 6");
        expect(std::strcmp(error.what(), "Invalid WWN string") == 0,
               "a refused text has the message of an invalid name");
        return false;
    }
}

void checkBinaryForm(QZCWorldWideName const& aName)
{
    QZCWorldWideName const rebuilt(aName.getBinaryForm());
    QZCWorldWideName again;
    again.setStringForm(rebuilt.getStringForm());
    expect(std::memcmp(again.getBinaryForm(), aName.getBinaryForm(), numBytes) == 0,
           "bytes survive the conversion to text and back");
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
           "a text is accepted exactly if its length and separators are right");
    expect(name.getStringForm().get() == (hasLength ? text : textBefore),
           "a text of the right length is kept, even if it is refused");
    expect(isNow(name, hasLength ? bytesOf(text) : before), "the bytes are the values of the pairs");
    checkBinaryForm(name);
}
