#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{
/// Runs the agent with these libraries in /etc/hba.conf.
/// @param aRefusal see RefusedLibrary.cpp
/// @return the texts of the notes
std::vector<std::string> notesWith(std::vector<std::string> const& aLibraries,
                                   std::string const& aRefusal = {})
{
    ScratchFolder const folder;
    std::string lines;
    for (std::string const& path : aLibraries)
    {
        lines += "example." + std::to_string(&path - aLibraries.data()) + " " + path + "\n";
    }
    Environment environment = hiddenConfiguration();
    environment["HBA_CONFIGURATION"] = folder.write("hba.conf", lines);
    environment["QZSIM_SCENARIO"] = SCENARIOS "/two-adapters.toml";
    environment["REFUSAL"] = aRefusal;
    std::vector<std::string> notes;
    nlohmann::json const document = documentOf(runAgent({"adapters", "--json"}, environment));
    for (nlohmann::json const& message : document["messages"])
    {
        if (message["severity"] == "note")
        {
            notes.push_back(message["text"]);
        }
    }
    return notes;
}

TEST(QzagentHbaConfiguration, IsNotedOnceByACheckOfSeveralLooks)
{
    ScratchFolder const folder;
    Environment environment = hiddenConfiguration();
    environment["HBA_CONFIGURATION"] = folder.write(
        "hba.conf", "example.0 " SIMULATED_LIBRARY "\nexample.1 " + folder.path().string() + "/none.so\n");
    environment["QZSIM_SCENARIO"] = SCENARIOS "/two-adapters.toml";
    std::string const errors = runAgent({"check", "--seconds", "1"}, environment).mErrors;
    std::string const start = "qzagent: note: HBA library example.1 (";
    EXPECT_THAT(errors, HasSubstr(start));
    EXPECT_EQ(errors.find(start), errors.rfind(start)) << errors;
}

TEST(QzagentHbaConfiguration, MakesALookIncompleteIfOneOfItsLibrariesDoesNotLoad)
{
    ScratchFolder const folder;
    Environment environment = hiddenConfiguration();
    environment["QZSIM_SCENARIO"] = SCENARIOS "/two-adapters.toml";
    auto const look = [&](char const* aName, std::string const& aLibraries)
    {
        environment["HBA_CONFIGURATION"] = folder.write("hba.conf", aLibraries);
        return folder.write(aName, runAgent({"inventory", "--json"}, environment).mOutput);
    };
    std::string const whole = look("whole.json", "example.0 " SIMULATED_LIBRARY "\n");
    std::string const absent = folder.path().string() + "/none.so";
    std::string const partial =
        look("partial.json", "example.0 " SIMULATED_LIBRARY "\nexample.1 " + absent + "\n");
    ProcessResult const result = runAgent({"diff", whole, partial});
    EXPECT_THAT(result.mOutput, testing::StartsWith("? adapters: unknown now (HBA library example.1 (" +
                                                    absent + ") is not"));
    EXPECT_EQ(result.mExitStatus, 3);
    EXPECT_EQ(runAgent({"diff", partial, partial}).mOutput, "");
}

TEST(QzagentHbaConfiguration, SatisfiesTheSchemaWithALibraryThatTheCommonLibraryRefuses)
{
    ScratchFolder const folder;
    Environment environment = hiddenConfiguration();
    environment["HBA_CONFIGURATION"] = folder.write("hba.conf", "example.0 " NOISY_LIBRARY "\n");
    ProcessResult const result = runAgent({"inventory", "--json"}, environment);
    EXPECT_TRUE(satisfies(result.mOutput, "inventory"));
    EXPECT_EQ(documentOf(result)["messages"].back()["library"], NOISY_LIBRARY);
}

TEST(QzagentHbaConfiguration, NamesTheLibraryThatDoesNotLoadUnderTheSimulator)
{
    EXPECT_THAT(runAgentOn("[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = \"1+\"\nstatus = 12\n", {"adapters"})
                    .mErrors,
                AllOf(HasSubstr("qzagent: note: the common library does not use HBA library "),
                      HasSubstr("): its LoadLibrary function returns HBA_STATUS_ERROR_UNAVAILABLE (12)\n")));
}

TEST(QzagentHbaConfiguration, HasNoNoteForLibrariesThatTheCommonLibraryAccepts)
{
    EXPECT_THAT(notesWith({SIMULATED_LIBRARY}), IsEmpty());
    EXPECT_THAT(notesWith({SIMULATED_LIBRARY, REFUSED_LIBRARY_1}), IsEmpty());
    EXPECT_THAT(notesWith({REFUSED_LIBRARY_2, SIMULATED_LIBRARY}), IsEmpty());
}

TEST(QzagentHbaConfiguration, NotesALibraryWithoutTheFunctionThatRegistersIt)
{
    std::string const note = "the common library does not use HBA library example.1 (" NOISY_LIBRARY
                             "): the library has no function HBA_RegisterLibrary";
    EXPECT_THAT(notesWith({SIMULATED_LIBRARY, NOISY_LIBRARY}), ElementsAre(note));
}

TEST(QzagentHbaConfiguration, NotesALibraryThatIsRefusedWhileNoOtherLibraryIsLoaded)
{
    EXPECT_THAT(notesWith({NOISY_LIBRARY}),
                ElementsAre("the common library does not use HBA library example.0 (" NOISY_LIBRARY
                            "): the library has no function HBA_RegisterLibrary"));
}

TEST(QzagentHbaConfiguration, NotesALibraryThatDoesNotRegister)
{
    std::string const start = "the common library does not use HBA library example.1 (";
    EXPECT_THAT(notesWith({SIMULATED_LIBRARY, REFUSED_LIBRARY_1, REFUSED_LIBRARY_2}, "register"),
                ElementsAre(start + REFUSED_LIBRARY_1
                                "): HBA_RegisterLibrary returns HBA_STATUS_ERROR_INCOMPATIBLE (15)",
                            "the common library does not use HBA library example.2 (" REFUSED_LIBRARY_2
                            "): HBA_RegisterLibraryV2 returns HBA_STATUS_ERROR_INCOMPATIBLE (15)"));
}

TEST(QzagentHbaConfiguration, NotesALibraryWithoutALoadLibraryFunction)
{
    EXPECT_THAT(notesWith({SIMULATED_LIBRARY, REFUSED_LIBRARY_1}, "no load"),
                ElementsAre("the common library does not use HBA library example.1 (" REFUSED_LIBRARY_1
                            "): the library registers no LoadLibrary function"));
}

TEST(QzagentHbaConfiguration, NotesALibraryWhoseLoadLibraryFunctionFails)
{
    EXPECT_THAT(notesWith({SIMULATED_LIBRARY, REFUSED_LIBRARY_2}, "load"),
                ElementsAre("the common library does not use HBA library example.1 (" REFUSED_LIBRARY_2
                            "): its LoadLibrary function returns HBA_STATUS_ERROR_UNAVAILABLE (12)"));
}
}  // namespace
