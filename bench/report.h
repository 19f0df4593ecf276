#ifndef BENCH_REPORT_H_
#define BENCH_REPORT_H_

#include <string>
#include <vector>

#include "bench/figure.h"

namespace orvane::bench {

// The head of the table and a line of it, each with its line end. A line fits the width of a page.
std::string TableHead();
std::string TableLine(const Result& result);

// All rows, with all that is known of them, as one JSON object.
std::string Json(const std::vector<Result>& results);

}  // namespace orvane::bench

#endif  // BENCH_REPORT_H_
