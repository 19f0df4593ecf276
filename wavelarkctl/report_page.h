#ifndef WAVELARKCTL_REPORT_PAGE_H_
#define WAVELARKCTL_REPORT_PAGE_H_

#include <string_view>

namespace orvane::wavelarkctl {

// The page of a report, from the files in report/ and the charting library. The build makes it.
extern const std::string_view kReportPage;

// Where in the page its data belongs, as JSON in which "<" is escaped.
inline constexpr std::string_view kReportDataMark = "@DATA@";

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPORT_PAGE_H_
