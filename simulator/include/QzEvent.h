/// @file
/// What the simulated diagnostic library hands to event callbacks and answers to registrations. An agent that
/// wants the bytes of simulated events includes this header; a real diagnostic library brings its own.
#pragma once

/// @addtogroup simulator
/// @{

/// An event's record, valid while the callback runs. It is the library's; a callback copies what it keeps.
struct QZ_event
{
    unsigned int mLength;           ///< number of payload bytes, from 0 on
    unsigned char const* mPayload;  ///< the bytes; null when there are none
};

/// As the category or subcategory of a registration: events of all categories or subcategories. No event bears
/// this number.
constexpr unsigned int QZ_ANY_CATEGORY = 0xff;

/// What the calls of the diagnostic library answer, unless the scenario wants another answer. When several would
/// do, it is the lowest.
enum QZ_result : unsigned int
{
    QZ_OK = 0,              ///< all is well
    QZ_NO_ENVIRONMENT = 1,  ///< VQM_InitDiagEnv has not been called, or VQM_FreeDiagEnv has
    QZ_NO_BOARD = 2,        ///< the board number is not below the number of boards
    QZ_NO_PORT = 3,         ///< the board has no port of that name
    QZ_BAD_ARGUMENT = 4,    ///< a null pointer where one is needed, or a category or subcategory out of range
    QZ_IS_REGISTERED = 5,   ///< the board has a plain registration for that category already
    QZ_NOT_REGISTERED = 6   ///< there is no such registration
};

/// @}

// The plain interface, whose arguments the library above only passes through, is given this meaning:
//
//     RegisterForEvent(board, category, context, subcategory, callback, 0)
//     unRegisterForEvent(board, category)
//     callback(board, category, subcategory, context, event)
//
// with the callback's arguments of types unsigned int, unsigned int, unsigned int, void* and QZ_event*. A board has
// one plain registration for a category at a time. Callbacks of both interfaces are told the category and the
// subcategory of the event, also when the registration was for QZ_ANY_CATEGORY.
