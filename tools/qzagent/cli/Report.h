/// @file
/// What a run has to say beside its result: its messages and the exit code they lead to.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"

namespace qzagent
{
/// What a verb found, in the two forms in which it can be shown.
struct Answer
{
    nlohmann::ordered_json mKeys = nlohmann::ordered_json::object();  ///< the verb's own keys
    std::string mText;
};

/// Collects the messages of one run. Each is also written to standard error, as one line, when it is added.
class Report
{
public:
    /// @param aErrors must live as long as the report
    explicit Report(ErrorStream& aErrors) : mErrors(aErrors) {}

    /// An exception was caught.
    /// @param aAdapter    name of the adapter that it concerns, if any
    /// @param aRemotePort name of the adapter's remote port that it concerns, if any
    void addFailure(Failure const& aFailure, std::optional<std::string> const& aAdapter = {},
                    std::optional<std::string> const& aRemotePort = {});

    /// The tool itself has to complain.
    /// @param aCode the exit code that this leads to
    void addError(ExitCode aCode, std::string const& aText);

    void addNote(std::string const& aText);

    /// Where the messages are written to.
    ErrorStream& errors() { return mErrors; }

    /// The gravest code of all messages so far.
    ExitCode exitCode() const { return mExitCode; }

    /// The JSON document of the run, with its line end: printable ASCII throughout, whatever the texts.
    /// @param aCommand the verb
    /// @param aKeys    the verb's own keys
    std::string document(std::string const& aCommand, nlohmann::ordered_json const& aKeys) const;

private:
    struct Message
    {
        char const* mSeverity;
        std::string mText;
        unsigned int mCode;
        std::optional<std::string> mException;
        std::optional<std::string> mAdapter;
        std::optional<std::string> mRemotePort;
    };

    void add(Message const& aMessage, ExitCode aCode);
    static std::string lineOf(Message const& aMessage);
    static nlohmann::ordered_json jsonOf(Message const& aMessage);

    ErrorStream& mErrors;
    std::vector<Message> mMessages;
    ExitCode mExitCode = ExitCode::allWell;
};
}  // namespace qzagent
