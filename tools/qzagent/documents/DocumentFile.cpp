#include "tools/qzagent/documents/DocumentFile.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/CaptureInput.h"
#include "tools/qzagent/capture/CaptureItems.h"
#include "tools/qzagent/capture/ForeignJson.h"
#include "tools/qzagent/capture/LinkTypes.h"
#include "tools/qzagent/capture/PcapngSource.h"
#include "tools/qzagent/capture/ReportSource.h"
#include "tools/qzagent/cli/Report.h"
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

/// Larger input is refused. An inventory of 4,000 LUNs is about 2 MiB.
constexpr std::size_t largestMiB = 256;

/// A file, or a pipe, whose first bytes show whether it is a bundle.
class DocumentInput : public CaptureFile
{
public:
    explicit DocumentInput(std::string const& aPath)
        : CaptureFile(aPath, Reading::toTheEnd, CaptureForm::records, -1)
    {
        std::array<unsigned char, firstOfPcapng.size()> bytes{};
        std::size_t count = 0;
        while (mHead.size() < bytes.size() &&
               (count = CaptureFile::read(bytes.data(), bytes.size() - mHead.size())) != 0)
        {
            mHead.append(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
        }
        mIsReport = isReportStart(mHead);
        mIsBundle = mHead == firstOfPcapng;
    }

    bool isBundle() const { return mIsBundle; }

    bool isReport() const { return mIsReport; }

    std::size_t read(unsigned char* aBytes, std::size_t aSize) override
    {
        std::size_t count = std::min(aSize, mHead.size());
        if (count != 0)
        {
            std::copy_n(mHead.begin(), count, aBytes);
            mHead.erase(0, count);
            return count;
        }
        count = CaptureFile::read(aBytes, aSize);
        if (count > mLeft)
        {
            throw CaptureError(fmt::format("{}: larger than {} MiB", name(), largestMiB));
        }
        mLeft -= count;
        return count;
    }

private:
    std::string mHead;  ///< read, but not returned
    bool mIsBundle = false;
    bool mIsReport = false;
    std::size_t mLeft = largestMiB << 20U;
};

/// Keeps the documents of a bundle that are whole.
struct DocumentCollector
{
    std::string const& mName;
    Documents mDocuments{};
    std::string mDamage{};  ///< the first
    std::size_t mDamages = 0;

    void operator()(CaptureOther const& aOther)
    {
        if (aOther.mInterface != nullptr && aOther.mInterface->mLinkType == documentLinkType)
        {
            std::string_view const text(reinterpret_cast<char const*>(aOther.mData.mData),
                                        aOther.mData.mSize);
            std::string const& name = aOther.mInterface->mName;
            try
            {
                mDocuments[name] = parse(text, fmt::format("{}: document {}", mName, name));
            }
            catch (DocumentError const& error)
            {
                addDamage(error.what());
            }
        }
    }
    void operator()(CaptureDamage const& aDamage) { addDamage(aDamage.mText); }
    template <typename Item>
    void operator()(Item const&) const
    {
    }

    void addDamage(std::string const& aText) { mDamage = mDamages++ == 0 ? aText : mDamage; }
};

std::unique_ptr<CaptureSource> sourceOf(DocumentInput& aInput)
{
    if (aInput.isReport())
    {
        return std::make_unique<ReportSource>(aInput);
    }
    return std::make_unique<PcapngSource>(aInput, defaultLargestRecord);
}

Documents readBundle(DocumentInput& aInput, Report& aReport)
{
    DocumentCollector collector{aInput.name()};
    try
    {
        std::unique_ptr<CaptureSource> const source = sourceOf(aInput);
        while (std::optional<CaptureItem> const item = source->next(false))
        {
            std::visit(collector, *item);
        }
    }
    catch (CaptureError const& error)
    {
        if (aInput.isReport())
        {
            throw;
        }
        collector.addDamage(error.what());
    }
    if (collector.mDamages > 0)
    {
        std::size_t const others = collector.mDamages - 1;
        aReport.addNote(fmt::format("the bundle is damaged: {}{}", collector.mDamage,
                                    others == 0 ? "" : fmt::format("; and {} more", others)));
    }
    return std::move(collector.mDocuments);
}

std::string textOf(DocumentInput& aInput)
{
    std::string text;
    std::vector<unsigned char> piece(std::size_t{1} << 16U);
    while (std::size_t const count = aInput.read(piece.data(), piece.size()))
    {
        text.append(reinterpret_cast<char const*>(piece.data()), count);
    }
    return text;
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

Documents readDocuments(std::string const& aPath, Report& aReport)
{
    try
    {
        DocumentInput input(aPath);
        return input.isBundle() || input.isReport() ? readBundle(input, aReport)
                                                    : documentsIn(textOf(input), input.name());
    }
    catch (CaptureError const& error)
    {
        throw DocumentError(error.what());
    }
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
