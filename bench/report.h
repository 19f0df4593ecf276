#ifndef BENCH_REPORT_H_
#define BENCH_REPORT_H_

#include <string>
#include <vector>

#include "bench/figure.h"

namespace orvane::bench {

// Return the head of the table, and one line of it, each with its line end.
std::string TableHead();
std::string TableLine(const Result& result);

// Returns all rows with all their values as one JSON object.
std::string Json(const std::vector<Result>& results);

}  // namespace orvane::bench

#endif  // BENCH_REPORT_H_
