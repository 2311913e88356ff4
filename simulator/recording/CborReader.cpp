#include "simulator/recording/CborReader.h"

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
}  // namespace

std::optional<nlohmann::json> readCbor(std::vector<std::uint8_t> const& aBytes)
{
    Builder builder;
    bool const isRead = nlohmann::json::sax_parse(aBytes, &builder, nlohmann::json::input_format_t::cbor);
    return isRead ? builder.take() : std::nullopt;
}
}  // namespace qzsim
