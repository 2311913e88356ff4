/// @file
/// Helpers for the tests of the streams.
#pragma once

#include <utility>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/LocalBuffer.h"
#include "backend/common/include/Pointer.h"
#include "tests/support/Bytes.h"

using BufferHandle = QZCPointer<QZCBuffer>;

inline Bytes bytesOf(QZCEncodableOutStream const& aStream) { return bytesOf(aStream.getEncoded()); }

inline QZCEncodableOutStream& operator<<(QZCEncodableOutStream& aOut, Bytes const& aBytes)
{
    return aOut << QZCLocalBuffer(aBytes.data(), lengthOf(aBytes));
}

/// A decoder that owns its bytes.
class Input
{
public:
    explicit Input(Bytes aBytes) : mBytes(std::move(aBytes)), mStream(mBytes.data(), lengthOf(mBytes)) {}

    QZCEncodableInStream& stream() { return mStream; }

private:
    // Exactly as large as the input, so that a sanitizer sees a read past its end.
    Bytes const mBytes;
    QZCEncodableInStream mStream;
};

/// The content of an extraction target.
/// @{
template <typename T>
T contentOf(T aValue)
{
    return aValue;
}

inline Bytes contentOf(BufferHandle const& aBuffer) { return bytesOf(*aBuffer); }
/// @}
