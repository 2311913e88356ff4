/// @file
/// Parses JSON that may come from anywhere.
#pragma once

#include <stdexcept>
#include <string_view>

namespace qzagent
{
/// The text is nested too deeply.
class DeepJsonError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// @throws DeepJsonError "nested more than 100 levels deep"
void expectShallowJson(std::string_view aText);

/// Parses a text that another program may have written. What reads the value later is recursive, and a text that is
/// nested deeply would exhaust the stack.
/// @tparam Json nlohmann::json or nlohmann::ordered_json
/// @throws DeepJsonError "nested more than 100 levels deep"
/// @throws nlohmann::json::exception when the text is not valid JSON
template <typename Json>
Json parseForeignJson(std::string_view aText)
{
    expectShallowJson(aText);
    return Json::parse(aText);
}
}  // namespace qzagent
