#ifndef BENCH_ROWS_H_
#define BENCH_ROWS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "bench/figure.h"

namespace orvane::bench {

// The rows of the table by what they look at. docs/performance.md explains each.
std::vector<Row> EventRows();
std::vector<Row> StationRows();
std::vector<Row> BatchRows();
std::vector<Row> ProcessRows();
// From what the scenario `polls` of the virtual machine has printed into that file.
std::vector<Row> PollRows(const std::string& samples_file);

// Bytes of memory that the steering service takes to remember so many stations.
std::size_t MemoryOfStations(std::size_t count);

}  // namespace orvane::bench

#endif  // BENCH_ROWS_H_
