#include "tools/qzagent/documents/DocumentFile.h"

#include <cerrno>
#include <cstddef>
#include <fstream>
#include <ios>
#include <iostream>
#include <istream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/capture/CaptureInput.h"
#include "tools/qzagent/capture/CaptureItems.h"
#include "tools/qzagent/capture/ForeignJson.h"
#include "tools/qzagent/capture/LinkTypes.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/report/ReportText.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;

/// With these bytes every pcapng file begins, in both byte orders.
constexpr std::string_view firstOfPcapng = "\n\r\r\n";

Json parse(std::string_view aText, std::string const& aName)
{
    try
    {
        return parseForeignJson<Json>(aText);
    }
    catch (DeepJsonError const& error)
    {
        throw DocumentError(fmt::format("{}: {}", aName, error.what()));
    }
    catch (nlohmann::json::parse_error const& error)
    {
        throw DocumentError(fmt::format("{}: not JSON at byte {}", aName, error.byte));
    }
    catch (nlohmann::json::out_of_range const&)
    {
        throw DocumentError(fmt::format("{}: a number is too large", aName));
    }
}

/// Keeps the documents of a bundle.
struct DocumentCollector
{
    std::string const& mPath;
    Documents mDocuments{};

    void operator()(CaptureOther const& aOther)
    {
        if (aOther.mInterface != nullptr && aOther.mInterface->mLinkType == documentLinkType)
        {
            std::string_view const text(reinterpret_cast<char const*>(aOther.mData.mData),
                                        aOther.mData.mSize);
            std::string const& name = aOther.mInterface->mName;
            mDocuments[name] = parse(text, fmt::format("{}: document {}", mPath, name));
        }
    }
    void operator()(CaptureDamage const& aDamage) const { throw DocumentError(aDamage.mText); }
    template <typename Item>
    void operator()(Item const&) const
    {
    }
};

std::string remainderOf(std::istream& aInput)
{
    return {std::istreambuf_iterator<char>(aInput), std::istreambuf_iterator<char>()};
}

Documents readBundle(std::string const& aPath)
{
    DocumentCollector collector{aPath};
    try
    {
        CaptureOptions options;
        options.mTakesReports = true;
        CaptureInput input(aPath, options);
        while (std::optional<CaptureItem> const item = input.next())
        {
            std::visit(collector, *item);
        }
    }
    catch (CaptureError const& error)
    {
        throw DocumentError(error.what());
    }
    return std::move(collector.mDocuments);
}

Documents documentsIn(std::string_view aText, std::string const& aName)
{
    Json document = parse(aText, aName);
    std::string const command = DocumentValue(document, aName).at("command").text();
    Documents documents;
    documents.emplace(command, std::move(document));
    return documents;
}
}  // namespace

Documents readDocuments(std::string const& aPath)
{
    if (aPath == "-")
    {
        return documentsIn(remainderOf(std::cin), "standard input");
    }
    std::ifstream file(aPath, std::ios::binary);
    std::string first(firstOfPcapng.size(), '\0');
    file.read(first.data(), static_cast<std::streamsize>(first.size()));
    if (!file.is_open() || file.bad())
    {
        throw DocumentError(fmt::format("cannot read {}: {}", aPath, std::generic_category().message(errno)));
    }
    if (first == firstOfPcapng || isReportStart(first))
    {
        return readBundle(aPath);
    }
    // A pipe has no way back to its first bytes.
    first.resize(static_cast<std::size_t>(file.gcount()));
    return documentsIn(first + remainderOf(file), aPath);
}

nlohmann::ordered_json const& documentNamed(char const* aName, Documents const& aDocuments,
                                            std::string const& aPath)
{
    auto const found = aDocuments.find(aName);
    if (found == aDocuments.end())
    {
        throw DocumentError(fmt::format("{}: the document of {} was expected", aPath, aName));
    }
    return found->second;
}
}  // namespace qzagent
