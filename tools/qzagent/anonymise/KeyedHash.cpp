#include "tools/qzagent/anonymise/KeyedHash.h"

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <fmt/format.h>
#include <nettle/hmac.h>

namespace qzagent
{
namespace
{
unsigned char const* unsignedBytesOf(std::string_view aText)
{
    return reinterpret_cast<unsigned char const*>(aText.data());
}

/// @return the content; one byte more than the longest secret of a file that is longer
std::string contentOf(std::string const& aPath)
{
    errno = 0;
    std::ifstream file(aPath, std::ios::binary);
    std::string content(KeyedHash::largestSecret + 1, '\0');
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    if (file.bad() || !file.is_open())
    {
        throw std::system_error(errno, std::generic_category(), "cannot read " + aPath);
    }
    content.resize(static_cast<std::size_t>(file.gcount()));
    return content;
}
}  // namespace

KeyedHash::KeyedHash(std::string_view aSecret)
{
    hmac_sha256_set_key(&mKeyed, aSecret.size(), unsignedBytesOf(aSecret));
}

KeyedHash KeyedHash::ofFile(std::string const& aPath)
{
    std::string const secret = contentOf(aPath);
    if (secret.size() < smallestSecret)
    {
        throw std::runtime_error(
            fmt::format("{} is too short: it has {} bytes, and a key file needs at least {}", aPath,
                        secret.size(), smallestSecret));
    }
    if (secret.size() > largestSecret)
    {
        throw std::runtime_error(
            fmt::format("{} is too long: a key file has at most {} bytes", aPath, largestSecret));
    }
    return KeyedHash(secret);
}

KeyedHash::Digest KeyedHash::of(std::string_view aPurpose, std::string_view aText) const
{
    hmac_sha256_ctx context = mKeyed;
    unsigned char const separator = 0;
    hmac_sha256_update(&context, aPurpose.size(), unsignedBytesOf(aPurpose));
    hmac_sha256_update(&context, sizeof separator, &separator);
    hmac_sha256_update(&context, aText.size(), unsignedBytesOf(aText));
    Digest digest;
    hmac_sha256_digest(&context, digest.size(), digest.data());
    return digest;
}
}  // namespace qzagent
