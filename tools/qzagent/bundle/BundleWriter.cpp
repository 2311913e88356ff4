#include "tools/qzagent/bundle/BundleWriter.h"

#include <string>

#include <nlohmann/json.hpp>

#include "agentkit/include/ScopeDataView.h"
#include "tools/qzagent/capture/ForeignJson.h"
#include "tools/qzagent/capture/SectionComment.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
BundleWriter::BundleWriter(std::string const& aPath, pcapng::Section const& aSection,
                           Anonymiser const* aAnonymiser)
    : mAnonymiser(aAnonymiser),
      mFile(aPath),
      mTarget([this](pcapng::Bytes aBytes) { mFile.write(aBytes); }),
      mSection(aAnonymiser == nullptr ? aSection : anonymised(aSection))
{
    mTarget.addSection(mSection);
}

void BundleWriter::add(CaptureDocument aDocument)
{
    if (mAnonymiser != nullptr)
    {
        aDocument.mText =
            documentText(mAnonymiser->anonymisedDocument(parseForeignJson<nlohmann::ordered_json>(aDocument.mText)));
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
        mInterface = *aEvent.mInterface;
        mInterface.mDescription = mAnonymiser->anonymised(mInterface.mDescription);
        aEvent.mInterface = &mInterface;
    }
    if (aEvent.mRecord)
    {
        mBytes.assign(aEvent.mEncoded.begin(), aEvent.mEncoded.end());
        mAnonymiser->anonymise(mBytes.data(), mBytes.size());
        aEvent.mEncoded = {mBytes.data(), mBytes.size()};
        aEvent.mRecord.emplace(mBytes.data(), mBytes.size());
    }
}
}  // namespace qzagent
