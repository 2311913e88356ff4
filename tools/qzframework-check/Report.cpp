#include "tools/qzframework-check/Report.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace frameworkcheck
{
namespace
{
constexpr char const* names[] = {"ok", "FAILED", "unseen"};  // in the order of Result

char const* nameOf(Result aResult) { return names[static_cast<std::size_t>(aResult)]; }

auto count(std::vector<Checked> const& aChecked, Result aResult)
{
    return std::count_if(aChecked.begin(), aChecked.end(),
                         [&](Checked const& aOne) { return aOne.mFinding.mResult == aResult; });
}

/// @return the text in one line: without line ends at its end, and with '?' for other control characters
std::string inOneLine(std::string aText)
{
    while (!aText.empty() && aText.back() == '\n')
    {
        aText.pop_back();
    }
    std::replace_if(
        aText.begin(), aText.end(),
        [](char aCharacter) { return static_cast<unsigned char>(aCharacter) < ' ' || aCharacter == 0x7f; },
        '?');
    return aText;
}

std::string lineOf(Checked const& aChecked)
{
    std::string const& reason = aChecked.mFinding.mReason;
    std::string line = fmt::format("{:<6}  {:<32}  {}", nameOf(aChecked.mFinding.mResult),
                                   aChecked.mRequirement.mName, aChecked.mRequirement.mStatement);
    return reason.empty() ? line + "\n" : fmt::format("{}: {}\n", line, inOneLine(reason));
}

nlohmann::ordered_json jsonOf(Checked const& aChecked)
{
    nlohmann::ordered_json json{{"name", aChecked.mRequirement.mName},
                                {"statement", aChecked.mRequirement.mStatement},
                                {"result", nameOf(aChecked.mFinding.mResult)}};
    if (!aChecked.mFinding.mReason.empty())
    {
        json["reason"] = aChecked.mFinding.mReason;
    }
    return json;
}
}  // namespace

bool Report::isGood() const { return count(mChecked, Result::unmet) == 0; }

std::string Report::text() const
{
    std::string text = fmt::format("framework: {}\n", mFramework);
    for (Checked const& checked : mChecked)
    {
        text += lineOf(checked);
    }
    return text + fmt::format("{} ok, {} FAILED, {} unseen\n", count(mChecked, Result::met),
                              count(mChecked, Result::unmet), count(mChecked, Result::unseen));
}

std::string Report::json() const
{
    auto list = nlohmann::ordered_json::array();
    for (Checked const& checked : mChecked)
    {
        list.push_back(jsonOf(checked));
    }
    nlohmann::ordered_json const document{{"tool", "qzframework-check"},
                                          {"version", QZFRAMEWORK_CHECK_VERSION},
                                          {"framework", mFramework},
                                          {"requirements", list},
                                          {"exit_status", isGood() ? 0 : 1}};
    // The framework's output is not necessarily valid UTF-8.
    return document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
}  // namespace frameworkcheck
