/// @file
/// A World Wide Name as a plain value.
#pragma once

#include <array>
#include <cstddef>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <hbaapi.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

namespace qz
{
/// The 8 bytes of a Fibre Channel World Wide Name, most significant first: cheap to copy, ordered, and hashable
/// with std::hash.
///
/// Streams and the layer over the vendor library use the record QZCWorldWideName instead. That record also accepts
/// malformed pairs of digits; parse() does not.
/// Thread-safety: only one thread may modify an object at a time.
/// @ingroup agentkit
class Wwn
{
public:
    /// Number of bytes of a name.
    static constexpr std::size_t size = 8;

    /// The name of eight zero bytes.
    constexpr Wwn() noexcept = default;

    /// @param aBytes the bytes, most significant first
    constexpr explicit Wwn(std::array<unsigned char, size> const& aBytes) noexcept : mBytes(aBytes) {}

    /// @param aName a name of the HBA API
    explicit Wwn(HBA_WWN const& aName) noexcept;

    /// @param aName a record that was given a value
    explicit Wwn(QZCWorldWideName const& aName);

    /// Copies a name from other data.
    /// @param aBytes at least 8 bytes, most significant first
    /// @return the name in the first 8 bytes
    static Wwn ofBytes(unsigned char const* aBytes) noexcept;

    /// Parses eight pairs of hexadecimal digits, in either letter case, with ":" between them.
    /// @param aText the text
    /// @return the name; none for any other text
    static std::optional<Wwn> parse(std::string_view aText) noexcept;

    /// @return the bytes, most significant first
    constexpr std::array<unsigned char, size> const& bytes() const noexcept { return mBytes; }

    /// @return the name as 10:00:00:00:c9:2a:3b:4c
    std::string text() const;

    /// @return the name as the HBA API passes it
    HBA_WWN hbaWwn() const noexcept;

    /// Makes the record of this name.
    /// @return a new record
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCPointer<QZCWorldWideName> record() const;

    /// Compares byte by byte, the most significant first.
    /// @param aLeft  one name
    /// @param aRight the other name
    /// @{
    friend bool operator==(Wwn const& aLeft, Wwn const& aRight) noexcept
    {
        return aLeft.mBytes == aRight.mBytes;
    }
    friend bool operator!=(Wwn const& aLeft, Wwn const& aRight) noexcept
    {
        return aLeft.mBytes != aRight.mBytes;
    }
    friend bool operator<(Wwn const& aLeft, Wwn const& aRight) noexcept
    {
        return aLeft.mBytes < aRight.mBytes;
    }
    /// @}

private:
    std::array<unsigned char, size> mBytes = {};
};
}  // namespace qz

/// @cond
/// Hashes names for unordered containers.
template <>
struct std::hash<qz::Wwn>
{
    std::size_t operator()(qz::Wwn const& aName) const noexcept
    {
        return std::hash<std::string_view>()(
            {reinterpret_cast<char const*>(aName.bytes().data()), aName.bytes().size()});
    }
};
/// @endcond
