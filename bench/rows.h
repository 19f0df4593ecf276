#ifndef BENCH_ROWS_H_
#define BENCH_ROWS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "bench/figure.h"

namespace orvane::bench {

// The rows of the table by topic. docs/performance.md explains each of them.
std::vector<Row> EventRows();
std::vector<Row> StationRows();
std::vector<Row> BatchRows();
std::vector<Row> ProcessRows();
std::vector<Row> ToolRows();
std::vector<Row> BridgeRows();
std::vector<Row> ServiceRows();
// Rows from the output of the virtual machine's scenario `polls` in that file.
std::vector<Row> PollRows(const std::string& samples_file);

// Returns the memory in bytes that the steering service uses for `count` stations.
std::size_t MemoryOfStations(std::size_t count);

}  // namespace orvane::bench

#endif  // BENCH_ROWS_H_
