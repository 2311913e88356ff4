// The examples of docs/encoded-forms.md match the code.
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/Bytes.h"
#include "tests/support/Records.h"
#include "tools/qzagent/capture/HexText.h"

using testing::SizeIs;

namespace
{
/// The bytes of each example, by the name in its first line.
using Examples = std::map<std::string, Bytes>;

Bytes bytesIn(std::string const& aText)
{
    Bytes bytes(aText.begin(), aText.end());
    qzagent::HexText text;
    bytes.resize(text.decode(bytes.data(), bytes.size()));
    text.end();
    EXPECT_EQ(text.complaint().value_or(""), "") << aText;
    return bytes;
}

Examples examplesOfPage()
{
    std::ifstream file(ENCODED_FORMS, std::ios::binary);
    std::string const page{std::istreambuf_iterator<char>(file), {}};
    static std::regex const pattern("```hex\n# ([^\n]*)\n([^`]*)```");
    Examples examples;
    for (std::sregex_iterator found(page.begin(), page.end(), pattern), none; found != none; ++found)
    {
        examples[(*found)[1]] = bytesIn((*found)[2]);
    }
    return examples;
}

Bytes example(std::string const& aName) { return examplesOfPage()[aName]; }

TEST(EncodedForms, DocumentHasSevenExamples) { EXPECT_THAT(examplesOfPage(), SizeIs(7)); }

TEST(EncodedForms, NameIsEncodedAsDocumented)
{
    Bytes const name = {0x10, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c};
    EXPECT_EQ(encodedFormOf(QZCWorldWideName(name.data())), example("the name 10:00:00:00:c9:2a:3b:4c"));
}

TEST(EncodedForms, ScopeEventIsEncodedAsDocumented)
{
    QZCScopeEvent event;
    Bytes const encoded = {0x03, 0x18, 200};
    QZCEncodableInStream in(encoded.data(), lengthOf(encoded));
    event.decode(in);
    EXPECT_EQ(encodedFormOf(event), example("the event of category 3 and subcategory 200"));
}

TEST_F(ScopeData, EachShapeIsEncodedAsDocumented)
{
    EXPECT_EQ(encodedFormOf(QZCScopeData(mEvent)), example("scope data without names and payload"));
    EXPECT_EQ(encodedFormOf(withPayload({0xaa, 0xbb, 0xcc})), example("scope data with payload"));
    EXPECT_EQ(encodedFormOf(QZCScopeData(mEvent, mFirst, mSecond)), example("scope data with names"));
    EXPECT_EQ(encodedFormOf(withBoth({0xaa, 0xbb, 0xcc})), example("scope data with names and payload"));
}

TEST(EncodedForms, LatencyDataIsEncodedAsDocumented)
{
    EXPECT_EQ(encodedFormOf(latencies()), example("latency data"));
}
}  // namespace
