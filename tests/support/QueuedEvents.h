/// @file
/// Events of the diagnostic library on their way to a test's own thread, in the queue that the agent has for them.
#pragma once

#include <chrono>
#include <ctime>

#include <hbaapi.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "simulator/include/QzEvent.h"
#include "tools/qzagent/vqm/EventQueue.h"
#include "tools/qzagent/vqm/ScopeEvents.h"

/// For a registration whose context is an EventQueue.
inline void takeEvent(unsigned int aBoard, HBA_wwn, unsigned int aCategory, unsigned int aSubcategory,
                      void* aQueue, QZ_event* aEvent)
{
    static_cast<qzagent::EventQueue*>(aQueue)->push(
        {std::chrono::system_clock::now(), aBoard, aCategory, aSubcategory}, aEvent->mPayload,
        aEvent->mLength);
}

/// The kind of an event that a registration was told of.
inline QZCPointer<QZCScopeEvent> kindOf(qzagent::EventHead const& aHead)
{
    return qzagent::scopeEventOf(static_cast<unsigned char>(aHead.mCategory),
                                 static_cast<unsigned char>(aHead.mSubcategory));
}
