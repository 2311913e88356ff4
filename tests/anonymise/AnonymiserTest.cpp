#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/ScopeDataView.h"
#include "agentkit/include/Wwn.h"
#include "anonymise/Anonymiser.h"
#include "anonymise/KeyedHash.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/support/Bytes.h"
#include "tests/support/Records.h"
#include "tests/support/Spellings.h"

using anonymise::Anonymiser;
using anonymise::KeyedHash;
using nlohmann::ordered_json;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace
{
constexpr char const* portName = "10:00:00:00:c9:2a:3b:4c";

class AnonymiserTest : public testing::Test
{
protected:
    /// @return the value of the key after the document was learned and replaced
    std::string valueAfter(std::string const& aKey, std::string const& aValue)
    {
        ordered_json const document{{aKey, aValue}};
        mAnonymiser.learn(document);
        return mAnonymiser.anonymisedDocument(document)[aKey];
    }

    std::string bytesAfter(std::string aBytes) const
    {
        mAnonymiser.anonymise(reinterpret_cast<unsigned char*>(aBytes.data()), aBytes.size());
        return aBytes;
    }

    Anonymiser mAnonymiser{KeyedHash("a secret of some length")};
};

TEST_F(AnonymiserTest, ReplacesTheValuesThatIdentify)
{
    EXPECT_THAT(valueAfter("host", "web01"), MatchesRegex("host-[0-9a-f]{12}"));
    EXPECT_THAT(valueAfter("serial_number", "EX0001"), MatchesRegex("serial-[0-9a-f]{12}"));
    EXPECT_THAT(valueAfter("symbolic_name", "lab port"), MatchesRegex("name-[0-9a-f]{12}"));
    EXPECT_THAT(valueAfter("node_symbolic_name", "lab"), MatchesRegex("name-[0-9a-f]{12}"));
}

TEST_F(AnonymiserTest, KeepsTheClassOfADevice)
{
    EXPECT_THAT(valueAfter("os_device", "/dev/sda"), MatchesRegex("/dev/sd-[0-9a-f]{12}"));
    EXPECT_THAT(valueAfter("os_device", "/dev/mapper/oracle"),
                MatchesRegex("/dev/mapper/device-[0-9a-f]{12}"));
    EXPECT_THAT(valueAfter("os_device_name", "/sys/class/fc_host/host0"),
                MatchesRegex("/sys/class/fc_host/host-[0-9a-f]{12}"));
    EXPECT_THAT(valueAfter("os_device", "/devices/oracle"), MatchesRegex("device-[0-9a-f]{12}"));
}

TEST_F(AnonymiserTest, LeavesEverythingElse)
{
    ordered_json const document{{"model", "EX-2200"},
                                {"manufacturer", "Example Adapters"},
                                {"fc_id", "0xfffffe"},
                                {"lun", "5000000000000000"},
                                {"mapped_luns", {0, "5000000000000000"}},
                                {"reported_luns", {"5000000000000000"}},
                                {"speed_bits", 2},
                                {"symbolic_name", ""},
                                {"generated_at", "2026-01-02T03:04:05Z"},
                                {"uuid", "5d6f9a30-7c1e-4d5b-9a61-0123456789ab"}};
    mAnonymiser.learn(document);
    EXPECT_EQ(mAnonymiser.anonymisedDocument(document), document);
}

TEST_F(AnonymiserTest, GivesTheSameOriginalTheSamePseudonymWhereverItIs)
{
    ordered_json const first{{"host", "web01"}, {"ports", {{{"port_wwn", portName}}}}};
    mAnonymiser.learn(first);
    ordered_json const replaced = mAnonymiser.anonymisedDocument(first);
    std::string const host = replaced["host"];
    std::string const name = replaced["ports"][0]["port_wwn"];
    EXPECT_NE(name, portName);
    EXPECT_EQ(mAnonymiser.anonymised(std::string("web01: ") + portName + " failed"),
              host + ": " + name + " failed");

    Anonymiser other{KeyedHash("a secret of some length")};
    other.learn(first);
    EXPECT_EQ(other.anonymisedDocument(first), replaced);
    EXPECT_NE(Anonymiser(KeyedHash("another secret, as long")).anonymisedDocument(first), replaced);
}

TEST_F(AnonymiserTest, FindsLearnedTextsInsideOthersInEitherCase)
{
    std::string const pseudonym = valueAfter("serial_number", "EX0001");
    EXPECT_EQ(mAnonymiser.anonymised("board_ex0001, EX000"), "board_" + pseudonym + ", EX000");
}

TEST_F(AnonymiserTest, PrefersTheLongerOfTwoLearnedTexts)
{
    std::string const shorter = valueAfter("serial_number", "EX00");
    std::string const longer = valueAfter("serial_number", "EX0001");
    EXPECT_EQ(mAnonymiser.anonymised("EX0001 EX0002"), longer + " " + shorter + "02");
}

TEST_F(AnonymiserTest, DoesNotSearchTextsOfFewCharacters)
{
    EXPECT_THAT(valueAfter("serial_number", "101"), MatchesRegex("serial-[0-9a-f]{12}"));
    EXPECT_EQ(mAnonymiser.anonymised("code 101"), "code 101");
}

TEST_F(AnonymiserTest, FindsASerialNumberWithoutTheBlanksAroundIt)
{
    std::string const pseudonym = valueAfter("serial_number", " EX0001   ");
    EXPECT_EQ(valueAfter("serial_number", "EX0001"), pseudonym);
    EXPECT_EQ(mAnonymiser.anonymised("board EX0001."), "board " + pseudonym + ".");
    EXPECT_EQ(bytesAfter("EX0001"), pseudonym.substr(7, 6));
    valueAfter("serial_number", "      ");
    EXPECT_EQ(mAnonymiser.anonymised("a      b"), "a      b");
}

TEST_F(AnonymiserTest, LearnsTheHostsInSymbolicNames)
{
    valueAfter("symbolic_name", "EX-2200 FV2.01A1 DVR:8.0.22 HN:db02.bank.example OS:Linux");
    valueAfter("node_symbolic_name", "Example Host Name: web77, driver");
    valueAfter("symbolic_name", "port of mail.bank.example. (EX-2200 v2.1.0)");
    for (char const* const host : {"db02.bank.example", "db02", "bank.example", "web77", "mail"})
    {
        EXPECT_THAT(mAnonymiser.anonymised(host), MatchesRegex("host-[0-9a-f]{12}")) << host;
    }
    for (char const* const word : {"EX-2200", "FV2.01A1", "8.0.22", "Linux", "Example", "driver", "v2.1.0"})
    {
        EXPECT_EQ(mAnonymiser.anonymised(word), word);
    }
}

TEST_F(AnonymiserTest, ReplacesAShortHostWhereItIsAWord)
{
    mAnonymiser.learnHost("db1");
    std::string const host = mAnonymiser.anonymised("db1");
    EXPECT_THAT(host, MatchesRegex("host-[0-9a-f]{12}"));
    EXPECT_EQ(mAnonymiser.anonymised("DB1: xdb1 db12 of-db1"), host + ": xdb1 db12 of-" + host);
    EXPECT_EQ(bytesAfter("(db1)"), "(" + host.substr(5, 3) + ")");
}

TEST_F(AnonymiserTest, FindsBytesThatAreNotUtf8)
{
    valueAfter("symbolic_name", "caf\xc3\xa9 seven");
    EXPECT_THAT(bytesAfter("<caf\xe9 seven>"), MatchesRegex("<[0-9a-f]{10}>"));
    // A document has replacement characters in place of such bytes.
    valueAfter("serial_number",
               "n\xef\xbf\xbd\xef\xbf\xbd"
               "17");
    EXPECT_THAT(bytesAfter("<n\xe5\xf8"
                           "17>"),
                MatchesRegex("<[0-9a-f]{5}>"));
    EXPECT_EQ(bytesAfter("<nxx17> n\xe5"), "<nxx17> n\xe5");
}

TEST_F(AnonymiserTest, FindsTextsInUtf16)
{
    mAnonymiser.learnHost("web01");
    std::string wide;
    for (char const character : std::string("at web01, ") + portName)
    {
        wide += std::string{character, '\0'};
    }
    for (std::string const& order : {wide, std::string(1, '\0') + wide.substr(0, wide.size() - 1)})
    {
        std::string const replaced = bytesAfter(order);
        std::string narrow;
        std::copy_if(replaced.begin(), replaced.end(), std::back_inserter(narrow),
                     [](char aByte) { return aByte != '\0'; });
        EXPECT_EQ(replaced.size(), order.size());
        EXPECT_THAT(narrow, StartsWith("at "));
        EXPECT_THAT(narrow, Not(HasSubstr("web01")));
        EXPECT_THAT(narrow, Not(HasSubstr(portName)));
    }
}

TEST_F(AnonymiserTest, ReplacesNamesInHalvesOfAnotherByteOrder)
{
    mAnonymiser.learn(qz::Wwn::parse("10:00:00:00:c9:2a:3b:4c")->bytes());
    for (std::string const& bytes : {std::string("\x00\x00\x00\x10\x4c\x3b\x2a\xc9", 8),
                                     std::string("\xc9\x2a\x3b\x4c\x10\x00\x00\x00", 8)})
    {
        EXPECT_NE(bytesAfter(bytes), bytes);
    }
}

TEST_F(AnonymiserTest, KnowsAHostByItsNameWithoutItsDomain)
{
    mAnonymiser.learnHost("Web01.lab.example");
    std::string const host = mAnonymiser.anonymised("web01");
    EXPECT_THAT(host, MatchesRegex("host-[0-9a-f]{12}"));
    EXPECT_EQ(mAnonymiser.anonymised("WEB01.lab.example"), host);
    EXPECT_THAT(mAnonymiser.anonymised("web02.lab.example"), Not(HasSubstr("lab")));
    EXPECT_EQ(mAnonymiser.anonymisedDocument(ordered_json{{"host", "web01"}})["host"], host);
}

TEST_F(AnonymiserTest, ReplacesNamesInEverySpelling)
{
    mAnonymiser.learn(qz::Wwn::parse(portName)->bytes());
    std::vector<std::string> const spellings = spellingsOf(portName);
    for (std::size_t i = 0; i + 2 < spellings.size(); ++i)
    {
        std::string upper = spellings[i];
        std::transform(upper.begin(), upper.end(), upper.begin(),
                       [](unsigned char aCharacter) { return static_cast<char>(std::toupper(aCharacter)); });
        for (std::string const& spelling : {spellings[i], upper})
        {
            EXPECT_THAT(mAnonymiser.anonymised("3" + spelling), Not(HasSubstr(spelling))) << spelling;
            EXPECT_THAT(bytesAfter("3" + spelling + "4"), Not(HasSubstr(spelling))) << spelling;
        }
    }
}

TEST_F(AnonymiserTest, GivesAReversedNameTheReversedPseudonym)
{
    mAnonymiser.learn(qz::Wwn::parse(portName)->bytes());
    auto bytes = mAnonymiser.anonymised(qz::Wwn::parse(portName)->bytes());
    std::reverse(bytes.begin(), bytes.end());
    EXPECT_EQ(mAnonymiser.anonymised("4c:3b:2a:c9:00:00:00:10"), qz::Wwn(bytes).text());
}

TEST_F(AnonymiserTest, ReplacesNamesAndHostsInMessages)
{
    ordered_json const document{
        {"host", "web01"},
        {"ports", {{{"port_wwn", portName}, {"os_device", "/dev/sdq"}}}},
        {"messages",
         {{{"text", "web01: cannot read /dev/sdq of 10000000C92A3B4C"}, {"remote_port", portName}}}}};
    mAnonymiser.learn(document);
    std::string const name = qz::Wwn(mAnonymiser.anonymised(qz::Wwn::parse(portName)->bytes())).text();
    std::string digits;
    std::copy_if(name.begin(), name.end(), std::back_inserter(digits),
                 [](char aDigit) { return aDigit != ':'; });
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](unsigned char aDigit) { return static_cast<char>(std::toupper(aDigit)); });
    ordered_json const replaced = mAnonymiser.anonymisedDocument(document);
    EXPECT_EQ(replaced["messages"][0]["text"], replaced["host"].get<std::string>() + ": cannot read " +
                                                   replaced["ports"][0]["os_device"].get<std::string>() +
                                                   " of " + digits);
    EXPECT_EQ(replaced["messages"][0]["remote_port"], name);
}

