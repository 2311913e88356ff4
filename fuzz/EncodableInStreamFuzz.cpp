// Extracts elements in any order. The first byte of the input is the number of extractions. Each of the bytes after
// it selects one type, and the rest is the stream.
#include <vector>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "fuzz/Fuzz.h"

namespace
{
using fuzz::expect;

/// The targets of all extractions. A refused extraction must not change them.
struct Targets
{
    bool mBool = false;
    unsigned char mByte = 0;
    unsigned int mWord = 0;
    QZCPointer<QZCBuffer> mBuffer;
};

enum class Type
{
    boolean,
    byte,
    word,
    buffer
};

constexpr unsigned int numberOfTypes = 4;

void extract(QZCEncodableInStream& aIn, Type aType, Targets& aTargets)
{
    switch (aType)
    {
        case Type::boolean:
            aIn >> aTargets.mBool;
            return;
        case Type::byte:
            aIn >> aTargets.mByte;
            return;
        case Type::word:
            aIn >> aTargets.mWord;
            return;
        case Type::buffer:
            aIn >> aTargets.mBuffer;
            return;
    }
}

QZCBuffer const* bufferOf(Targets const& aTargets)
{
    return aTargets.mBuffer != nullptr ? &*aTargets.mBuffer : nullptr;
}

bool isSame(Targets const& aLeft, Targets const& aRight)
{
    return aLeft.mBool == aRight.mBool && aLeft.mByte == aRight.mByte && aLeft.mWord == aRight.mWord &&
           bufferOf(aLeft) == bufferOf(aRight);
}

void checkExtraction(QZCEncodableInStream& aIn, Type aType, Targets& aTargets)
{
    Targets const before = aTargets;
    unsigned int const remaining = aIn.getRemaining();
    try
    {
        extract(aIn, aType, aTargets);
        expect(aIn.getRemaining() < remaining, "an extraction consumes bytes");
        if (aType == Type::buffer)
        {
            expect(aTargets.mBuffer->getLength() < remaining, "a buffer is not longer than the input");
        }
    }
    catch (QZCEncodingEx const& error)
    {
        expect(error.getCode() == 100, "a refused extraction has the code 100");
        expect(aIn.getRemaining() == remaining, "a refused extraction does not move the stream");
        expect(isSame(aTargets, before), "a refused extraction does not change the target");
    }
}
}  // namespace

void fuzz::check(Input aInput)
{
    std::vector<Type> types(aInput.take());
    for (Type& type : types)
    {
        type = static_cast<Type>(aInput.take() % numberOfTypes);
    }
    QZCEncodableInStream in(aInput.data(), static_cast<unsigned int>(aInput.size()));
    Targets targets;
    for (Type const type : types)
    {
        checkExtraction(in, type, targets);
    }
}
