#include "tools/qzagent/bundle/BundleWriter.h"

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agentkit/include/ScopeDataView.h"
#include "agentkit/include/ScopeEvents.h"
#include "agentkit/include/Wwn.h"
#include "backend/common/include/Buffer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tools/qzagent/capture/ForeignJson.h"
#include "tools/qzagent/capture/SectionComment.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
BundleWriter::BundleWriter(std::string const& aPath, pcapng::Section const& aSection,
                           anonymise::Anonymiser const* aAnonymiser)
    : mAnonymiser(aAnonymiser),
      mFile(aPath),
      mTarget([this](pcapng::Bytes aBytes) { mFile.write(aBytes); }),
      mSection(aAnonymiser == nullptr ? aSection : anonymised(aSection))
{
    mTarget.addSection(mSection);
}

void BundleWriter::describe(CaptureDocument const& aDocument) { mTarget.describe(interfaceOf(aDocument)); }

void BundleWriter::describe(pcapng::Interface const& aBoard)
{
    mTarget.describe(mAnonymiser == nullptr ? aBoard : anonymised(aBoard));
}

void BundleWriter::add(CaptureDocument aDocument)
{
    if (mAnonymiser != nullptr)
    {
        aDocument.mText = documentText(
            mAnonymiser->anonymisedDocument(parseForeignJson<nlohmann::ordered_json>(aDocument.mText)));
    }
    pcapng::Interface const interface = interfaceOf(aDocument);
    pcapng::PacketHead head;
    head.mTime = aDocument.mTime;
    mTarget.add(CaptureOther{head, &interface, bytesOf(aDocument)});
    mDocuments.push_back({aDocument.mName, aDocument.mText.size()});
}

void BundleWriter::add(CaptureEvent aEvent)
{
    replace(aEvent);
    mTarget.add(aEvent);
}

void BundleWriter::add(CaptureCounts aCounts)
{
    replace(aCounts.mDrops);
    aCounts.mInterface = aCounts.mDrops.mInterface;
    mTarget.add(aCounts);
}

void BundleWriter::finish()
{
    mTarget.finish();
    mFile.finish();
}

pcapng::Section BundleWriter::anonymised(pcapng::Section const& aSection) const
{
    SectionComment comment = parseSectionComment(aSection.mComment);
    comment.mBootId.reset();  // other files of the host have it too
    return {mAnonymiser->anonymisedHost(aSection.mHardware), mAnonymiser->anonymised(aSection.mSystem),
            aSection.mApplication, mAnonymiser->anonymised(formatSectionComment(comment))};
}

pcapng::Interface BundleWriter::anonymised(pcapng::Interface const& aBoard) const
{
    return {aBoard.mLinkType, aBoard.mName, mAnonymiser->anonymised(aBoard.mDescription)};
}

/// Makes the event one of this section.
void BundleWriter::replace(CaptureEvent& aEvent)
{
    aEvent.mOrigin.mHost = mSection.mHardware;
    if (mAnonymiser == nullptr)
    {
        return;
    }
    if (aEvent.mInterface != nullptr)
    {
        mInterface = anonymised(*aEvent.mInterface);
        aEvent.mInterface = &mInterface;
    }
    if (aEvent.mRecord)
    {
        replaceRecord(aEvent);
    }
}

/// Encodes the record again, because bytes of its form can be equal to a name.
void BundleWriter::replaceRecord(CaptureEvent& aEvent)
{
    qz::ScopeDataView const& record = *aEvent.mRecord;
    pcapng::Bytes const original = record.payload().value_or(pcapng::Bytes{nullptr, 0});
    std::vector<unsigned char> payload(original.begin(), original.end());
    mAnonymiser->anonymise(payload.data(), payload.size());
    auto const event = qz::makeScopeEvent(record.category(), record.subcategory());
    auto const size = static_cast<unsigned int>(payload.size());
    QZCScopeData const replaced =
        record.hasNames() ? QZCScopeData(event, payload.data(), size, size,
                                         qz::Wwn(mAnonymiser->anonymised(record.first()->bytes())).record(),
                                         qz::Wwn(mAnonymiser->anonymised(record.second()->bytes())).record())
                          : QZCScopeData(event, payload.data(), size, size);
    mStream.clear();
    replaced.encode(mStream);
    QZCBuffer const& encoded = mStream.getEncoded();
    aEvent.mEncoded = {encoded, encoded.getLength()};
    aEvent.mRecord.emplace(aEvent.mEncoded.mData, aEvent.mEncoded.mSize);
}
}  // namespace qzagent
