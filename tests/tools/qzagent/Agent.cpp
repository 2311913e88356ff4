#include "tests/tools/qzagent/Agent.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"

namespace
{
/// Creates a file with the content, and removes it when destroyed.
class TemporaryFile
{
public:
    TemporaryFile(std::string const& aContent, std::string const& aSuffix)
        : mPath(testing::TempDir() + "qzagent-XXXXXX" + aSuffix)
    {
        int const descriptor = ::mkstemps(mPath.data(), static_cast<int>(aSuffix.size()));
        std::ofstream(mPath, std::ios::binary) << aContent;
        if (descriptor < 0 || ::close(descriptor) != 0 ||
            std::filesystem::file_size(mPath) != aContent.size())
        {
            throw std::runtime_error("cannot write " + mPath);
        }
    }
    ~TemporaryFile() { std::filesystem::remove(mPath); }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;

    std::string const& path() const { return mPath; }

private:
    std::string mPath;
};

Environment environmentOf(Environment const& aEnvironment)
{
    // Preloaded libraries come before the sanitizer's own library. Its exit status must differ from those of the agent.
    Environment environment = aEnvironment;
    environment.insert({{"LC_ALL", "C.UTF-8"}, {"ASAN_OPTIONS", "verify_asan_link_order=0:exitcode=99"}});
    return environment;
}

ProcessResult run(Arguments aCommand, Arguments const& aArguments, Environment const& aEnvironment)
{
    aCommand.push_back(AGENT);
    aCommand.insert(aCommand.end(), aArguments.begin(), aArguments.end());
    return runProcess(aCommand, environmentOf(aEnvironment));
}

std::string quoted(Arguments const& aWords)
{
    std::string text;
    for (std::string const& word : aWords)
    {
        text += " '" + word + "'";
    }
    return text;
}

ProcessResult runOnTerminal(Arguments const& aCommand, Arguments const& aArguments,
                            Environment const& aEnvironment, std::string const& aShellText)
{
    return runProcess({"script", "--quiet", "--return", "--command",
                       quoted(aCommand) + quoted(aArguments) + aShellText, "/dev/null"},
                      environmentOf(aEnvironment));
}
}  // namespace

Environment hostileHbaapi() { return {{"LD_PRELOAD", HOSTILE_HBAAPI}}; }

Environment hiddenConfiguration() { return {{"LD_PRELOAD", HIDDEN_CONFIGURATION}}; }

ProcessResult runAgent(Arguments const& aArguments, Environment const& aEnvironment)
{
    return run({}, aArguments, aEnvironment);
}

ProcessResult runAgentOn(std::string const& aScenario, Arguments const& aArguments)
{
    TemporaryFile const scenario(aScenario, ".toml");
    return run({SIMULATOR, "--scenario", scenario.path(), "--"}, aArguments, {});
}

ProcessResult runAgentIn(std::string const& aScript, Arguments const& aArguments,
                         Environment const& aEnvironment)
{
    return run({"sh", "-c", aScript, "sh"}, aArguments, aEnvironment);
}

ProcessResult runAgentInOn(std::string const& aScript, std::string const& aScenario,
                           Arguments const& aArguments)
{
    TemporaryFile const scenario(aScenario, ".toml");
    return run({"sh", "-c", aScript, "sh", SIMULATOR, "--scenario", scenario.path(), "--"}, aArguments, {});
}

ProcessResult runAgentUntilFaults(std::string const& aScenario, Arguments const& aArguments,
                                  std::string const& aScript)
{
    ScratchFolder const folder;
    std::string const control = folder.path() / "control";
    TemporaryFile const scenario(aScenario, ".toml");
    // A shell makes the commands that it starts in the background ignore SIGINT.
    std::string const script =
        "env --default-signal \"$@\" & agent=$!; while kill -0 $agent 2>/dev/null && ! " +
        quoted({SIMULATOR_CONTROL, control, "verify"}) + " >/dev/null 2>&1; do sleep 0.05; done; " + aScript +
        "; wait $agent";
    return run(
        {"sh", "-c", script, "sh", SIMULATOR, "--control", control, "--scenario", scenario.path(), "--"},
        aArguments, {});
}

ProcessResult runAgentOnTerminal(Arguments const& aArguments, Environment const& aEnvironment,
                                 std::string const& aShellText)
{
    return runOnTerminal({AGENT}, aArguments, aEnvironment, aShellText);
}

std::string shippedScenario(std::string const& aName)
{
    std::ifstream file(SCENARIOS "/" + aName + ".toml", std::ios::binary);
    std::ostringstream text;
    if (!(text << file.rdbuf()))
    {
        throw std::runtime_error("cannot read the scenario " + aName);
    }
    return text.str();
}

ProcessResult runAgentOnTerminalOf(std::string const& aScenario, Arguments const& aArguments)
{
    TemporaryFile const scenario(aScenario, ".toml");
    return runOnTerminal({SIMULATOR, "--scenario", scenario.path(), "--", AGENT}, aArguments,
                         {{"TERM", "xterm"}, {"NO_COLOR", ""}}, {});
}

nlohmann::json documentOf(ProcessResult const& aResult)
{
    nlohmann::json document = nlohmann::json::parse(aResult.mOutput, nullptr, false);
    if (document.is_discarded())
    {
        ADD_FAILURE() << "no JSON document:\n" << aResult.mOutput << aResult.mErrors;
        return {};
    }
    return document;
}

nlohmann::json findingsOf(ProcessResult const& aResult)
{
    nlohmann::json document = documentOf(aResult);
    for (char const* const key : {"tool_version", "host", "generated_at"})
    {
        document.erase(key);
    }
    return document;
}

std::vector<std::string> linesOf(std::string const& aText)
{
    std::vector<std::string> lines;
    std::istringstream text(aText);
    for (std::string line; std::getline(text, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

std::string squeezed(std::string const& aText)
{
    static std::regex const blanks("([a-z0-9]) +");
    return std::regex_replace(aText, blanks, "$1 ");
}

std::string withSingleBlanks(std::string const& aText)
{
    return std::regex_replace(std::regex_replace(aText, std::regex(" +"), " "), std::regex(" \n"), "\n");
}

testing::AssertionResult satisfies(std::string const& aDocument, std::string const& aSchema)
{
    TemporaryFile const document(aDocument, ".json");
    ProcessResult const result = runProcess({"/usr/bin/python3", "-m", "jsonschema", "-i", document.path(),
                                             SCHEMAS "/" + aSchema + ".schema.json"});
    testing::AssertionResult verdict(result.mExitStatus == 0);
    return verdict << aDocument << result.mOutput << result.mErrors;
}
