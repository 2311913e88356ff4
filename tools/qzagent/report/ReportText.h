/// @file
/// The data in the page of a report.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qzagent
{
/// The largest report that is read, in bytes.
constexpr std::size_t largestReport = std::size_t{256} << 20U;

/// The element that contains the data of a report.
/// @{
constexpr std::string_view startOfReportData = "<script type=\"application/json\" id=\"report-data\">";
constexpr std::string_view endOfReportData = "</script>";
/// @}

/// @param aHead the first bytes of a file, at least four
/// @return whether a report begins with them
bool isReportStart(std::string_view aHead);

/// In so many bytes, a report has the element that contains its data, and isReport() finds it.
constexpr std::size_t headOfReport = std::size_t{1} << 20U;

/// @param aHead the first headOfReport bytes of a file
/// @return whether the file is a report, and no other HTML
bool isReport(std::string_view aHead);

/// @param aJson JSON in ASCII
/// @return the same JSON without characters that have a meaning in HTML
std::string jsonForPage(std::string const& aJson);

/// @param aPage a report
/// @return the JSON in it
/// @throws DocumentError when it is cut off
std::string_view dataIn(std::string_view aPage);
}  // namespace qzagent
