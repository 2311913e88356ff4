#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <cbor.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/backend/common/Bytes.h"
#include "tests/backend/sensor/agentcommon/Records.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"

using testing::ElementsAre;

namespace
{
void release(cbor_item_t* aItem) { cbor_decref(&aItem); }

std::string describe(cbor_item_t const* aItem)
{
    if (cbor_isa_uint(aItem))
    {
        return std::to_string(cbor_get_int(aItem));
    }
    if (cbor_is_bool(aItem))
    {
        return cbor_get_bool(aItem) ? "true" : "false";
    }
    if (!cbor_isa_bytestring(aItem) || !cbor_bytestring_is_definite(aItem))
    {
        return "type " + std::to_string(cbor_typeof(aItem));
    }
    std::string bytes = "bytes";
    for (std::size_t i = 0; i < cbor_bytestring_length(aItem); ++i)
    {
        bytes += " " + std::to_string(cbor_bytestring_handle(aItem)[i]);
    }
    return bytes;
}

/// The elements as another CBOR library reads them.
std::vector<std::string> elementsOf(Bytes const& aEncoded)
{
    std::vector<std::string> elements;
    for (std::size_t position = 0; position < aEncoded.size();)
    {
        cbor_load_result result;
        std::unique_ptr<cbor_item_t, void (*)(cbor_item_t*)> const item(
            cbor_load(&aEncoded[position], aEncoded.size() - position, &result), &release);
        if (!item)
        {
            ADD_FAILURE() << "nothing that can be read at byte " << position;
            return elements;
        }
        elements.push_back(describe(item.get()));
        position += result.read;
    }
    return elements;
}

TEST_F(ScopeData, OfAnEventIsReadByAnotherCborLibrary)
{
    EXPECT_THAT(elementsOf(encodedFormOf(QZCScopeData(mEvent))), ElementsAre("3", "7", "false", "0"));
}

TEST_F(ScopeData, OfNamesIsReadByAnotherCborLibrary)
{
    EXPECT_THAT(elementsOf(encodedFormOf(QZCScopeData(mEvent, mFirst, mSecond))),
                ElementsAre("3", "7", "true", "bytes 16 0 0 0 201 0 0 1", "bytes 32 0 0 0 201 0 0 2", "0"));
}

TEST_F(ScopeData, OfPayloadIsReadByAnotherCborLibrary)
{
    EXPECT_THAT(elementsOf(encodedFormOf(withPayload({0xaa, 0xbb}))),
                ElementsAre("3", "7", "false", "1", "bytes 170 187"));
}

TEST_F(ScopeData, OfBothIsReadByAnotherCborLibrary)
{
    EXPECT_THAT(elementsOf(encodedFormOf(withBoth({0xaa}))),
                ElementsAre("3", "7", "true", "bytes 16 0 0 0 201 0 0 1", "bytes 32 0 0 0 201 0 0 2", "1",
                            "bytes 170"));
}
}  // namespace
