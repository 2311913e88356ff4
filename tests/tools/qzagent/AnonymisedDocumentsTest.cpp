// What is left of the originals in the documents of a host.
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "anonymise/Anonymiser.h"
#include "anonymise/KeyedHash.h"
#include "tests/support/Spellings.h"
#include "tests/tools/qzagent/Agent.h"

using nlohmann::ordered_json;

namespace
{
/// The originals of the shipped scenario "two-adapters".
std::vector<std::string> originalsOfTwoAdapters()
{
    std::string host(256, '\0');
    ::gethostname(host.data(), host.size());
    std::vector<std::string> originals{host.c_str(),     "EX0001", "EX0002", "EX-2200 port 0",
                                       "EX-2200 port 1", "host0",  "host1",  "host2"};
    for (char const* const name :
         {"20:00:00:00:c9:00:00:00", "10:00:00:00:c9:00:00:01", "10:00:00:60:69:00:00:01",
          "50:00:00:00:ab:00:00:01", "50:00:00:00:ab:00:00:00", "10:00:00:00:c9:00:00:71",
          "20:00:00:00:c9:00:00:70", "10:00:00:00:c9:00:00:02", "10:00:00:60:69:00:00:02",
          "50:00:00:00:ab:00:00:02", "20:00:00:00:c9:00:00:10", "10:00:00:00:c9:00:00:11"})
    {
        std::vector<std::string> const spellings = spellingsOf(name);
        originals.insert(originals.end(), spellings.begin(), spellings.end());
    }
    return originals;
}

TEST(QzagentAnonymisedDocuments, HaveNoOriginals)
{
    anonymise::Anonymiser anonymiser{anonymise::KeyedHash("a secret of some length")};
    std::vector<ordered_json> documents;
    for (Arguments const& arguments :
         {Arguments{"inventory", "--luns", "--json"}, Arguments{"ports", "--json"},
          Arguments{"statistics", "--json"}, Arguments{"vendor", "--json"},
          Arguments{"latency", "--count", "1", "--json"}, Arguments{"adapters", "--json"}})
    {
        documents.push_back(
            ordered_json::parse(runAgentOn(shippedScenario("two-adapters"), arguments).mOutput));
        anonymiser.learn(documents.back());
    }
    std::string all;
    std::string before;
    for (ordered_json const& document : documents)
    {
        before += document.dump();
        all += anonymiser.anonymisedDocument(document).dump();
    }
    std::string const searched = inLowerCase(all);
    std::vector<std::string> const originals = originalsOfTwoAdapters();
    std::size_t found = 0;
    for (std::string const& original : originals)
    {
        EXPECT_EQ(searched.find(inLowerCase(original)), std::string::npos) << original << " survives";
        found += before.find(original) == std::string::npos ? 0 : 1;
    }
    EXPECT_GE(found, 20U);  // of which 12 are names
    EXPECT_THAT(all, testing::HasSubstr("EX-2200"));
}
}  // namespace
