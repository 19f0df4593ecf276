#ifndef WAVELARKCTL_REPORT_REPORT_PAGE_H_
#define WAVELARKCTL_REPORT_REPORT_PAGE_H_

#include <string_view>

namespace orvane::wavelarkctl {

// The page of a report. The build makes it from the files in report/ and the charting library.
extern const std::string_view kReportPage;

// The data replaces this mark in the page: JSON in which "<" is escaped.
inline constexpr std::string_view kReportDataMark = "@DATA@";

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPORT_REPORT_PAGE_H_
