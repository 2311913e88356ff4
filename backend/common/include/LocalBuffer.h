/// @file
/// A buffer for the duration of one call.
#pragma once

#include "backend/common/include/Buffer.h"

/// A QZCBuffer that wraps the caller's bytes. Callers make it on the stack to pass fixed bytes to an encoding
/// stream.
///
/// It copies nothing and must not outlive the bytes. It throws what QZCBuffer throws, asserts nothing and logs
/// nothing.
/// Thread-safety: only one thread may use a buffer at a time.
/// @ingroup support
class QZCLocalBuffer : public QZCBuffer
{
public:
    /// Wraps bytes.
    /// @param apBytes bytes to wrap, not owned; may be null when aLength is 0
    /// @param aLength number of bytes
    QZCLocalBuffer(unsigned char const* apBytes, unsigned int aLength) : QZCBuffer(apBytes, aLength) {}
};
