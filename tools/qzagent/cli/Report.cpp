#include "tools/qzagent/cli/Report.h"

#include <algorithm>
#include <ctime>
#include <mutex>
#include <optional>
#include <string>

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
}  // namespace

void Report::addFailure(Failure const& aFailure, std::optional<std::string> const& aAdapter,
                        std::optional<std::string> const& aRemotePort)
{
    add({errorSeverity, aFailure.mText, aFailure.mCode, aFailure, aAdapter, aRemotePort}, ExitCode::failed);
}

void Report::addError(ExitCode aCode, std::string const& aText)
{
    add({errorSeverity, aText, static_cast<unsigned int>(aCode), {}, {}, {}}, aCode);
}

void Report::addNote(std::string const& aText)
{
    add({noteSeverity, aText, static_cast<unsigned int>(ExitCode::success), {}, {}, {}}, ExitCode::success);
}

void Report::showNote(std::string const& aText)
{
    write({noteSeverity, aText, static_cast<unsigned int>(ExitCode::success), {}, {}, {}});
}

std::string Report::document(std::string const& aCommand, nlohmann::ordered_json const& aKeys) const
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
    document.update(aKeys);
    return document.dump(2, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + "\n";
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
    std::string line = textOf(*aMessage.mFailure);
    if (aMessage.mFailure->mCause)
    {
        line += ": " + aMessage.mFailure->mCause->mText;
    }
    for (auto const& subject : {aMessage.mRemotePort, aMessage.mAdapter})
    {
        line = (subject ? *subject + ": " : "") + line;
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
    if (aMessage.mAdapter)
    {
        json["adapter"] = *aMessage.mAdapter;
    }
    if (aMessage.mRemotePort)
    {
        json["remote_port"] = *aMessage.mRemotePort;
    }
    return json;
}
}  // namespace qzagent
