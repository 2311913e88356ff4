/// @file
/// Writes the file of a bundle.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "anonymise/Anonymiser.h"
#include "backend/common/include/EncodableStream.h"
#include "pcapng/Blocks.h"
#include "tools/qzagent/capture/CaptureDocument.h"
#include "tools/qzagent/capture/CaptureItems.h"
#include "tools/qzagent/convert/CaptureCopy.h"
#include "tools/qzagent/convert/PcapngTarget.h"

namespace qzagent
{
/// Writes documents and events in one section of a new file. The file is removed unless it is finished.
class BundleWriter
{
public:
    struct Written
    {
        std::string mName;
        std::size_t mSize;  ///< number of bytes of the text
    };

    /// @param aAnonymiser has learned what section, documents and events contain; null to keep originals
    /// @throws std::system_error "cannot write PATH: ..." when the file exists or cannot be created
    BundleWriter(std::string const& aPath, pcapng::Section const& aSection,
                 anonymise::Anonymiser const* aAnonymiser);

    /// Describes the interface of a document or of a board. The descriptions are at the beginning of the file, so that
    /// damage does not make what is behind it unreadable.
    /// @{
    void describe(CaptureDocument const& aDocument);
    void describe(pcapng::Interface const& aBoard);
    /// @}

    /// @throws std::system_error "cannot write PATH: ..."
    /// @{
    void add(CaptureDocument aDocument);
    void add(CaptureEvent aEvent);
    void add(CaptureCounts aCounts);
    void finish();
    /// @}

    /// The documents so far.
    std::vector<Written> const& documents() const { return mDocuments; }

private:
    pcapng::Section anonymised(pcapng::Section const& aSection) const;
    pcapng::Interface anonymised(pcapng::Interface const& aBoard) const;
    void replace(CaptureEvent& aEvent);
    void replaceRecord(CaptureEvent& aEvent);

    anonymise::Anonymiser const* const mAnonymiser;
    CaptureCopy mFile;
    PcapngTarget mTarget;
    pcapng::Section const mSection;
    pcapng::Interface mInterface;  ///< of the current item
    std::vector<Written> mDocuments;
    QZCEncodableOutStream mStream;  ///< has the record of the current event
};
}  // namespace qzagent
