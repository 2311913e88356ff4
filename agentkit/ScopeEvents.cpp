#include "agentkit/include/ScopeEvents.h"

#include <new>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"

namespace qz
{
QZCPointer<QZCScopeEvent> makeScopeEvent(unsigned char aCategory, unsigned char aSubcategory)
{
    QZCScopeEvent* const empty = new (std::nothrow) QZCScopeEvent;
    QZCPointer<QZCScopeEvent> const event(empty, QZPST_Individual, QZPAT_New);
    QZCEncodableOutStream out;
    out << aCategory << aSubcategory;
    QZCBuffer const& encoded = out.getEncoded();
    QZCEncodableInStream in(encoded, encoded.getLength());
    event->decode(in);
    return event;
}
}  // namespace qz
