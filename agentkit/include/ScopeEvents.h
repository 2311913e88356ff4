/// @file
/// Makes scope events.
#pragma once

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"

namespace qz
{
/// Makes the record of one kind of event. The record takes its values from an encoded form only, so this encodes the
/// pair and decodes it.
/// @param aCategory    any category
/// @param aSubcategory any subcategory
/// @return a new record
/// @throws QZCNoMemoryEx "Out of Memory", code 2; std::bad_alloc when there is no memory to encode the pair
/// @ingroup agentkit
QZCPointer<QZCScopeEvent> makeScopeEvent(unsigned char aCategory, unsigned char aSubcategory);
}  // namespace qz
