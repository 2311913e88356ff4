#include "tests/simulator/Qzsim.h"

#include <filesystem>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

std::string shipped(std::string const& aScenario) { return std::string(QZSIM_SCENARIOS "/") + aScenario; }

fs::path copyOfLibraries(fs::path const& aFolder)
{
    fs::path const original = QZSIM_LIBRARY;
    for (char const* const name :
         {"libqzsim.so", "libqzsim-hba.so", "libqzsim-vqm.so", "libqzsim-vqm-kept.so"})
    {
        fs::copy_file(original.parent_path() / name, aFolder / name);
    }
    return aFolder / original.filename();
}

ProcessResult runQzsim(Arguments aArguments, std::map<std::string, std::string> const& aEnvironment)
{
    aArguments.insert(aArguments.begin(), QZSIM);
    return runProcess(aArguments, aEnvironment);
}

ProcessResult runQzsimOnTwoAdapters(Arguments aArguments,
                                    std::map<std::string, std::string> const& aEnvironment)
{
    aArguments.insert(aArguments.begin(), {"--scenario", shipped("two-adapters.toml")});
    return runQzsim(aArguments, aEnvironment);
}

void expectMisuse(ProcessResult const& aResult, std::string const& aMessage)
{
    EXPECT_EQ(aResult.mExitStatus, misused);
    EXPECT_EQ(aResult.mErrors, "qzsim: " + aMessage + '\n');
    EXPECT_EQ(aResult.mOutput, "");
}
