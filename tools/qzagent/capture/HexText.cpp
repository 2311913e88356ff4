#include "tools/qzagent/capture/HexText.h"

#include <cstddef>
#include <optional>
#include <string>

namespace qzagent
{
namespace
{
constexpr char comment = '#';

bool isBlank(char aCharacter)
{
    return aCharacter == ' ' || aCharacter == '\t' || aCharacter == '\r' || aCharacter == '\n';
}

std::optional<unsigned int> digitOf(char aCharacter)
{
    static std::string const digits = "0123456789abcdef0123456789ABCDEF";
    std::size_t const place = digits.find(aCharacter);
    return place == std::string::npos ? std::optional<unsigned int>() : static_cast<unsigned int>(place % 16);
}
}  // namespace

// A record begins with two unsigned integers, whose heads are the bytes 00 to 1b, and a bool, f4 or f5.
//
//   character          bytes                             head of an integer   bool
//   tab, line ends     09, 0a, 0d                        yes                  no
//   blank              20                                no                   no
//   digits             30 to 39, 41 to 46, 61 to 66      no                   no
//   #                  23                                no                   no
//
// So at most two white space characters begin a record, and the next byte is neither a digit nor #. A capture that
// begins differently is text.
bool HexText::isText(std::string const& aHead)
{
    for (char const character : aHead)
    {
        if (!isBlank(character))
        {
            return character == comment || digitOf(character);
        }
    }
    return aHead.size() >= headSize;
}

std::size_t HexText::decode(unsigned char* aPiece, std::size_t aSize)
{
    std::size_t decoded = 0;
    for (std::size_t i = 0; i < aSize && !mComplaint; ++i)
    {
        char const character = static_cast<char>(aPiece[i]);
        if (std::optional<unsigned char> const byte = take(character))
        {
            aPiece[decoded++] = *byte;
        }
        move(character);
    }
    return decoded;
}

void HexText::end()
{
    if (mFirstDigit && !mComplaint)
    {
        complain("the end of the text");
    }
}

/// @return the byte that the character completes; none when it completes no byte
std::optional<unsigned char> HexText::take(char aCharacter)
{
    if (mIsInComment)
    {
        return {};
    }
    if (std::optional<unsigned int> const digit = digitOf(aCharacter))
    {
        return takeDigit(*digit);
    }
    bool const mayStandHere = isBlank(aCharacter) || aCharacter == comment;
    if (mFirstDigit || !mayStandHere)
    {
        complain(aCharacter == '\n' ? "the end of the line" : std::string("'") + aCharacter + "'");
    }
    mIsInComment = aCharacter == comment;
    return {};
}

std::optional<unsigned char> HexText::takeDigit(unsigned int aValue)
{
    if (!mFirstDigit)
    {
        mFirstDigit = aValue;
        return {};
    }
    auto const byte = static_cast<unsigned char>(*mFirstDigit << 4 | aValue);
    mFirstDigit.reset();
    return byte;
}

void HexText::move(char aCharacter)
{
    ++mColumn;
    if (aCharacter == '\n')
    {
        ++mLine;
        mColumn = 1;
        mIsInComment = false;
    }
}

void HexText::complain(std::string const& aFound)
{
    char const* const expected = mFirstDigit ? "the second hexadecimal digit of a byte"
                                             : "a hexadecimal digit, a blank or a comment (#)";
    mComplaint = std::to_string(mLine) + ":" + std::to_string(mColumn) + ": expected " + expected +
                 ", found " + aFound;
}
}  // namespace qzagent
