#include "simulator/runner/Recordings.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "anonymise/KeyedHash.h"
#include "simulator/control/SignalBlock.h"
#include "simulator/library/Redirection.h"
#include "simulator/recording/Player.h"
#include "simulator/recording/Recording.h"
#include "simulator/recording/RecordingFile.h"
#include "simulator/recording/Ring.h"
#include "simulator/recording/ScenarioCheck.h"
#include "simulator/recording/ScenarioText.h"
#include "simulator/recording/Session.h"
#include "simulator/runner/AnonymisedRecords.h"
#include "simulator/runner/CommandLine.h"
#include "simulator/runner/Launch.h"
#include "simulator/scenario/ScenarioReader.h"
#include "toml/TomlError.h"
#include "toml/TomlValue.h"

namespace fs = std::filesystem;

namespace qzsim
{
namespace
{
constexpr std::chrono::milliseconds recordInterval{5};
constexpr int invalidScenario = 1;
constexpr int nothingRecorded = 1;

class RecordingHelp : public CLI::Formatter
{
public:
    explicit RecordingHelp(std::string aUsage) : mUsage(std::move(aUsage)) {}

    std::string make_usage(CLI::App const*, std::string) const override { return "Usage: " + mUsage + "\n"; }

private:
    std::string const mUsage;
};

/// Shows on a terminal how much of the replacement of names is done. The recording is written even if the terminal is gone.
class ProgressLine
{
public:
    ProgressLine() = default;
    ~ProgressLine()
    {
        if (mShown)
        {
            std::fputs("\r\x1b[K", stderr);
        }
    }
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    void show(double aPart)
    {
        constexpr std::chrono::milliseconds interval{500};
        auto const now = std::chrono::steady_clock::now();
        if (mIsTerminal && (!mShown || now - *mShown >= interval))
        {
            std::fprintf(stderr, "\r\x1b[Kqzsim: replacing names: %.0f %%", 100 * aPart);
            mShown = now;
        }
    }

private:
    bool const mIsTerminal = ::isatty(STDERR_FILENO) == 1;
    std::optional<std::chrono::steady_clock::time_point> mShown;  ///< when the line was shown last
};

/// Writes what the processes record, on its own thread. The thread ends when the recording cannot be written.
class RecordingThread
{
public:
    /// @param aRecords keeps what is recorded until finish(); null to write it at once
    RecordingThread(Ring& aRing, RecordingFile& aFile, AnonymisedRecords* aRecords)
        : mRing(aRing), mFile(aFile), mRecords(aRecords)
    {
        SignalBlock const block;
        mThread = std::thread([this] { run(); });
    }
    ~RecordingThread() { end(); }
    RecordingThread(RecordingThread const&) = delete;
    RecordingThread& operator=(RecordingThread const&) = delete;

    /// Writes what is left.
    /// @throws RecordingWriteError
    void finish()
    {
        end();
        if (mError)
        {
            std::rethrow_exception(mError);
        }
        write();
        if (mRecords != nullptr)
        {
            ProgressLine progress;
            mRecords->writeTo(mFile, [&](double aPart) { progress.show(aPart); });
            mFile.flush();
        }
    }

private:
    void end()
    {
        mIsEnding = true;
        if (mThread.joinable())
        {
            mThread.join();
        }
        mRing.close();
    }

    void run() noexcept
    {
        try
        {
            while (!mIsEnding)
            {
                write();
                std::this_thread::sleep_for(recordInterval);
            }
        }
        catch (...)
        {
            mError = std::current_exception();
            mRing.close();
        }
    }

    void write()
    {
        mRing.read([this](Ring::Record const& aRecord)
                   { mRecords == nullptr ? mFile.add(aRecord) : mRecords->keep(aRecord); });
        mFile.flush();
    }

    Ring& mRing;
    RecordingFile& mFile;
    AnonymisedRecords* const mRecords;
    std::atomic<bool> mIsEnding = false;
    std::exception_ptr mError;
    std::thread mThread;
};

struct RecordingOptions
{
    std::string mFile;
    std::optional<std::string> mLibrary;
    std::optional<std::string> mKeyFile;  ///< none to keep originals
    ReplayOptions mReplay;
    std::vector<std::string> mCommand;

