/// @file
/// The keyed hash from which pseudonyms are made.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include <nettle/hmac.h>

namespace anonymise
{
/// HMAC-SHA-256. Without the secret, nobody can test whether a pseudonym stands for a name.
class KeyedHash
{
public:
    static constexpr std::size_t smallestSecret = 16;
    static constexpr std::size_t largestSecret = std::size_t{1} << 20U;

    using Digest = std::array<unsigned char, SHA256_DIGEST_SIZE>;

    explicit KeyedHash(std::string_view aSecret);

    /// Takes the whole content of a file as the secret.
    /// @throws std::system_error "cannot read PATH: ..."
    /// @throws std::runtime_error "PATH is too short ..." or "PATH is too long ..." outside the limits of a secret
    /// @throws std::runtime_error "PATH is not a regular file ..."
    /// @throws std::runtime_error "PATH is open to other users ..." when others than the owner have a permission
    static KeyedHash ofFile(std::string const& aPath);

    /// @param aPurpose separates the hashes of different kinds of text; without null bytes
    Digest of(std::string_view aPurpose, std::string_view aText) const;

private:
    hmac_sha256_ctx mKeyed;
};
}  // namespace anonymise
