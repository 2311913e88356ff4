/// @file
/// Event record and results of the simulated diagnostic library. An agent that reads the bytes of simulated
/// events includes this header. A real diagnostic library has its own definitions.
#pragma once

/// @addtogroup simulator
/// @{

/// One event. The diagnostic library owns the record, which is valid only while the callback runs. A callback copies
/// what it keeps.
struct QZ_event
{
    unsigned int mLength;           ///< number of payload bytes, may be 0
    unsigned char const* mPayload;  ///< the payload bytes; null when there are none
};

/// Matches every category, or every subcategory, when a registration specifies it. No event has this number.
constexpr unsigned int QZ_ANY_CATEGORY = 0xff;

/// Name of a function that libqzsim-vqm.so exports. A real diagnostic library has none of this name.
constexpr char const* QZ_SIMULATOR_MARKER = "QZSIM_IsSimulator";

/// Results of the calls of the diagnostic library. When several apply, a call returns the lowest. A fault of the
/// scenario can replace the result by any number.
enum QZ_result : unsigned int
{
    QZ_OK = 0,              ///< success
    QZ_NO_ENVIRONMENT = 1,  ///< no environment is open: VQM_InitDiagEnv opens it, VQM_FreeDiagEnv closes it
    QZ_NO_BOARD = 2,        ///< there is no board with this number
    QZ_NO_PORT = 3,         ///< the board has no port with this name
    QZ_BAD_ARGUMENT = 4,    ///< a required pointer is null, or a category or subcategory is out of range
    QZ_IS_REGISTERED = 5,   ///< the board already has a plain registration for this category
    QZ_NOT_REGISTERED = 6   ///< there is no such registration
};

/// @}

// QZCLibvqmAbs passes the arguments of the plain interface through unchanged. This is what they mean in the simulator:
//
//     RegisterForEvent(board, category, context, subcategory, callback, 0)
//     unRegisterForEvent(board, category)
//     callback(board, category, subcategory, context, event)
//
// The arguments of the callback have the types unsigned int, unsigned int, unsigned int, void* and QZ_event*. A board
// has at most one plain registration for a category at a time. In both interfaces the callback receives the category
// and subcategory of the event, even if the registration specified QZ_ANY_CATEGORY.