TEST_F(AnonymiserTest, ReplacesAddressesWithOrWithout0x)
{
    std::string const address = valueAfter("fc_id", "0x010a00");
    EXPECT_THAT(address, MatchesRegex("0x[0-9a-f]{6}"));
    EXPECT_NE(address, "0x010a00");
    EXPECT_EQ(mAnonymiser.anonymised("from 0x010a00"), "from " + address);
    EXPECT_EQ(mAnonymiser.anonymised("from 010A00."), "from " + address.substr(2) + ".");
    EXPECT_EQ(bytesAfter("0x010a00"), address);
    EXPECT_EQ(mAnonymiser.anonymised("1010a00 010a000 0x010a01"), "1010a00 010a000 0x010a01");
    EXPECT_EQ(mAnonymiser.anonymised("0x10A00 0x0010a00 10a00"), address + " 0x0010a00 10a00");
    EXPECT_EQ(bytesAfter("0x10a00"), "0x" + address.substr(3));
}

TEST_F(AnonymiserTest, LeavesValuesOfAFixedForm)
{
    valueAfter("host", "ports");
    valueAfter("serial_number", "ONLINE");
    valueAfter("symbolic_name", "2026");
    ordered_json const document{
        {"command", "ports"}, {"state", "ONLINE"}, {"generated_at", "2026-01-02T03:04:05Z"}};
    EXPECT_EQ(mAnonymiser.anonymisedDocument(document), document);
    EXPECT_THAT(mAnonymiser.anonymised("ONLINE ports"),
                MatchesRegex("serial-[0-9a-f]{12} host-[0-9a-f]{12}"));
}

