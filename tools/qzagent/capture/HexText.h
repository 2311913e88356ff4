/// @file
/// Bytes written down as text, with comments.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace qzagent
{
/// Decodes text in pieces: pairs of hexadecimal digits, between them blanks, tabs and line ends, and comments
/// from `#` to the end of the line.
class HexText
{
public:
    /// How many bytes isBegunBy() looks at.
    static constexpr std::size_t headSize = 3;

    /// Whether a capture that begins with these bytes is text, and not encoded records.
    /// @param aHead its first headSize bytes; fewer when it has no more
    static bool isBegunBy(std::string const& aHead);

    /// Decodes the next piece of the text in its place. Stops for good at the first character that does not
    /// belong there.
    /// @return number of bytes that the piece begins with now
    std::size_t decode(unsigned char* aPiece, std::size_t aSize);

    /// The text ends here, which the second digit of a pair does not expect.
    void end();

    /// @return "LINE:COLUMN: expected ..., found ..." when decoding has stopped; none while it has not
    std::optional<std::string> const& complaint() const { return mComplaint; }

private:
    std::optional<unsigned char> take(char aCharacter);
    std::optional<unsigned char> takeDigit(unsigned int aValue);
    void move(char aCharacter);
    void complain(std::string const& aFound);

    std::size_t mLine = 1;
    std::size_t mColumn = 1;  ///< in bytes
    bool mIsInComment = false;
    std::optional<unsigned int> mFirstDigit;  ///< of a pair whose second has not come yet
    std::optional<std::string> mComplaint;
};
}  // namespace qzagent
