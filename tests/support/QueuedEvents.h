/// @file
/// Passes events of the vendor library to a test's thread through the event queue of the agent kit.
#pragma once

#include <chrono>
#include <ctime>

#include <hbaapi.h>

#include "agentkit/include/EventQueue.h"
#include "agentkit/include/ScopeEvents.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "simulator/include/QzEvent.h"

/// The callback of a registration whose context is a qz::EventQueue.
inline void takeEvent(unsigned int aBoard, HBA_wwn, unsigned int aCategory, unsigned int aSubcategory,
                      void* aQueue, QZ_event* aEvent)
{
    static_cast<qz::EventQueue*>(aQueue)->push(
        {std::chrono::system_clock::now(), aBoard, aCategory, aSubcategory}, aEvent->mPayload,
        aEvent->mLength);
}

/// The scope event of an event that a registration received.
inline QZCPointer<QZCScopeEvent> kindOf(qz::EventHead const& aHead)
{
    return qz::makeScopeEvent(static_cast<unsigned char>(aHead.mCategory),
                              static_cast<unsigned char>(aHead.mSubcategory));
}
