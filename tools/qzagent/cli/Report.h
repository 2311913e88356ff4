/// @file
/// The messages of a run, and the exit code that they cause.
#pragma once

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"

namespace qzagent
{
/// The result of a verb, as JSON and as text.
struct Answer
{
    nlohmann::ordered_json mKeys = nlohmann::ordered_json::object();  ///< the verb's own keys
    std::string mText;
};

/// @return the document as the tool prints it: with its line end, in printable ASCII whatever the texts contain
std::string documentText(nlohmann::ordered_json const& aDocument);

/// What a failure concerns. A part is absent if the failure concerns no such thing, or several.
struct Subject
{
    std::optional<std::string> mAdapter = {};     ///< name of an adapter
    std::optional<unsigned int> mPort = {};       ///< index of a port of the adapter
    std::optional<std::string> mRemotePort = {};  ///< port WWN of a remote port of the adapter
    std::optional<std::variant<unsigned int, std::string>> mLun = {};  ///< LUN of the remote port
    std::optional<std::string> mLibrary = {};  ///< path of an HBA library that is not used
};

/// Collects the messages of a run. Each message is also written to standard error as one line when it is added. Of more
/// than three equal failures in a row, such as those of many boards, the later ones are counted in one line.
/// Thread-safe.
class Report
{
public:
    /// @param aErrors must outlive the report
    /// @param aShown  messages that are not written to standard error again, see learn()
    explicit Report(ErrorStream& aErrors, std::set<std::string> aShown = {})
        : mErrors(aErrors), mShown(std::move(aShown))
    {
    }
    ~Report();
    Report(Report const&) = delete;
    Report& operator=(Report const&) = delete;

    /// Adds the message of an exception.
    void addFailure(Failure const& aFailure, Subject const& aSubject = {});

    /// Adds an error of the tool itself.
    /// @param aCode the exit code that the error causes
    void addError(ExitCode aCode, std::string const& aText);

    /// Adds a note, which leaves the exit code unchanged.
    void addNote(std::string const& aText, Subject const& aSubject = {});

    /// Writes a note that is not part of the document, for what happens again and again.
    void showNote(std::string const& aText);

    /// Notes are no longer written to standard error.
    void hideNotes() { mHidesNotes = true; }

    /// Raises the exit code to that of messages that another process has written to standard error.
    void addOthers(ExitCode aCode) { mExitCode = std::max(mExitCode.load(), aCode); }

    /// Remembers the messages of a document, which another process has written to standard error.
    void learn(nlohmann::ordered_json const& aDocument);

    /// Learns the messages of a document, and repeats those that were not learned before in its own.
    void adopt(nlohmann::ordered_json const& aDocument);

    /// The messages that were learned.
    std::set<std::string> const& shown() const { return mShown; }

    /// The stream to which the messages are written.
    ErrorStream& errors() { return mErrors; }

    /// The highest exit code of the messages so far.
    ExitCode exitCode() const { return mExitCode; }

    /// @return the JSON document of the run with its line end, in printable ASCII whatever the texts contain
    /// @param aCommand the verb
    /// @param aKeys    the verb's own keys
    std::string document(std::string const& aCommand, nlohmann::ordered_json aKeys) const;

private:
    struct Message
    {
        char const* mSeverity;
        std::string mText;
        unsigned int mCode;
        std::optional<Failure> mFailure;
        Subject mSubject;
    };

    void add(Message const& aMessage, ExitCode aCode);
    /// Equal failures in a row.
    struct Run
    {
        Message mLast;
        unsigned int mLength;
    };

    void write(Message const& aMessage);
    std::vector<std::string> linesFor(Message const& aMessage);
    std::vector<std::string> endOfRun() const;
    void writeLines(std::vector<std::string> const& aLines);
    static bool isSame(Message const& aMessage, Message const& aOther);
    static std::string lineOf(Message const& aMessage);
    static nlohmann::ordered_json jsonOf(Message const& aMessage);

    ErrorStream& mErrors;
    std::set<std::string> mShown;
    mutable std::mutex mMutex;  ///< of the messages and of the run
    std::optional<Run> mRun;    ///< none when the last message is not a failure
    std::vector<Message> mMessages;
    std::vector<nlohmann::ordered_json> mAdopted;
    std::atomic<ExitCode> mExitCode = ExitCode::success;
    bool mHidesNotes = false;
};
}  // namespace qzagent
