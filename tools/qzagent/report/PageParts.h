/// @file
/// The fixed parts of the page of a report, which the build takes from files.
#pragma once

#include <string_view>

namespace qzagent
{
extern std::string_view const pageTemplate;  ///< tools/qzagent/report/page/report.html
extern std::string_view const pageStyle;     ///< tools/qzagent/report/page/report.css
extern std::string_view const pageScript;    ///< tools/qzagent/report/page/report.js
extern std::string_view const chartLibrary;  ///< third_party/uplot
extern std::string_view const chartStyle;    ///< third_party/uplot
extern std::string_view const chartLicence;  ///< third_party/uplot
}  // namespace qzagent