    fs::path library() const { return mLibrary ? fs::path(*mLibrary) : findLibrary(); }
};

void parse(CLI::App& aParser, RecordingOptions& aOptions, int aCount, char** aArguments)
{
    aParser.prefix_command();
    aParser
        .add_option("--library", aOptions.mLibrary,
                    "Use this libqzsim.so instead of the one installed with qzsim")
        ->type_name("PATH")
        ->check(refuseEmpty);
    aParser.parse(aCount, aArguments);
    aOptions.mCommand = commandIn(aParser);
    if (aOptions.mCommand.empty())
    {
        throw CLI::RequiredError("PROGRAM");
    }
}

/// @return the exit status of a program that has ended
int statusAfter(RecordingOptions const& aOptions, Outcome const& aOutcome)
{
    return aOutcome.mError != 0 ? refuseProgram(aOptions.mCommand.front(), aOutcome.mError)
                                : endLike(aOutcome);
}

int record(CLI::App& aParser, int aCount, char** aArguments)
{
    RecordingOptions options;
    aParser.formatter(
        std::make_shared<RecordingHelp>("qzsim record --output FILE [OPTIONS] [--] PROGRAM [ARGUMENTS...]"));
    aParser.add_option("--output", options.mFile, "Record into this new file")
        ->type_name("FILE")
        ->check(refuseEmpty)
        ->required();
    aParser
        .add_option(
            "--anonymise", options.mKeyFile,
            "Replace what identifies hosts, ports and devices. The same key file, of at least 16 bytes, "
            "gives the same pseudonyms")
        ->type_name("KEYFILE")
        ->check(refuseEmpty);
    parse(aParser, options, aCount, aArguments);

    fs::path const library = options.library();
    std::optional<AnonymisedRecords> records;
    if (options.mKeyFile)
    {
        records.emplace(anonymise::KeyedHash::ofFile(*options.mKeyFile), sectionOfHost());
    }
    RingFile const ringFile;
    Ring ring(ringFile.path());
    injectRecording(library, {{ringVariable, ringFile.path()}});
    RecordingFile file(options.mFile, records ? records->section() : sectionOfHost());
    RecordingThread thread(ring, file, records ? &*records : nullptr);
    Outcome const outcome = runProgram(options.mCommand);
    if (records)
    {
        acceptSignals();  // the replacement of names can take long
    }
    thread.finish();
    if (file.hasPackets())
    {
        return statusAfter(options, outcome);
    }
    ::unlink(options.mFile.c_str());
    if (outcome.mError != 0)
    {
        return statusAfter(options, outcome);
    }
    fmt::print(
        stderr,
        "qzsim: nothing was recorded: the program opened no library of HBAs and no diagnostic library, "
        "or it did so with the rights of another user\n");
    int const status = endLike(outcome);
    return status == good ? nothingRecorded : status;
}

/// Reads a recording, and reports damage.
Recording recordingOf(std::string const& aPath)
{
    Recording recording = Recording::ofFile(aPath);
    if (recording.damaged() != 0)
    {
        fmt::print(stderr, "qzsim: note: {} packets or pieces of {} are damaged\n", recording.damaged(),
                   tomlfile::inQuotes(aPath));
    }
    return recording;
}

/// A check of CLI11, whose check of ranges accepts NaN.
std::string checkSpeed(std::string const& aNumber)
{
    constexpr double lowest = 0.001;
    constexpr double highest = 1e9;
    double const speed = std::strtod(aNumber.c_str(), nullptr);
    bool const isGood = speed == 0 || (speed >= lowest && speed <= highest);
    return isGood ? "" : fmt::format("{} is neither 0 nor a number from 0.001 to 1e9", aNumber);
}

std::string speedText(double aSpeed) { return fmt::format("{}", aSpeed); }

int replay(CLI::App& aParser, int aCount, char** aArguments)
{
    RecordingOptions options;
    aParser.formatter(
        std::make_shared<RecordingHelp>("qzsim replay FILE [OPTIONS] [--] PROGRAM [ARGUMENTS...]"));
    aParser.add_option("FILE", options.mFile, "The recording")->required();
    aParser
        .add_option("--speed", options.mReplay.mSpeed,
                    "Divide the delays of the recording by this number; 0 for no delays")
        ->type_name("NUMBER")
        ->check(checkSpeed);
    aParser.add_flag("--strict", options.mReplay.mIsStrict,
                     "Accept calls only in the order of the recording");
    parse(aParser, options, aCount, aArguments);

    std::error_code error;  // Recording::ofFile() reports it
    fs::file_status const status = fs::status(options.mFile, error);
    if (fs::exists(status) && !fs::is_regular_file(status))
    {
        throw RecordingError(fmt::format(
            "cannot read {}: it is not a regular file, and each process of the program reads the recording",
            tomlfile::inQuotes(options.mFile)));
    }
    Recording recording = recordingOf(options.mFile);
    MemoryFile const counts = Player::countsFor(recording);
    Player const player(std::move(recording), counts.path(), options.mReplay);
    injectRecording(options.library(), {{ringVariable, ""},
                                        {recordingVariable, fs::absolute(options.mFile)},
                                        {countsVariable, counts.path()},
                                        {speedVariable, speedText(options.mReplay.mSpeed)},
                                        {strictVariable, options.mReplay.mIsStrict ? "1" : ""}});
    Outcome const outcome = runProgram(options.mCommand);
    for (std::string const& note : player.notes())
    {
        fmt::print(stderr, "qzsim: note: {}\n", note);
    }
    return statusAfter(options, outcome);
}

/// Reports the libraries that did not load, unless the scenario shows the same.
void reportMissingLibraries(Recording const& aRecording)
{
    std::string const usual =
        fmt::format("{}: cannot open shared object file: No such file or directory", vendorLibraryPath);
    for (auto const& [path, library] : aRecording.libraries())
    {
        if (library.mError && *library.mError != usual)
        {
            fmt::print(stderr, "qzsim: note: the scenario does not have the reason why {} did not load: {}\n",
                       tomlfile::inQuotes(path), tomlfile::escaped(*library.mError));
        }
    }
}

int convert(CLI::App& aParser, int aCount, char** aArguments)
{
    std::string file;
    aParser.formatter(std::make_shared<RecordingHelp>("qzsim convert FILE"));
    aParser.add_option("FILE", file, "The recording")->required();
    aParser.parse(aCount, aArguments);
    Recording const recording = recordingOf(file);
    std::string const scenario = scenarioOf(recording);
    fmt::print("{}", scenario);
    std::fflush(stdout);
    reportMissingLibraries(recording);
    try
    {
        readScenario("scenario", scenario);
    }
    catch (tomlfile::TomlError const& error)
    {
        fmt::print(stderr, "qzsim: note: the scenario must be edited before it can be used: {}\n",
                   error.what());
        return invalidScenario;
    }
    for (std::string const& difference : differencesOf(recording, scenario))
    {
        fmt::print(stderr, "qzsim: note: {}\n", difference);
    }
    return good;
}

struct Command
{
    char const* mName;
    char const* mTitle;
    char const* mDescription;
    int (*mPerform)(CLI::App&, int, char**);
};

constexpr Command commands[] = {
    {"record", "qzsim record",
     "Runs PROGRAM and records its calls of the HBA libraries and the diagnostic library.", record},
    {"replay", "qzsim replay",
     "Runs PROGRAM without these libraries: its calls get the answers of a recording.", replay},
    {"convert", "qzsim convert", "Prints a scenario of what a recording has shown.", convert},
};

Command const* commandNamed(std::string const& aName)
{
    auto const* const found = std::find_if(std::begin(commands), std::end(commands),
                                           [&](Command const& aCommand) { return aCommand.mName == aName; });
    return found == std::end(commands) ? nullptr : found;
}
}  // namespace

bool isRecordingCommand(std::string const& aName) { return commandNamed(aName) != nullptr; }

int performRecordingCommand(int aCount, char** aArguments)
{
    Command const& command = *commandNamed(aArguments[1]);
    CLI::App parser(command.mDescription, command.mTitle);
    return statusOf(parser, [&] { return command.mPerform(parser, aCount - 1, aArguments + 1); });
}
}  // namespace qzsim
