/// @file
/// The vendor library layer with a scripted vendor library. The layer's state belongs to the process, so a test calls
/// it inFreshProcess() or in a death test.
#pragma once

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "agentkit/testing/FakeVqm.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tests/support/CallLog.h"
#include "tests/support/LogCapture.h"

using LogLines = std::vector<LogLine>;

constexpr char symbolMissing[] = "QZCNotAllowedEx 9: dlsym Failed";

/// The lines that a function of the layer is expected to log.
inline ExpectedLog logOf(std::string const& aFunction) { return ExpectedLog(aFunction, "LibvqmAbs"); }

/// The lines one after the other.
inline LogLines operator+(LogLines aFirst, LogLines const& aSecond)
{
    aFirst.insert(aFirst.end(), aSecond.begin(), aSecond.end());
    return aFirst;
}

/// The given lines between the Entered and Left lines of a function.
inline LogLines around(std::string const& aFunction, LogLines const& aLines)
{
    return LogLines{logOf(aFunction).entered()} + aLines + LogLines{logOf(aFunction).left()};
}

/// The expected calls of a symbol lookup.
inline LogLines lookup(std::string const& aSymbol)
{
    return {call("dlerror()"), call("dlsym(1, " + aSymbol + ")")};
}

/// The expected calls of a function's lookup and of the function.
inline LogLines lookupAndCall(std::string const& aSymbol, std::string const& aArguments)
{
    return lookup(aSymbol) + LogLines{call(aSymbol + '(' + aArguments + ')')};
}

/// The expected events of opening the environment.
inline LogLines openedEnvironment() { return around("__initLibvqm", lookupAndCall("VQM_InitDiagEnv", "32")); }

inline LogLine foundVersion(std::string const& aText)
{
    return logOf("__processLibvqmVersion")
        .info("Found Libvqm version : %s", "Found Libvqm version : " + aText);
}

inline LogLine driverVersion(std::string const& aText)
{
    return logOf("__processDriverVersion").info("KWRT Driver Version - %s", "KWRT Driver Version - " + aText);
}

/// The expected events of an operation whose function is missing.
inline LogLines failedLookup(std::string const& aSymbol, std::string const& aOperation)
{
    LogLine const complaint = logOf(aOperation)
                                  .error("Can't find %s (error %s)",
                                         "Can't find " + aSymbol + " (error libvqm.so: no such function)");
    return lookup(aSymbol) + LogLines{call("dlerror()"), complaint} +
           around("LIBVQM_FreeLibrary", {call("dlclose(1)")});
}

/// The layer, with its calls merged into its log lines in the order in which they happen.
class LibvqmLayer : public testing::Test
{
protected:
    LibvqmLayer() { mVqm.mOnCall = logCall; }

    /// Loads the library and discards the events of the load.
    void load()
    {
        mLayer.LIBVQM_LoadLibrary();
        mLog.clear();
    }

    /// Loads the library and opens the diagnostic environment.
    void loadAndInit()
    {
        mLayer.LIBVQM_LoadLibrary();
        mLayer.LIBVQM_Init();
        mLog.clear();
    }

    /// The layer's lines and the calls, without the lines of the records that it creates.
    LogLines events() const
    {
        LogLines found;
        std::copy_if(mLog.lines().begin(), mLog.lines().end(), std::back_inserter(found),
                     [](LogLine const& aLine) { return aLine.mFile == "LibvqmAbs" || aLine.mFile.empty(); });
        return found;
    }

    /// The texts of the lines with these formats.
    std::vector<std::string> textsOf(std::vector<std::string> const& aFormats) const
    {
        std::vector<std::string> texts;
        for (LogLine const& line : mLog.lines())
        {
            if (std::find(aFormats.begin(), aFormats.end(), line.mFormat) != aFormats.end())
            {
                texts.push_back(line.mText);
            }
        }
        return texts;
    }

    /// The number of times that a call was made.
    long callsOf(std::string const& aCall) const
    {
        return std::count(mLog.lines().begin(), mLog.lines().end(), call(aCall));
    }

    qz::FakeVqm mVqm;
    LogCapture mLog;
    QZCLibvqmAbs mLayer;
};
