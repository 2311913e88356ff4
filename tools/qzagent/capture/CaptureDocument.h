/// @file
/// JSON documents in captures.
#pragma once

#include <string>

#include "pcapng/Blocks.h"

namespace qzagent
{
/// The JSON document of a verb, which is one packet of a capture.
struct CaptureDocument
{
    std::string mName;
    pcapng::Time mTime;
    std::string mText;
};

/// @return a document that has become known now
CaptureDocument makeCaptureDocument(std::string const& aName, std::string const& aText);

/// @return the interface of the document's packet
pcapng::Interface interfaceOf(CaptureDocument const& aDocument);

/// @return the data of the document's packet
inline pcapng::Bytes bytesOf(CaptureDocument const& aDocument)
{
    return {reinterpret_cast<unsigned char const*>(aDocument.mText.data()), aDocument.mText.size()};
}
}  // namespace qzagent
