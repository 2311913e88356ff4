/// @file
/// The rules of the verb check: what they look for, and their settings.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qzagent
{
enum class Severity
{
    error,
    warning
};

char const* nameOf(Severity aSeverity);

enum class RuleId : std::size_t
{
    linkDown,
    linkFlapping,
    speedBelowSupported,
    speedUnequal,
    singlePath,
    lunMissingOnPath,
    lunNotReported,
    manyLuns,
    errorsRising,
    driverUnequal,
    firmwareUnequal,
    events,
    eventsDropped,
    slowTarget,
    changedSinceBaseline
};

constexpr std::size_t numberOfRules = 15;

/// A number in the settings of a rule. What exceeds it is a finding.
struct Limit
{
    char const* mKey;
    std::uint32_t mDefault;
};

struct Rule
{
    RuleId mId;
    char const* mName;  ///< stable: programs know it
    Severity mSeverity;
    std::optional<Limit> mLimit;
    char const* mMeaning;  ///< what the rule finds, one line
    char const* mWhy;      ///< why it matters, one line
    char const* mNext;     ///< what to look at next, one line
};

/// In the order of RuleId.
extern std::array<Rule, numberOfRules> const rules;

Rule const& ruleOf(RuleId aId);

/// @return null for an unknown name
Rule const* ruleNamed(std::string_view aName);

struct RuleSetting
{
    bool mIsEnabled;
    Severity mSeverity;
    std::uint32_t mLimit;  ///< 0 for a rule without a limit
};

/// The settings of all rules.
class RuleSettings
{
public:
    /// The defaults.
    RuleSettings();

    RuleSetting& operator[](RuleId aId) { return mSettings[static_cast<std::size_t>(aId)]; }
    RuleSetting const& operator[](RuleId aId) const { return mSettings[static_cast<std::size_t>(aId)]; }

    /// Categories of the events that are findings; no events are watched while it is empty.
    std::vector<std::uint8_t> mCategories;

    /// @return the settings as a file that readRules() accepts
    std::string text() const;

private:
    std::array<RuleSetting, numberOfRules> mSettings;
};
}  // namespace qzagent
