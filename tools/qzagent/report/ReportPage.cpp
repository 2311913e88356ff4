#include "tools/qzagent/report/ReportPage.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <nettle/sha2.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/report/Base64.h"
#include "tools/qzagent/report/PageParts.h"
#include "tools/qzagent/report/ReportText.h"

namespace qzagent
{
namespace
{
/// @return the source expression that allows an element with this text
std::string hashOf(std::string const& aText)
{
    sha256_ctx context;
    ::sha256_init(&context);
    ::sha256_update(&context, aText.size(), reinterpret_cast<std::uint8_t const*>(aText.data()));
    std::string digest(SHA256_DIGEST_SIZE, '\0');
    ::sha256_digest(&context, digest.size(), reinterpret_cast<std::uint8_t*>(digest.data()));
    return "'sha256-" + base64Of(digest) + "'";
}
}  // namespace

std::string reportPage(nlohmann::ordered_json const& aData, std::size_t aLargest)
{
    std::string const style = fmt::format("\n{}\n{}", chartStyle, pageStyle);
    std::string const script = fmt::format("\n/*!\n{}*/\n{}\n{}", chartLicence, chartLibrary, pageScript);
    std::string const policy =
        fmt::format("default-src 'none'; script-src {}; style-src {}; base-uri 'none'; form-action 'none'",
                    hashOf(script), hashOf(style));
    std::string const data =
        jsonForPage(aData.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace));
    std::array<std::pair<std::string_view, std::string_view>, 4> const parts{
        {{"@POLICY@", policy}, {"@STYLE@", style}, {"@DATA@", data}, {"@SCRIPT@", script}}};
    std::string page;
    page.reserve(pageTemplate.size() + style.size() + script.size() + data.size());
    std::string_view rest = pageTemplate;
    for (auto const& [marker, text] : parts)
    {
        std::size_t const place = rest.find(marker);
        page += rest.substr(0, place);
        page += text;
        rest.remove_prefix(place + marker.size());
    }
    page += rest;
    if (page.size() > aLargest)
    {
        throw std::length_error(
            fmt::format("the page would have {} bytes, and no verb reads a page of more than {} bytes",
                        page.size(), aLargest));
    }
    return page;
}
}  // namespace qzagent
