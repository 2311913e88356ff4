#include "tools/qzagent/cli/Report.h"

#include <algorithm>
#include <ctime>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/HostName.h"
#include "tools/qzagent/cli/Printable.h"

namespace qzagent
{
namespace
{
constexpr int formatVersion = 2;
constexpr char const* errorSeverity = "error";
constexpr char const* noteSeverity = "note";
constexpr unsigned int mostEqualLines = 3;

std::string now() { return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::time(nullptr))); }

/// @return the cause as JSON, without what differs between equal calls; null without a cause
nlohmann::ordered_json answerOf(Failure const& aFailure)
{
    nlohmann::ordered_json json;
    if (aFailure.mCause)
    {
        json = jsonOf(*aFailure.mCause);
        json.erase("call");
        json.erase("text");
    }
    return json;
}

/// @return what equal messages of different processes have in common
std::string identityOf(nlohmann::ordered_json aMessage)
{
    if (aMessage.contains("cause"))
    {
        aMessage["cause"].erase("call");
        aMessage["cause"].erase("text");
    }
    return aMessage.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

/// @return the parts of the subject, each followed by a colon
std::string prefixOf(Subject const& aSubject)
{
    std::string text = aSubject.mAdapter ? *aSubject.mAdapter + ": " : "";
    text += aSubject.mPort ? fmt::format("port {}: ", *aSubject.mPort) : "";
    text += aSubject.mRemotePort ? *aSubject.mRemotePort + ": " : "";
    if (aSubject.mLun)
    {
        std::visit([&text](auto const& aLun) { text += fmt::format("LUN {}: ", aLun); }, *aSubject.mLun);
    }
    return text;
}
}  // namespace

