// Compares the streams with another CBOR library: each reads what the other writes.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <utility>
#include <variant>
#include <vector>

#include <cbor.h>
#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "tests/backend/common/RandomElements.h"
#include "tests/backend/common/Streams.h"
#include "tests/support/Bytes.h"

namespace
{
using ItemHandle = std::unique_ptr<cbor_item_t, void (*)(cbor_item_t*)>;

ItemHandle owned(cbor_item_t* aItem)
{
    return ItemHandle(aItem, [](cbor_item_t* aOwned) { cbor_decref(&aOwned); });
}

std::uint64_t numberIn(Element const& aElement)
{
    unsigned char const* const byte = std::get_if<unsigned char>(&aElement);
    return byte != nullptr ? *byte : std::get<unsigned int>(aElement);
}

/// The item that the other library reads, as an element of the expected type.
Element elementOf(cbor_item_t const* aItem, Element const& aExpected)
{
    if (cbor_isa_bytestring(aItem) && cbor_bytestring_is_definite(aItem))
    {
        unsigned char const* const first = cbor_bytestring_handle(aItem);
        return Bytes(first, first + cbor_bytestring_length(aItem));
    }
    if (cbor_is_bool(aItem))
    {
        return cbor_get_bool(aItem);
    }
    EXPECT_TRUE(cbor_isa_uint(aItem)) << "of type " << cbor_typeof(aItem);
    auto const number = static_cast<unsigned int>(cbor_get_int(aItem));
    bool const isByte = std::holds_alternative<unsigned char>(aExpected) && number <= 255;
    return isByte ? Element(static_cast<unsigned char>(number)) : Element(number);
}

/// Encodes a number with one of the heads that can hold it, not necessarily the shortest.
ItemHandle itemOf(std::uint64_t aNumber, std::size_t aVariety)
{
    std::size_t const shortest = aNumber > 0xffff ? 2 : aNumber > 0xff ? 1 : 0;
    switch (shortest + aVariety % (4 - shortest))
    {
        case 0:
            return owned(cbor_build_uint8(static_cast<std::uint8_t>(aNumber)));
        case 1:
            return owned(cbor_build_uint16(static_cast<std::uint16_t>(aNumber)));
        case 2:
            return owned(cbor_build_uint32(static_cast<std::uint32_t>(aNumber)));
        default:
            return owned(cbor_build_uint64(aNumber));
    }
}

ItemHandle itemOf(Element const& aElement, std::size_t aVariety)
{
    if (bool const* const value = std::get_if<bool>(&aElement))
    {
        return owned(cbor_build_bool(*value));
    }
    if (Bytes const* const bytes = std::get_if<Bytes>(&aElement))
    {
        return owned(cbor_build_bytestring(bytes->data(), bytes->size()));
    }
    return itemOf(numberIn(aElement), aVariety);
}

Bytes serialized(cbor_item_t const* aItem)
{
    Bytes bytes(1100);
    bytes.resize(cbor_serialize(aItem, bytes.data(), bytes.size()));
    return bytes;
}

TEST(EncodableStream, AnotherCborLibraryReadsWhatIsWritten)
{
    std::vector<Element> const elements = randomElements(5000);
    QZCEncodableOutStream out;
    for (Element const& element : elements)
    {
        std::visit([&](auto const& aTyped) { out << aTyped; }, element);
    }
    Bytes const bytes = bytesOf(out);
    std::size_t position = 0;
    for (Element const& element : elements)
    {
        cbor_load_result result;
        ItemHandle const item = owned(cbor_load(&bytes[position], bytes.size() - position, &result));
        ASSERT_NE(item, nullptr) << "at byte " << position;
        ASSERT_EQ(elementOf(item.get(), element), element) << "at byte " << position;
        position += result.read;
    }
    EXPECT_EQ(position, bytes.size());
}

TEST(EncodableStream, ReadsWhatAnotherCborLibraryWrites)
{
    std::vector<Element> const elements = randomElements(5000);
    std::mt19937 random(4711);
    Bytes bytes;
    for (Element const& element : elements)
    {
        bytes = joined(std::move(bytes), serialized(itemOf(element, random()).get()));
    }
    Input input(bytes);
    for (Element const& element : elements)
    {
        std::size_t const position = bytes.size() - input.stream().getRemaining();
        ASSERT_EQ(extracted(input.stream(), element), element) << "at byte " << position;
    }
    EXPECT_EQ(input.stream().getRemaining(), 0u);
}
}  // namespace