TEST_F(AnonymiserTest, LeavesNothingOfTextsThatOverlap)
{
    valueAfter("serial_number", "EX0001");
    valueAfter("symbolic_name", "0001-lab");
    valueAfter("node_symbolic_name", "lab EX0001-lab-web01");
    valueAfter("host", "lab-web01");
    for (char const* const text : {"EX0001-lab", "EX0001-lab-web01", "lab EX0001-lab-web0", "0001-lab-web01"})
    {
        std::string const replaced = mAnonymiser.anonymised(text) + "|" + bytesAfter(text);
        for (char const* const original : {"EX0001", "0001-lab", "lab-web01"})
        {
            EXPECT_THAT(replaced, Not(HasSubstr(original))) << text;
        }
    }
}

TEST_F(AnonymiserTest, ReplacesNamesThatItHasNotLearned)
{
    EXPECT_EQ(mAnonymiser.anonymised("at " + std::string(portName)),
              "at " + qz::Wwn(mAnonymiser.anonymised(qz::Wwn::parse(portName)->bytes())).text());
    EXPECT_THAT(mAnonymiser.anonymised("wwn-0x50060160c1234567"), MatchesRegex("wwn-0x5006016[0-9a-f]{9}"));
}

TEST_F(AnonymiserTest, KeepsTheVendorOfANameOfThirtyTwoDigits)
{
    std::string const replaced = mAnonymiser.anonymised("naa.600601601234567890abcdef12345678");
    EXPECT_THAT(replaced, MatchesRegex("naa.6006016[0-9a-f]{25}"));
    EXPECT_THAT(replaced, Not(HasSubstr("1234567890")));
}

