/// @file
/// Appends the documents of verbs to captures.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "tools/qzagent/cli/CommandLine.h"

namespace qzagent
{
/// Appends the JSON document of a verb to a pcapng file, in a section of its own. Until finish(), the file is not locked,
/// so that other verbs can append to it, and a missing file is not created, so that a verb that is killed leaves none.
/// Failures are reported.
class DocumentRecording
{
public:
    /// Checks that the document can be appended. A cut block at the end of the file is removed.
    /// @param aPath none when there is nothing to do
    DocumentRecording(Setting const& aSetting, std::optional<std::string> const& aPath);

    /// Whether the check succeeded, or there is nothing to do.
    bool isPossible() const { return mIsPossible; }

    /// Appends the document, with all messages so far. Returns when it is on the device.
    /// @param aKeys returns the keys of the document; called only if there is something to do
    void finish(std::function<nlohmann::ordered_json()> const& aKeys);

private:
    void check() const;
    void append(nlohmann::ordered_json aKeys) const;
    void addNote(std::optional<std::string> const& aNote) const;

    Setting const& mSetting;
    std::optional<std::string> const mPath;
    bool mIsPossible = true;
};
}  // namespace qzagent
