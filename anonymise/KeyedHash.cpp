#include "anonymise/KeyedHash.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <nettle/hmac.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace anonymise
{
namespace
{
unsigned char const* unsignedBytesOf(std::string_view aText)
{
    return reinterpret_cast<unsigned char const*>(aText.data());
}

[[noreturn]] void refuse(std::string const& aPath)
{
    throw std::system_error(errno, std::generic_category(), "cannot read " + aPath);
}

/// Whoever has the secret can test which name a pseudonym stands for.
void expectPrivateFile(int aFile, std::string const& aPath)
{
    struct stat status = {};
    if (::fstat(aFile, &status) != 0)
    {
        refuse(aPath);
    }
    if (!S_ISREG(status.st_mode))
    {
        throw std::runtime_error(aPath + " is not a regular file, which a key file must be");
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    {
        throw std::runtime_error(
            fmt::format("{} is open to other users: a key file must be private, as after chmod 600", aPath));
    }
}

/// @return the content; one byte more than the longest secret of a file that is longer
std::string contentOf(std::string const& aPath)
{
    // A pipe without a writer would be waited for.
    int const number = ::open(aPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const file(number < 0 ? nullptr : ::fdopen(number, "r"),
                                                               &std::fclose);
    if (!file)
    {
        refuse(aPath);
    }
    expectPrivateFile(number, aPath);
    std::string content(KeyedHash::largestSecret + 1, '\0');
    content.resize(std::fread(content.data(), 1, content.size(), file.get()));
    if (std::ferror(file.get()) != 0)
    {
        refuse(aPath);
    }
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
}  // namespace anonymise