std::string documentText(nlohmann::ordered_json const& aDocument)
{
    return aDocument.dump(2, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

Report::~Report()
{
    try
    {
        writeLines(endOfRun());
    }
    catch (std::bad_alloc const&)
    {
        // The failures are in the document.
    }
}

void Report::addFailure(Failure const& aFailure, Subject const& aSubject)
{
    add({errorSeverity, aFailure.mText, aFailure.mCode, aFailure, aSubject}, ExitCode::failed);
}

void Report::addError(ExitCode aCode, std::string const& aText)
{
    add({errorSeverity, aText, static_cast<unsigned int>(aCode), {}, {}}, aCode);
}

void Report::addNote(std::string const& aText, Subject const& aSubject)
{
    add({noteSeverity, aText, static_cast<unsigned int>(ExitCode::success), {}, aSubject}, ExitCode::success);
}

void Report::showNote(std::string const& aText)
{
    write({noteSeverity, aText, static_cast<unsigned int>(ExitCode::success), {}, {}});
}

std::string Report::document(std::string const& aCommand, nlohmann::ordered_json aKeys) const
{
    std::lock_guard const lock(mMutex);
    nlohmann::ordered_json document{{"format_version", formatVersion},
                                    {"tool_version", QZAGENT_VERSION},
                                    {"host", printable(hostName())},
                                    {"generated_at", now()},
                                    {"command", aCommand},
                                    {"exit_status", static_cast<int>(mExitCode.load())},
                                    {"messages", nlohmann::ordered_json::array()}};
    for (nlohmann::ordered_json const& message : mAdopted)
    {
        document["messages"].push_back(message);
    }
    for (Message const& message : mMessages)
    {
        document["messages"].push_back(jsonOf(message));
    }
    for (auto& [name, value] : aKeys.items())
    {
        document[name] = std::move(value);
    }
    return documentText(document);
}

void Report::add(Message const& aMessage, ExitCode aCode)
{
    write(aMessage);
    std::lock_guard const lock(mMutex);
    mMessages.push_back(aMessage);
    mExitCode = std::max(mExitCode.load(), aCode);
}

void Report::learn(nlohmann::ordered_json const& aDocument)
{
    for (nlohmann::ordered_json const& message : aDocument.at("messages"))
    {
        mShown.insert(identityOf(message));
    }
}

void Report::adopt(nlohmann::ordered_json const& aDocument)
{
    for (nlohmann::ordered_json const& message : aDocument.at("messages"))
    {
        if (mShown.insert(identityOf(message)).second)
        {
            mAdopted.push_back(message);
        }
    }
}

void Report::write(Message const& aMessage)
{
    if (!mShown.empty() && mShown.count(identityOf(jsonOf(aMessage))) > 0)
    {
        return;
    }
    std::vector<std::string> lines;
    {
        std::lock_guard const lock(mMutex);
        lines = linesFor(aMessage);
    }
    writeLines(lines);
}

/// @return what is to be written on standard error for the message, and for the run that it ends
std::vector<std::string> Report::linesFor(Message const& aMessage)
{
    if (mRun && isSame(mRun->mLast, aMessage))
    {
        mRun->mLast = aMessage;
        ++mRun->mLength;
        return mRun->mLength > mostEqualLines ? std::vector<std::string>() : std::vector{lineOf(aMessage)};
    }
    std::vector<std::string> lines = endOfRun();
    mRun = aMessage.mFailure ? std::optional(Run{aMessage, 1}) : std::nullopt;
    if (!mHidesNotes || aMessage.mSeverity != noteSeverity)
    {
        lines.push_back(lineOf(aMessage));
    }
    return lines;
}

/// @return the line for the failures of the run that have none of their own
std::vector<std::string> Report::endOfRun() const
{
    if (!mRun || mRun->mLength <= mostEqualLines)
    {
        return {};
    }
    unsigned int const count = mRun->mLength - mostEqualLines;
    std::string const last = lineOf(mRun->mLast);
    return {count == 1 ? last : fmt::format("the same failure {} more times, the last: {}", count, last)};
}

void Report::writeLines(std::vector<std::string> const& aLines)
{
    for (std::string const& line : aLines)
    {
        mErrors.writeLine("qzagent: " + line);
    }
}

/// @return whether both messages are failures, and differ at most in the subject and the number of the call
bool Report::isSame(Message const& aMessage, Message const& aOther)
{
    if (!aMessage.mFailure || !aOther.mFailure)
    {
        return false;
    }
    Failure const& failure = *aMessage.mFailure;
    Failure const& other = *aOther.mFailure;
    return textOf(failure) == textOf(other) && answerOf(failure) == answerOf(other);
}

std::string Report::lineOf(Message const& aMessage)
{
    if (aMessage.mSeverity != errorSeverity)
    {
        return fmt::format("{}: {}", aMessage.mSeverity, aMessage.mText);
    }
    if (!aMessage.mFailure)
    {
        return aMessage.mText;
    }
    std::string line = prefixOf(aMessage.mSubject) + textOf(*aMessage.mFailure);
    if (aMessage.mFailure->mCause)
    {
        line += ": " + aMessage.mFailure->mCause->mText;
    }
    return line;
}

nlohmann::ordered_json Report::jsonOf(Message const& aMessage)
{
    nlohmann::ordered_json json{
        {"severity", aMessage.mSeverity}, {"text", aMessage.mText}, {"code", aMessage.mCode}};
    if (aMessage.mFailure)
    {
        json.update(qzagent::jsonOf(*aMessage.mFailure));
    }
    Subject const& subject = aMessage.mSubject;
    if (subject.mAdapter)
    {
        json["adapter"] = *subject.mAdapter;
    }
    if (subject.mPort)
    {
        json["port"] = *subject.mPort;
    }
    if (subject.mRemotePort)
    {
        json["remote_port"] = *subject.mRemotePort;
    }
    if (subject.mLun)
    {
        std::visit([&json](auto const& aLun) { json["lun"] = aLun; }, *subject.mLun);
    }
    if (subject.mLibrary)
    {
        json["library"] = *subject.mLibrary;
    }
    return json;
}
}  // namespace qzagent
