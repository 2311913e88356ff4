#include "tools/qzagent/report/Base64.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nettle/base64.h>

namespace qzagent
{
std::string base64Of(std::string_view aBytes)
{
    std::string text(BASE64_ENCODE_RAW_LENGTH(aBytes.size()), '\0');
    ::base64_encode_raw(text.data(), aBytes.size(), reinterpret_cast<std::uint8_t const*>(aBytes.data()));
    return text;
}

std::optional<std::string> bytesOfBase64(std::string_view aText)
{
    std::string bytes(BASE64_DECODE_LENGTH(aText.size()), '\0');
    std::size_t size = bytes.size();
    base64_decode_ctx decoder;
    ::base64_decode_init(&decoder);
    bool const isValid =
        ::base64_decode_update(&decoder, &size, reinterpret_cast<std::uint8_t*>(bytes.data()), aText.size(),
                               aText.data()) != 0 &&
        ::base64_decode_final(&decoder) != 0;
    if (!isValid)
    {
        return {};
    }
    bytes.resize(size);
    return bytes;
}
}  // namespace qzagent
