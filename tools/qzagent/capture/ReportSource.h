/// @file
/// Reads the documents and events of reports.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "backend/common/include/EncodableStream.h"
#include "pcapng/Blocks.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureItems.h"
#include "tools/qzagent/report/EventColumns.h"

namespace qzagent
{
/// Gives out a report like a bundle: its documents, then its events, whose payloads and names it does not have.
class ReportSource : public CaptureSource
{
public:
    /// @param aFile must outlive the source
    explicit ReportSource(CaptureFile& aFile) : mFile(aFile) {}

    std::optional<CaptureItem> next(bool aMayGrow) override;

private:
    struct Document
    {
        pcapng::Interface mInterface;
        std::string mText;
    };

    std::string readAll();
    void read();
    CaptureItem itemOf(ReportedEvent const& aEvent);

    CaptureFile& mFile;
    bool mIsRead = false;
    bool mIsStarted = false;
    pcapng::Section mSection;
    std::vector<Document> mDocuments;
    std::size_t mDocumentsGiven = 0;
    std::optional<ReportedEvents> mEvents;
    QZCEncodableOutStream mStream;
};
}  // namespace qzagent
