// Content, growth and virtual functions of buffers.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <fmt/format.h>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/LocalBuffer.h"
#include "tools/qzframework-check/Bytes.h"
#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
namespace
{
void checkRoom()
{
    QZCBuffer const buffer(0u, 100u);
    expect(buffer.getLength() == 0, fmt::format("expected length 0, found {}", buffer.getLength()));
}

void checkAppending()
{
    for (unsigned int const room : {0u, 300u})
    {
        QZCBuffer buffer(0u, room);
        Bytes expected;
        for (unsigned int length = 1; length < 100; ++length)
        {
            Bytes const piece = countingBytes(length);
            buffer.append(piece.data(), length);
            expected.insert(expected.end(), piece.begin(), piece.end());
            expectBytes(buffer, expected);
        }
    }
}

void checkAppendingNothing()
{
    QZCBuffer buffer(0u, 1u);
    buffer.append("a", 1);
    buffer.append(nullptr, 0);
    expectBytes(buffer, {'a'});
}

void checkWrapping()
{
    Bytes const bytes = countingBytes(8);
    QZCBuffer const wrapping(bytes.data(), 8);
    expectBytes(wrapping, bytes);
    expect(static_cast<unsigned char const*>(wrapping) == bytes.data(),
           "expected the address of the wrapped bytes, found another");
}

void checkFreeingAWrap()
{
    Bytes bytes = countingBytes(100);
    std::make_unique<QZCBuffer>(bytes.data(), 100u).reset();
    expect(bytes == countingBytes(100), "expected the wrapped bytes unchanged, found other values");
}

void checkDeriving()
{
    expect(sizeof(QZCLocalBuffer) == sizeof(QZCBuffer),
           fmt::format("expected a derived class without members to have {} bytes, found {}",
                       sizeof(QZCBuffer), sizeof(QZCLocalBuffer)));
    Bytes const bytes = countingBytes(8);
    expectBytes(QZCLocalBuffer(bytes.data(), 8), bytes);
}

/// @return the position in the virtual table that the member pointer selects, encoded as in the Itanium C++ ABI
template <typename Member>
std::uintptr_t slotOf(Member aMember)
{
    std::uintptr_t word = 0;
    std::memcpy(&word, &aMember, sizeof word);
    return (word & ~std::uintptr_t{1}) / sizeof(void*);
}

void expectSlot(char const* aOperation, std::uintptr_t aFound, std::uintptr_t aExpected)
{
    expect(aFound == aExpected, fmt::format("expected {} at position {} of the virtual table, found it at {}",
                                            aOperation, aExpected, aFound));
}

void checkVirtualOrder()
{
    // The destructor takes the first two positions.
    expectSlot("byte", slotOf(&QZCBuffer::byte), 2);
    expectSlot("operator unsigned char const*", slotOf(&QZCBuffer::operator unsigned char const*), 3);
    expectSlot("getLength", slotOf(&QZCBuffer::getLength), 4);
    expectSlot("operator unsigned char*", slotOf(&QZCBuffer::operator unsigned char*), 5);
    expectSlot("setLength", slotOf(&QZCBuffer::setLength), 6);
}

/// @return a buffer whose class is hidden from the compiler, so that calls go through the virtual table
std::unique_ptr<QZCBuffer> someBuffer(Bytes const& aBytes)
{
    QZCBuffer* volatile buffer = new QZCBuffer(0u, lengthOf(aBytes));
    buffer->append(aBytes.data(), lengthOf(aBytes));
    return std::unique_ptr<QZCBuffer>(buffer);
}

void checkByte()
{
    std::unique_ptr<QZCBuffer> const buffer = someBuffer({10, 11, 12});
    unsigned int const found = buffer->byte(1);
    expect(found == 11, fmt::format("expected byte 11 at position 1, found {}", found));
}

void checkLength()
{
    std::unique_ptr<QZCBuffer> const buffer = someBuffer({10, 11, 12});
    expect(buffer->getLength() == 3, fmt::format("expected length 3, found {}", buffer->getLength()));
}

void checkWriting()
{
    std::unique_ptr<QZCBuffer> const buffer = someBuffer({10, 11, 12});
    static_cast<unsigned char*>(*buffer)[1] = 99;
    expectBytes(*buffer, {10, 99, 12});
}

void checkSettingTheLength()
{
    std::unique_ptr<QZCBuffer> const buffer = someBuffer({10, 11, 12});
    buffer->setLength(2);
    expectBytes(*buffer, {10, 11});
}
}  // namespace

Requirements bufferRequirements()
{
    return {
        {"Buffer.room", "a buffer constructed with (0, capacity) is empty", checkRoom},
        {"Buffer.append", "append() keeps the order, within the capacity and beyond it", checkAppending},
        {"Buffer.append-nothing", "append() accepts null with length 0", checkAppendingNothing},
        {"Buffer.wrap", "a buffer constructed with (bytes, length) wraps these bytes", checkWrapping},
        {"Buffer.wrap-frees-nothing", "the destructor does not change or free wrapped bytes",
         checkFreeingAWrap},
        {"Buffer.derive", "a derived class without members has the size of the buffer", checkDeriving},
        {"Buffer.virtual-order", "destructor, byte, const pointer, getLength, pointer, setLength",
         checkVirtualOrder},
        {"Buffer.byte", "byte() returns the byte at a position", checkByte},
        {"Buffer.getLength", "getLength() returns the number of bytes", checkLength},
        {"Buffer.write", "bytes can be changed through the pointer", checkWriting},
        {"Buffer.setLength", "setLength() shortens the buffer", checkSettingTheLength},
    };
}
}  // namespace frameworkcheck
