#include "agentkit/include/Wwn.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace qz
{
namespace
{
constexpr std::size_t pairPitch = 3;  // two digits and the separator
constexpr std::size_t textSize = Wwn::size * pairPitch - 1;
constexpr char separator = ':';

/// The value of a hexadecimal digit; -1 for any other character, whatever the locale.
int digitOf(char aCharacter)
{
    constexpr std::string_view lower = "0123456789abcdef";
    constexpr std::string_view upper = "0123456789ABCDEF";
    std::size_t const position = std::min(lower.find(aCharacter), upper.find(aCharacter));
    return position == std::string_view::npos ? -1 : static_cast<int>(position);
}
}  // namespace

Wwn::Wwn(HBA_WWN const& aName) noexcept : Wwn(ofBytes(aName.wwn)) {}

Wwn::Wwn(QZCWorldWideName const& aName) : Wwn(ofBytes(aName.getBinaryForm())) {}

Wwn Wwn::ofBytes(unsigned char const* aBytes) noexcept
{
    std::array<unsigned char, size> bytes;
    std::copy_n(aBytes, size, bytes.begin());
    return Wwn(bytes);
}

std::optional<Wwn> Wwn::parse(std::string_view aText) noexcept
{
    if (aText.size() != textSize)
    {
        return std::nullopt;
    }
    std::array<unsigned char, size> bytes;
    for (std::size_t i = 0; i < size; ++i)
    {
        std::size_t const position = i * pairPitch;
        int const high = digitOf(aText[position]);
        int const low = digitOf(aText[position + 1]);
        bool const isSeparated = i == size - 1 || aText[position + 2] == separator;
        if (high < 0 || low < 0 || !isSeparated)
        {
            return std::nullopt;
        }
        bytes[i] = static_cast<unsigned char>(high * 16 + low);
    }
    return Wwn(bytes);
}

std::string Wwn::text() const
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text(textSize, separator);
    for (std::size_t i = 0; i < size; ++i)
    {
        text[i * pairPitch] = digits[mBytes[i] / 16];
        text[i * pairPitch + 1] = digits[mBytes[i] % 16];
    }
    return text;
}

HBA_WWN Wwn::hbaWwn() const noexcept
{
    HBA_WWN name;
    std::memcpy(name.wwn, mBytes.data(), sizeof name.wwn);
    return name;
}

QZCPointer<QZCWorldWideName> Wwn::record() const
{
    return QZCPointer<QZCWorldWideName>(new (std::nothrow) QZCWorldWideName(mBytes.data()), QZPST_Individual,
                                        QZPAT_New);
}
}  // namespace qz
