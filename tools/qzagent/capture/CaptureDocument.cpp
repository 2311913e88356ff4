#include "tools/qzagent/capture/CaptureDocument.h"

#include <chrono>
#include <string>

#include "tools/qzagent/capture/LinkTypes.h"
#include "tools/qzagent/vqm/ReceptionTime.h"

namespace qzagent
{
CaptureDocument makeCaptureDocument(std::string const& aName, std::string const& aText)
{
    auto const now = std::chrono::duration_cast<std::chrono::nanoseconds>(wallTime().time_since_epoch());
    return {aName, static_cast<pcapng::Time>(now.count()), aText};
}

pcapng::Interface interfaceOf(CaptureDocument const& aDocument)
{
    return {documentLinkType, aDocument.mName, "JSON document"};
}
}  // namespace qzagent
