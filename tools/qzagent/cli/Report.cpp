#include "tools/qzagent/cli/Report.h"

#include <algorithm>
#include <ctime>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>

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

std::string now() { return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::time(nullptr))); }

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

void Report::addFailure(Failure const& aFailure, Subject const& aSubject)
{
    add({errorSeverity, aFailure.mText, aFailure.mCode, aFailure, aSubject}, ExitCode::failed);
}

void Report::addError(ExitCode aCode, std::string const& aText)
{
    add({errorSeverity, aText, static_cast<unsigned int>(aCode), {}, {}}, aCode);
}

void Report::addNote(std::string const& aText)
{
    add({noteSeverity, aText, static_cast<unsigned int>(ExitCode::success), {}, {}}, ExitCode::success);
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

void Report::write(Message const& aMessage)
{
    if (!mHidesNotes || aMessage.mSeverity != noteSeverity)
    {
        mErrors.writeLine("qzagent: " + lineOf(aMessage));
    }
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
    return json;
}
}  // namespace qzagent