TEST_F(AnonymiserTest, ReplacesNamesInBytesInEitherByteOrder)
{
    auto const bytes = qz::Wwn::parse(portName)->bytes();
    mAnonymiser.learn(bytes);
    auto const replaced = mAnonymiser.anonymised(bytes);
    EXPECT_EQ(bytesAfter("a" + std::string(bytes.begin(), bytes.end()) + "b"),
              "a" + std::string(replaced.begin(), replaced.end()) + "b");
    EXPECT_EQ(bytesAfter(std::string(bytes.rbegin(), bytes.rend())),
              std::string(replaced.rbegin(), replaced.rend()));
}

TEST_F(AnonymiserTest, LeavesNumbersThatEqualANameWithOneByteOtherThanZero)
{
    mAnonymiser.learn(qz::Wwn::parse("20:00:00:00:00:00:00:00")->bytes());
    mAnonymiser.learn(qz::Wwn::parse("10:00:00:00:00:00:00:02")->bytes());
    EXPECT_NE(mAnonymiser.anonymised("20:00:00:00:00:00:00:00"), "20:00:00:00:00:00:00:00");
    for (std::string const& bytes : {std::string("\x00\x00\x00\x20\x00\x00\x00\x00", 8),
                                     std::string("\x20\x00\x00\x00\x00\x00\x00\x00", 8)})
    {
        EXPECT_EQ(bytesAfter(bytes), bytes);
    }
    for (std::string const& name : {std::string("\x10\x00\x00\x00\x00\x00\x00\x02", 8),
                                    std::string("\x00\x00\x00\x10\x02\x00\x00\x00", 8)})
    {
        EXPECT_NE(bytesAfter(name), name);
    }
}

