/// @file
/// A buffer for the span of one call.
#pragma once

#include "backend/common/include/Buffer.h"

/// A QZCBuffer over the caller's bytes, made on the stack to hand fixed bytes to an encoding stream.
///
/// It copies nothing and must not outlive the bytes. Errors are those of QZCBuffer; it asserts nothing and
/// logs nothing.
/// Thread-safety: one buffer is used by one thread at a time.
/// @ingroup support
class QZCLocalBuffer : public QZCBuffer
{
public:
    /// Wraps bytes.
    /// @param apBytes bytes to wrap, not owned; may be null when aLength is 0
    /// @param aLength their number
    QZCLocalBuffer(unsigned char const* apBytes, unsigned int aLength) : QZCBuffer(apBytes, aLength) {}
};
