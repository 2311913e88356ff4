// Contents, growth and virtual operations of buffers.
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
           "expected the wrapped bytes, found a copy");
}

void checkFreeingAWrap()
{
    Bytes bytes = countingBytes(100);
    std::make_unique<QZCBuffer>(bytes.data(), 100u).reset();
    expect(bytes == countingBytes(100), "the wrapped bytes have changed");
}

void checkDeriving()
{
    expect(sizeof(QZCLocalBuffer) == sizeof(QZCBuffer),
           fmt::format("a derived class without fields has {} bytes, its base {}", sizeof(QZCLocalBuffer),
                       sizeof(QZCBuffer)));
    Bytes const bytes = countingBytes(8);
    expectBytes(QZCLocalBuffer(bytes.data(), 8), bytes);
}

/// The position in the virtual table that a call through the member pointer takes, as the Itanium C++ ABI has it.
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
    // The destructor takes the first two.
    expectSlot("byte", slotOf(&QZCBuffer::byte), 2);
    expectSlot("operator unsigned char const*", slotOf(&QZCBuffer::operator unsigned char const*), 3);
    expectSlot("getLength", slotOf(&QZCBuffer::getLength), 4);
    expectSlot("operator unsigned char*", slotOf(&QZCBuffer::operator unsigned char*), 5);
    expectSlot("setLength", slotOf(&QZCBuffer::setLength), 6);
}

/// A buffer whose class the compiler does not see, so that its operations are called through the virtual table.
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
        {"Buffer.room", "made with (0, room) it has no bytes yet", checkRoom},
        {"Buffer.append", "bytes are appended in their order, within the room and beyond it", checkAppending},
        {"Buffer.append-nothing", "no bytes can be appended from null", checkAppendingNothing},
        {"Buffer.wrap", "made with (bytes, length) it reads these very bytes", checkWrapping},
        {"Buffer.wrap-frees-nothing", "wrapped bytes are left alone by the end of the buffer",
         checkFreeingAWrap},
        {"Buffer.derive", "a class without fields can be derived from it", checkDeriving},
        {"Buffer.virtual-order", "destructor, byte, const pointer, getLength, pointer, setLength",
         checkVirtualOrder},
        {"Buffer.byte", "byte() gives the byte at a position", checkByte},
        {"Buffer.getLength", "getLength() gives the number of bytes", checkLength},
        {"Buffer.write", "bytes can be changed through the pointer", checkWriting},
        {"Buffer.setLength", "setLength() cuts", checkSettingTheLength},
    };
}
}  // namespace frameworkcheck