TEST_F(AnonymiserTest, ReplacesALongNameInBytesLikeItsDigits)
{
    std::string const name = "\x60\x06\x01\x60\xc1\x23\x45\x67\x89\xab\xcd\xef\x12\x34\x56\x78";
    EXPECT_EQ(bytesAfter("a" + name + "b"), "a" + name + "b");
    mAnonymiser.learnLongName(name);
    std::string const replaced = bytesAfter("a" + name + "b");
    EXPECT_EQ(inGroups(replaced, replaced.size(), ""),
              "61" + mAnonymiser.anonymised("60060160c123456789abcdef12345678") + "62");
    EXPECT_NE(replaced, "a" + name + "b");
}

TEST_F(AnonymiserTest, ReplacesAnAddressInTextsOnceItIsLearned)
{
    EXPECT_EQ(mAnonymiser.anonymised("port 0x0abcde"), "port 0x0abcde");
    mAnonymiser.learnAddress(0x0abcde);
    EXPECT_EQ(mAnonymiser.anonymised("port 0x0abcde"),
              fmt::format("port 0x{:06x}", mAnonymiser.anonymisedAddress(0x0abcde)));
    EXPECT_NE(mAnonymiser.anonymisedAddress(0x0abcde), 0x0abcdeU);
}

TEST_F(AnonymiserTest, KeepsTheLengthOfTextsInBytes)
{
    std::string const serial = valueAfter("serial_number", "EX0001");
    EXPECT_EQ(bytesAfter("<EX0001>"), "<" + serial.substr(7, 6) + ">");
    std::string const shown = bytesAfter("at " + std::string(portName));
    EXPECT_EQ(shown, "at " + qz::Wwn(mAnonymiser.anonymised(qz::Wwn::parse(portName)->bytes())).text());
    std::string const longText(100, 'x');
    valueAfter("symbolic_name", longText);
    EXPECT_THAT(bytesAfter(longText), MatchesRegex("[0-9a-f]{100}"));
}

TEST_F(AnonymiserTest, LeavesARecordThatCanBeDecoded)
{
    unsigned char const payload[] = "port 10000000c92a3b4c of web01";
    QZCScopeData const record(eventOf(3, 4), payload, sizeof payload, 0,
                              nameOf({0x10, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c}),
                              nameOf({0x20, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c}));
    Bytes encoded = encodedFormOf(record);
    mAnonymiser.learnHost("web01");
    mAnonymiser.learn(
        ordered_json{{"first_wwn", "10:00:00:00:c9:2a:3b:4c"}, {"second_wwn", "20:00:00:00:c9:2a:3b:4c"}});
    mAnonymiser.anonymise(encoded.data(), encoded.size());

    qz::ScopeDataView const view(encoded.data(), encoded.size());
    EXPECT_EQ(view.category(), 3);
    EXPECT_EQ(view.first()->bytes(),
              mAnonymiser.anonymised(qz::Wwn::parse("10:00:00:00:c9:2a:3b:4c")->bytes()));
    EXPECT_EQ(view.second()->bytes(),
              mAnonymiser.anonymised(qz::Wwn::parse("20:00:00:00:c9:2a:3b:4c")->bytes()));
    ASSERT_EQ(view.payload()->mSize, sizeof payload);
    std::string const text(view.payload()->begin(), view.payload()->end());
    EXPECT_THAT(text, StartsWith("port 10000000c9"));
    EXPECT_THAT(text, Not(HasSubstr("2a3b4c")));
    EXPECT_THAT(text, Not(HasSubstr("web01")));
}
}  // namespace
