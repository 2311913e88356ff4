// Extraction returns the inserted values and refuses truncated input.
#include <exception>

#include <fmt/format.h>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/LocalBuffer.h"
#include "backend/common/include/Pointer.h"
#include "tools/qzframework-check/Bytes.h"
#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
namespace
{
/// @return a copy of the encoded bytes
Bytes encodedIn(QZCEncodableOutStream const& aStream)
{
    QZCBuffer const& encoded = aStream.getEncoded();
    unsigned char const* const bytes = encoded;
    return Bytes(bytes, bytes + encoded.getLength());
}

template <typename Value>
Bytes encodedFormOf(Value const& aValue)
{
    QZCEncodableOutStream out;
    expect(&(out << aValue) == &out, "expected an insertion to return its stream");
    return encodedIn(out);
}

template <typename Value>
void checkRoundTrip(Value const& aValue)
{
    Bytes const encoded = encodedFormOf(aValue);
    QZCEncodableInStream in(encoded.data(), lengthOf(encoded));
    Value found = static_cast<Value>(!aValue);
    expect(&(in >> found) == &in, "expected an extraction to return its stream");
    expect(found == aValue, fmt::format("inserted {}, extracted {}", static_cast<unsigned int>(aValue),
                                        static_cast<unsigned int>(found)));
}

void checkBools()
{
    checkRoundTrip(false);
    checkRoundTrip(true);
}

void checkBytes()
{
    for (unsigned int value = 0; value <= 255; ++value)
    {
        checkRoundTrip(static_cast<unsigned char>(value));
    }
}

void checkInts()
{
    for (unsigned int bit = 0; bit < 32; ++bit)
    {
        checkRoundTrip(1u << bit);
        checkRoundTrip((1u << bit) - 1);
    }
    checkRoundTrip(4294967295u);
}

/// @return the buffer that is extracted from the encoded bytes
QZCPointer<QZCBuffer> bufferIn(Bytes const& aEncoded)
{
    QZCEncodableInStream in(aEncoded.data(), lengthOf(aEncoded));
    QZCPointer<QZCBuffer> buffer;
    expect(&(in >> buffer) == &in, "expected an extraction to return its stream");
    return buffer;
}

void checkBuffers()
{
    for (unsigned int const length : {0u, 1u, 8u, 255u, 256u, 70000u})
    {
        Bytes const bytes = countingBytes(length);
        expectBytes(*bufferIn(encodedFormOf(QZCLocalBuffer(bytes.data(), length))), bytes);
    }
}

void checkFreshBuffer()
{
    QZCPointer<QZCBuffer> const former = bufferIn(encodedFormOf(QZCLocalBuffer(countingBytes(3).data(), 3)));
    Bytes encoded = encodedFormOf(QZCLocalBuffer(countingBytes(5).data(), 5));
    QZCPointer<QZCBuffer> target(former);
    {
        QZCEncodableInStream in(encoded.data(), lengthOf(encoded));
        in >> target;
    }
    encoded.assign(encoded.size(), 0xff);
    expectBytes(*former, countingBytes(3));
    expectBytes(*target, countingBytes(5));
}

/// Inserts each kind of element, as the records do.
void putSequence(QZCEncodableOutStream& aOut, QZCBuffer const& aPayload)
{
    unsigned char const byte = 200;
    unsigned int const number = 70000;
    aOut << byte << true << number << aPayload << false;
}

void checkSequence()
{
    Bytes const payload = countingBytes(3);
    QZCEncodableOutStream out;
    putSequence(out, QZCLocalBuffer(payload.data(), 3));
    Bytes const encoded = encodedIn(out);
    QZCEncodableInStream in(encoded.data(), lengthOf(encoded));
    unsigned char byte = 0;
    bool first = false;
    bool second = true;
    unsigned int number = 0;
    QZCPointer<QZCBuffer> buffer;
    in >> byte >> first >> number >> buffer >> second;
    expect(byte == 200 && first && number == 70000 && !second,
           fmt::format("inserted 200, true, 70000, a buffer and false; extracted {}, {}, {}, a buffer and {}",
                       byte, first, number, second));
    expectBytes(*buffer, payload);
}

/// Checks that extraction from truncated input throws an exception.
template <typename Target>
void checkCutInput(char const* aType, Bytes const& aEncoded)
{
    for (unsigned int length = 0; length < lengthOf(aEncoded); ++length)
    {
        // A separate allocation, so that memory checkers detect a read past its end.
        Bytes const cut(aEncoded.begin(), aEncoded.begin() + length);
        QZCEncodableInStream in(cut.data(), length);
        Target target{};
        try
        {
            in >> target;
        }
        catch (std::exception const&)
        {
            continue;
        }
        throw Unmet(fmt::format("expected an exception for the first {} of {} bytes of {}, found none",
                                length, aEncoded.size(), aType));
    }
}

void checkRefusal()
{
    checkCutInput<bool>("a bool", encodedFormOf(true));
    checkCutInput<unsigned char>("an unsigned char", encodedFormOf(static_cast<unsigned char>(200)));
    checkCutInput<unsigned int>("an unsigned int", encodedFormOf(4294967295u));
    checkCutInput<QZCPointer<QZCBuffer>>("a buffer",
                                         encodedFormOf(QZCLocalBuffer(countingBytes(9).data(), 9)));
}
}  // namespace

Requirements streamRequirements()
{
    return {
        {"EncodableStream.bool", "an inserted bool is extracted unchanged", checkBools},
        {"EncodableStream.unsigned-char", "an inserted unsigned char is extracted unchanged", checkBytes},
        {"EncodableStream.unsigned-int", "an inserted unsigned int is extracted unchanged", checkInts},
        {"EncodableStream.buffer", "an inserted buffer is extracted unchanged", checkBuffers},
        {"EncodableStream.fresh-buffer", "extraction creates a new buffer and keeps the previous one",
         checkFreshBuffer},
        {"EncodableStream.sequence", "elements are extracted in the order of insertion", checkSequence},
        {"EncodableStream.refusal", "extraction from truncated input throws an exception", checkRefusal},
    };
}
}  // namespace frameworkcheck
