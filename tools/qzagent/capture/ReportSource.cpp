#include "tools/qzagent/capture/ReportSource.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/ScopeEvents.h"
#include "backend/common/include/Buffer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tools/qzagent/capture/ForeignJson.h"
#include "tools/qzagent/capture/LinkTypes.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/report/ReportText.h"

namespace qzagent
{
std::optional<CaptureItem> ReportSource::next(bool aMayGrow)
{
    if (aMayGrow && !mFile.hasEnded())
    {
        throw CaptureError(fmt::format("{}: a report does not grow, so it cannot be followed", mFile.name()));
    }
    try
    {
        if (!std::exchange(mIsRead, true))
        {
            read();
        }
        if (!std::exchange(mIsStarted, true))
        {
            return CaptureSectionStart{&mSection};
        }
        if (mDocumentsGiven < mDocuments.size())
        {
            Document const& document = mDocuments[mDocumentsGiven++];
            auto const* const bytes = reinterpret_cast<unsigned char const*>(document.mText.data());
            return CaptureOther{{}, &document.mInterface, {bytes, document.mText.size()}};
        }
        std::optional<ReportedEvent> const event = mEvents ? mEvents->next() : std::nullopt;
        return event ? std::optional(itemOf(*event)) : std::nullopt;
    }
    catch (DocumentError const& error)
    {
        throw CaptureError(fmt::format("{}: a damaged report: {}", mFile.name(), error.what()));
    }
    catch (DeepJsonError const& error)
    {
        throw CaptureError(fmt::format("{}: a damaged report: {}", mFile.name(), error.what()));
    }
    catch (nlohmann::json::parse_error const& error)
    {
        throw CaptureError(
            fmt::format("{}: a damaged report: not JSON at byte {} of its data", mFile.name(), error.byte));
    }
    catch (nlohmann::json::out_of_range const&)
    {
        throw CaptureError(fmt::format("{}: a damaged report: a number is too large", mFile.name()));
    }
}

std::string ReportSource::readAll()
{
    std::string page;
    for (;;)
    {
        constexpr std::size_t portion = 1 << 20;
        std::size_t const before = page.size();
        page.resize(before + portion);
        page.resize(before + mFile.read(reinterpret_cast<unsigned char*>(page.data()) + before, portion));
        if (page.size() == before)
        {
            return page;
        }
        if (page.size() > largestReport)
        {
            throw CaptureError(
                fmt::format("{}: a report of more than {} bytes", mFile.name(), largestReport));
        }
    }
}

void ReportSource::read()
{
    std::string const page = readAll();
    if (!isReport(page))
    {
        throw CaptureError(fmt::format("{}: HTML that is not a report", mFile.name()));
    }
    auto const json = parseForeignJson<nlohmann::ordered_json>(dataIn(page));
    DocumentValue const report = documentOf("report", json, "the data");
    mSection.mHardware = report.at("host").text();
    DocumentValue const documents = report.at("documents");
    if (!documents.json().is_object())
    {
        documents.refuse("an object");
    }
    for (auto const& [name, document] : documents.json().items())
    {
        Document& kept = mDocuments.emplace_back();
        kept.mInterface.mLinkType = documentLinkType;
        kept.mInterface.mName = name;
        kept.mText = document.dump();
    }
    mEvents.emplace(report.at("events"));
}

/// Encodes a record without a payload, since verbs expect records.
CaptureItem ReportSource::itemOf(ReportedEvent const& aEvent)
{
    CaptureEvent event;
    event.mOrigin = aEvent.mOrigin;
    event.mDropped = aEvent.mDropped;
    if (!aEvent.mIsEvent)
    {
        return event;
    }
    mStream.clear();
    QZCScopeData(qz::makeScopeEvent(aEvent.mCategory, aEvent.mSubcategory)).encode(mStream);
    QZCBuffer const& encoded = mStream.getEncoded();
    event.mEncoded = {encoded, encoded.getLength()};
    event.mRecord.emplace(event.mEncoded.mData, event.mEncoded.mSize);
    event.mOmitted = aEvent.mLength;
    return event;
}
}  // namespace qzagent
