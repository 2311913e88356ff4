/// @file
/// Makes scope events.
#pragma once

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"

namespace qz
{
/// Makes the record of one kind of event. A record can only be set from its encoded form, so this function encodes the
/// pair and decodes it.
/// @param aCategory    any category
/// @param aSubcategory any subcategory
/// @return a new record
/// @throws QZCNoMemoryEx "Out of Memory", code 2; std::bad_alloc when memory to encode the pair is unavailable
/// @ingroup agentkit
QZCPointer<QZCScopeEvent> makeScopeEvent(unsigned char aCategory, unsigned char aSubcategory);
}  // namespace qz
