/// @file
/// Decodes commented hexadecimal text.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace qzagent
{
/// Decodes text piece by piece. The text consists of pairs of hexadecimal digits, separated by blanks, tabs and line
/// ends, and of comments from `#` to the end of the line.
class HexText
{
public:
    /// Number of bytes that isText() examines.
    static constexpr std::size_t headSize = 3;

    /// @param aHead the first headSize bytes of a capture, fewer when it is shorter
    /// @return whether the capture is text and not encoded records
    static bool isText(std::string const& aHead);

    /// Decodes the next piece of the text in place. Decoding stops at the first invalid character.
    /// @return number of decoded bytes at the beginning of the piece
    std::size_t decode(unsigned char* aPiece, std::size_t aSize);

    /// Marks the end of the text. Ending after the first digit of a pair is an error.
    void end();

    /// @return "LINE:COLUMN: expected ..., found ..." after an error; none otherwise
    std::optional<std::string> const& complaint() const { return mComplaint; }

private:
    std::optional<unsigned char> take(char aCharacter);
    std::optional<unsigned char> takeDigit(unsigned int aValue);
    void move(char aCharacter);
    void complain(std::string const& aFound);

    std::size_t mLine = 1;
    std::size_t mColumn = 1;  ///< in bytes
    bool mIsInComment = false;
    std::optional<unsigned int> mFirstDigit;  ///< first digit of a pair whose second digit is pending
    std::optional<std::string> mComplaint;
};
}  // namespace qzagent
