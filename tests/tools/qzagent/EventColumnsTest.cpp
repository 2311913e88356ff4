// Packs events into the columns of a report, and reads them again.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/capture/CaptureItems.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/report/Base64.h"
#include "tools/qzagent/report/EventColumns.h"

namespace
{
using qzagent::CaptureEvent;
using qzagent::EventColumns;
using Columns = nlohmann::ordered_json;

/// Encoded records, which events refer to: category, subcategory, no names, and payload or none.
std::string recordWith(unsigned char aCategory, unsigned char aSubcategory, std::uint16_t aLength = 0)
{
    std::string record;
    auto const addNumber = [&record](unsigned char aNumber)
    {
        if (aNumber >= 24)
        {
            record += '\x18';
        }
        record += static_cast<char>(aNumber);
    };
    addNumber(aCategory);
    addNumber(aSubcategory);
    record += '\xf4';
    record += aLength == 0 ? '\0' : '\1';
    if (aLength != 0)
    {
        record += '\x59';
        record += static_cast<char>(aLength >> 8U);
        record += static_cast<char>(aLength & 0xffU);
        record.append(aLength, 'x');
    }
    return record;
}

CaptureEvent eventIn(std::string const& aRecord, std::optional<std::uint64_t> aTime, std::uint32_t aBoard = 0)
{
    CaptureEvent event;
    event.mOrigin = {aTime, "host", aBoard};
    event.mRecord.emplace(reinterpret_cast<unsigned char const*>(aRecord.data()), aRecord.size());
    return event;
}

std::vector<std::string> textsIn(Columns const& aEvents)
{
    qzagent::ReportedEvents events(qzagent::DocumentValue(aEvents, "events"));
    std::vector<std::string> texts;
    while (auto const event = events.next())
    {
        std::string text = event->mOrigin.mTime ? std::to_string(*event->mOrigin.mTime) : "no time";
        text += ' ' + std::string(event->mOrigin.mHost) + ' ' +
                (event->mOrigin.mBoard ? std::to_string(*event->mOrigin.mBoard) : "-");
        text += event->mIsEvent
                    ? ' ' + std::to_string(event->mCategory) + ' ' + std::to_string(event->mSubcategory) +
                          ' ' + std::to_string(event->mLength)
                    : " dropped " + std::to_string(event->mDropped);
        texts.push_back(text);
    }
    return texts;
}

TEST(EventColumns, GiveBackTimesThatGoForwardAndBack)
{
    constexpr std::uint64_t latest = ~std::uint64_t{0};
    EventColumns columns;
    std::string const record = recordWith(3, 7);
    std::vector<std::string> expected;
    for (std::uint64_t const time : {std::uint64_t{1767225600'000000001}, std::uint64_t{1767225600'000000001},
                                     std::uint64_t{1767225600'000000064}, std::uint64_t{1767225600'000000000},
                                     std::uint64_t{1}, latest, latest / 2, std::uint64_t{2}})
    {
        columns.add(eventIn(record, time));
        expected.push_back(std::to_string(time) + " host 0 3 7 0");
    }
    EXPECT_EQ(columns.count(), expected.size());
    EXPECT_EQ(textsIn(columns.json()), expected);
}

TEST(EventColumns, GiveBackEventsWithoutTimesInTheirPlaces)
{
    EventColumns columns;
    std::string const record = recordWith(3, 7);
    columns.add(eventIn(record, {}));
    columns.add(eventIn(record, 1000));
    columns.add(eventIn(record, {}));
    columns.add(eventIn(record, 2000));
    EXPECT_THAT(textsIn(columns.json()), testing::ElementsAre("no time host 0 3 7 0", "1000 host 0 3 7 0",
                                                              "no time host 0 3 7 0", "2000 host 0 3 7 0"));
}

TEST(EventColumns, GiveBackAllSizesOfNumbers)
{
    EventColumns columns;
    columns.add(eventIn(recordWith(0, 255), 1, 0));
    columns.add(eventIn(recordWith(255, 0, 65535), 2, 70000));
    CaptureEvent omitted = eventIn(recordWith(1, 1), 3, 1);
    omitted.mOmitted = 4'000'000'000;
    columns.add(omitted);
    EXPECT_THAT(textsIn(columns.json()), testing::ElementsAre("1 host 0 0 255 0", "2 host 70000 255 0 65535",
                                                              "3 host 1 1 1 4000000000"));
}

TEST(EventColumns, GiveBackATimeOfZero)
{
    EventColumns columns;
    columns.add(eventIn(recordWith(3, 7), 0));
    columns.add(eventIn(recordWith(3, 7), 5));
    EXPECT_THAT(textsIn(columns.json()), testing::ElementsAre("0 host 0 3 7 0", "5 host 0 3 7 0"));
}

/// @return size of a packed column in bytes
std::size_t packedSize(Columns const& aColumns, char const* aKey)
{
    return qzagent::bytesOfBase64(aColumns["columns"][aKey].get<std::string>())->size();
}

TEST(EventColumns, UseOneByteForEachSmallNumber)
{
    EventColumns columns;
    std::string const record = recordWith(3, 7, 100);
    for (std::uint64_t i = 0; i < 300; ++i)
    {
        columns.add(eventIn(record, 1000 + 10 * i, i % 4));
    }
    Columns const json = columns.json();
    for (char const* const key : {"time_deltas", "kind", "length"})
    {
        EXPECT_EQ(packedSize(json, key), 300) << key;
    }
    EXPECT_EQ(json["kinds"]["source"], Columns({0, 1, 2, 3}));
}

TEST(EventColumns, UseMoreBytesOnlyForTheNumberThatNeedsThem)
{
    EventColumns columns;
    columns.add(eventIn(recordWith(3, 7, 100), 1));
    CaptureEvent large = eventIn(recordWith(3, 7), 2);
    large.mOmitted = 70'000;
    columns.add(large);
    columns.add(eventIn(recordWith(3, 7, 100), 1'000'000'002));
    Columns const json = columns.json();
    EXPECT_EQ(packedSize(json, "length"), 1 + 3 + 1);
    EXPECT_EQ(packedSize(json, "time_deltas"), 1 + 1 + 5);
    EXPECT_EQ(packedSize(json, "kind"), 3);
}

TEST(EventColumns, UseFewBytesForTimesOfDifferentClocks)
{
    constexpr std::uint64_t day = 86'400'000'000'000;
    constexpr std::uint64_t events = 100;
    EventColumns columns;
    std::string const record = recordWith(3, 7);
    std::vector<std::string> expected;
    for (std::uint64_t i = 0; i < events; ++i)
    {
        std::uint64_t const board = i % 3;
        std::uint64_t const time = 1767225600'000000000 + board * 4 * day + i;
        columns.add(eventIn(record, time, static_cast<std::uint32_t>(board)));
        expected.push_back(std::to_string(time) + " host " + std::to_string(board) + " 3 7 0");
    }
    EXPECT_EQ(textsIn(columns.json()), expected);
    // The first events of two boards are 4 and 8 days after the first of all: eight bytes each instead of one.
    EXPECT_EQ(packedSize(columns.json(), "time_deltas"), events + 14);
}

TEST(EventColumns, GiveBackTheHighestBoard)
{
    EventColumns columns;
    std::string const record = recordWith(3, 7);
    columns.add(eventIn(record, 1, 4'294'967'295));
    EXPECT_THAT(textsIn(columns.json()), testing::ElementsAre("1 host 4294967295 3 7 0"));
}

TEST(EventColumns, KeepDropsBetweenTheEvents)
{
    EventColumns columns;
    std::string const record = recordWith(3, 7);
    columns.add(eventIn(record, 1767225600'000000001));
    CaptureEvent both = eventIn(record, 1767225600'000000002, 1);
    both.mDropped = 5;
    columns.add(both);
    CaptureEvent drops;
    drops.mDropped = 7;
    columns.add(drops);
    EXPECT_THAT(
        textsIn(columns.json()),
        testing::ElementsAre("1767225600000000001 host 0 3 7 0", "1767225600000000002 host 1 dropped 5",
                             "1767225600000000002 host 1 3 7 0", "no time  - dropped 7"));
}

TEST(EventColumns, WithoutEventsAreEmpty)
{
    EXPECT_EQ(textsIn(EventColumns().json()), std::vector<std::string>());
}

struct ColumnDamage
{
    char const* mName;
    char const* mPointer;  ///< to the value that is replaced
    Columns mValue;
    std::string mText;
};

std::ostream& operator<<(std::ostream& aOut, ColumnDamage const& aDamage) { return aOut << aDamage.mName; }

class DamagedEventColumns : public testing::TestWithParam<ColumnDamage>
{
};

TEST_P(DamagedEventColumns, AreRefusedWithThePlace)
{
    EventColumns columns;
    std::string const record = recordWith(3, 7);
    columns.add(eventIn(record, 1000));
    CaptureEvent event = eventIn(record, 2000);
    event.mDropped = 1;
    columns.add(event);
    columns.add(event);
    Columns json = columns.json();
    json[nlohmann::ordered_json::json_pointer(GetParam().mPointer)] = GetParam().mValue;
    try
    {
        textsIn(json);
        FAIL() << "accepted";
    }
    catch (qzagent::DocumentError const& error)
    {
        EXPECT_EQ(error.what(), GetParam().mText);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Values, DamagedEventColumns,
    testing::Values(
        ColumnDamage{"ManyEvents", "/count", 5'000'001U, "events.count: a number below 5000001 was expected"},
        ColumnDamage{"OtherCount", "/count", 4U, "event 3 has no valid kind"},
        ColumnDamage{"NoBase64", "/columns/kind", "=A", "events.columns.kind: base64 was expected"},
        ColumnDamage{"CutBase64", "/columns/kind", "AwM", "events.columns.kind: base64 was expected"},
        ColumnDamage{"UnequalCategories", "/kinds/category", Columns::array(),
                     "events.kinds: lists of one length was expected"},
        ColumnDamage{"UnequalSubcategories", "/kinds/subcategory", Columns::array(),
                     "events.kinds: lists of one length was expected"},
        ColumnDamage{"LargeCategory", "/kinds/category/0", 256U,
                     "events.kinds.category[0]: a number below 256 was expected"},
        ColumnDamage{"LargeLength", "/columns/length", "gICAgBA=", "event 0 has no valid length"},
        ColumnDamage{"NoText", "/columns/time_deltas", 3, "events.columns.time_deltas: a text was expected"},
        ColumnDamage{"UnknownSource", "/sources", Columns::array(),
                     "events.kinds.source[0]: a number below 0 was expected"},
        ColumnDamage{"UnknownSourceOfDrops", "/drops/0/source", 1U,
                     "events.drops[0].source: a number below 1 was expected"},
        ColumnDamage{"NoFirstTime", "/first_time", "yesterday",
                     "events.first_time: a time as in RFC 3339 was expected"},
        ColumnDamage{"DropsOutOfOrder", "/drops/1/before", 0U,
                     "events.drops[1]: a drop that is not before the previous one was expected"},
        ColumnDamage{"FewTimes", "/columns/time_deltas", "AAA=", "event 2 has no valid time"},
        ColumnDamage{"EndlessTime", "/columns/time_deltas",
                     "//////////////////8=", "event 0 has no valid time"},
        ColumnDamage{"KindBeyondTheList", "/columns/kind", "AAAB", "event 2 has an unknown kind"}),
    [](testing::TestParamInfo<ColumnDamage> const& aInfo) { return std::string(aInfo.param.mName); });

TEST(Base64, AgreesWithTheExamplesOfItsStandard)
{
    std::string const bytes = "foobar";
    char const* const texts[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
    for (std::size_t size = 0; size <= bytes.size(); ++size)
    {
        EXPECT_EQ(qzagent::base64Of(bytes.substr(0, size)), texts[size]);
        EXPECT_EQ(qzagent::bytesOfBase64(texts[size]), bytes.substr(0, size));
    }
}
}  // namespace
