#ifndef WAVELARKCTL_REPORT_REPORT_DATA_H_
#define WAVELARKCTL_REPORT_REPORT_DATA_H_

#include <array>
#include <nlohmann/json.hpp>

#include "wavelarkctl/report/report_events.h"
#include "wavelarkctl/report/report_levels.h"

namespace orvane::wavelarkctl {

// The data of the page; docs/wavelarkctl.md describes the members. Goals are in percent, in the
// order of the levels.
nlohmann::json ReportData(const ReportEvents& report, const std::array<double, kLevels>& goals);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPORT_REPORT_DATA_H_
