#include "tools/qzagent/cli/Report.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Printable.h"

namespace qzagent
{
namespace
{
constexpr int formatVersion = 1;
constexpr char const* errorSeverity = "error";
constexpr char const* noteSeverity = "note";

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

void Report::addFailure(Failure const& aFailure, Subject const& aSubject)
{
    add({errorSeverity, aFailure.mText, aFailure.mCode, aFailure.mException, aSubject}, ExitCode::failed);
}

void Report::addError(ExitCode aCode, std::string const& aText)
{
    add({errorSeverity, aText, static_cast<unsigned int>(aCode), {}, {}}, aCode);
}

void Report::addNote(std::string const& aText)
{
    add({noteSeverity, aText, static_cast<unsigned int>(ExitCode::success), {}, {}}, ExitCode::success);
}

std::string Report::document(std::string const& aCommand, nlohmann::ordered_json aKeys) const
{
    nlohmann::ordered_json document{{"format_version", formatVersion},
                                    {"command", aCommand},
                                    {"exit_status", static_cast<int>(mExitCode)},
                                    {"messages", nlohmann::ordered_json::array()}};
    for (Message const& message : mMessages)
    {
        document["messages"].push_back(jsonOf(message));
    }
    for (auto& [name, value] : aKeys.items())
    {
        document[name] = std::move(value);
    }
    return document.dump(2, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void Report::add(Message const& aMessage, ExitCode aCode)
{
    mErrors.writeLine("qzagent: " + printable(lineOf(aMessage)) + "\n");
    mMessages.push_back(aMessage);
    mExitCode = std::max(mExitCode, aCode);
}

std::string Report::lineOf(Message const& aMessage)
{
    if (aMessage.mSeverity != errorSeverity)
    {
        return fmt::format("{}: {}", aMessage.mSeverity, aMessage.mText);
    }
    if (!aMessage.mException)
    {
        return aMessage.mText;
    }
    Failure const failure{*aMessage.mException, aMessage.mText, aMessage.mCode};
    return prefixOf(aMessage.mSubject) + textOf(failure);
}

nlohmann::ordered_json Report::jsonOf(Message const& aMessage)
{
    nlohmann::ordered_json json{
        {"severity", aMessage.mSeverity}, {"text", aMessage.mText}, {"code", aMessage.mCode}};
    if (aMessage.mException)
    {
        json["exception"] = *aMessage.mException;
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
