/// @file
/// The comment of a capture's section.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qzagent
{
/// Where and with what a section was recorded. A value that is unknown is absent.
struct SectionComment
{
    std::optional<std::string> mUuid;               ///< identifies the section
    std::optional<std::string> mBootId;             ///< of the host since it was started
    std::optional<std::string> mDiagnosticLibrary;  ///< version
    std::optional<std::string> mDriver;             ///< version
};

/// @return "uuid=U boot_id=B diagnostic_library=L driver=D" without the unknown values. In a value, %, blanks, and
///         characters that are not printable ASCII are written as %XX
std::string formatSectionComment(SectionComment const& aComment);

/// Reads any comment. Words that are not of this form, and unknown keys, are ignored.
SectionComment parseSectionComment(std::string_view aText);
}  // namespace qzagent
