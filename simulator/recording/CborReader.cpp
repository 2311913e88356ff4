#include "simulator/recording/CborReader.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <string>
#include <utility>

namespace qzsim
{
namespace
{
/// Deeper than any packet. The parser calls itself for each level, so a hostile file could exhaust the stack.
constexpr std::size_t deepest = 16;

/// Builds the item. Each function returns whether the parser continues.
class Builder : public nlohmann::json_sax<nlohmann::json>
{
    using Json = nlohmann::json;

public:
    std::optional<Json> take() { return mIsDone ? std::optional(std::move(mRoot)) : std::nullopt; }

    bool null() override { return put(nullptr); }
    bool boolean(bool aValue) override { return put(aValue); }
    bool number_integer(number_integer_t aValue) override { return put(aValue); }
    bool number_unsigned(number_unsigned_t aValue) override { return put(aValue); }
    bool number_float(number_float_t aValue, string_t const&) override { return put(aValue); }
    bool string(string_t& aValue) override { return put(std::move(aValue)); }
    bool binary(binary_t& aValue) override { return put(Json(std::move(aValue))); }
    bool start_object(std::size_t) override { return open(Json::object()); }
    bool start_array(std::size_t) override { return open(Json::array()); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& aKey) override
    {
        mKey = std::move(aKey);
        return true;
    }
    bool parse_error(std::size_t, std::string const&, nlohmann::detail::exception const&) override
    {
        mIsDone = false;
        return false;
    }

private:
    Json& place()
    {
        if (mOpen.empty())
        {
            return mRoot;
        }
        Json& parent = *mOpen.back();
        return parent.is_object() ? parent[mKey] : parent.emplace_back();
    }

    bool put(Json aValue)
    {
        place() = std::move(aValue);
        mIsDone = mOpen.empty();
        return true;
    }

    bool open(Json aValue)
    {
        if (mOpen.size() == deepest)
        {
            return false;
        }
        Json& value = place();
        value = std::move(aValue);
        mOpen.push_back(&value);
        return true;
    }

    bool close()
    {
        mOpen.pop_back();
        mIsDone = mOpen.empty();
        return true;
    }

    Json mRoot;
    std::vector<Json*> mOpen;  ///< the innermost last
    std::string mKey;
    bool mIsDone = false;
};

/// @return whether a text or row of bytes begins without its size. The parser calls itself for each of its pieces, at any
/// depth. The writer never makes one.
bool hasPieces(std::vector<std::uint8_t> const& aBytes)
{
    constexpr unsigned int lowBits = 5;
    constexpr unsigned int firstWithSize = 24;
    constexpr unsigned int lastWithSize = 27;
    constexpr unsigned int withoutSize = 31;
    constexpr unsigned int bytes = 2;
    constexpr unsigned int text = 3;
    for (std::size_t position = 0; position < aBytes.size();)
    {
        unsigned int const kind = aBytes[position] >> lowBits;
        unsigned int const low = aBytes[position] & withoutSize;
        bool const isRow = kind == bytes || kind == text;
        if (isRow && low == withoutSize)
        {
            return true;
        }
        std::size_t const begin = ++position;
        bool const hasSize = low >= firstWithSize && low <= lastWithSize;
        position += hasSize ? std::size_t{1} << (low - firstWithSize) : 0;
        if (isRow && position <= aBytes.size())
        {
            std::uint64_t size = low;
            for (std::size_t i = begin; i < position; ++i)
            {
                size = (i == begin ? 0 : size << CHAR_BIT) | aBytes[i];
            }
            position += static_cast<std::size_t>(std::min<std::uint64_t>(size, aBytes.size() - position));
        }
    }
    return false;
}
}  // namespace

std::optional<nlohmann::json> readCbor(std::vector<std::uint8_t> const& aBytes)
{
    if (hasPieces(aBytes))
    {
        return std::nullopt;
    }
    Builder builder;
    bool const isRead = nlohmann::json::sax_parse(aBytes, &builder, nlohmann::json::input_format_t::cbor);
    return isRead ? builder.take() : std::nullopt;
}
}  // namespace qzsim
