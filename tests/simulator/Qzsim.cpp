#include "tests/simulator/Qzsim.h"

#include <gtest/gtest.h>

std::string shipped(std::string const& aScenario) { return std::string(QZSIM_SCENARIOS "/") + aScenario; }

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
