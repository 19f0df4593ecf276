#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/compare.h"
#include "bench/rows.h"
#include "bench/station_floor.h"
#include "bench/steer_under_dump.h"

namespace orvane::bench {
namespace {

// The minimum size of a piece, so that reading the clock does not count.
constexpr std::size_t kStationsPerPiece = 2000;

template <std::size_t count>
Measured MeasureStations() {
  constexpr std::size_t kDumps = std::max<std::size_t>(kStationsPerPiece / count, 1);
  SteerUnderDump steer;
  const std::vector<Datagram> parts = steer.MakeDump(count);
  const Piece ours = [&] {
    return CpuTimeOfWork([&] {
      for (std::size_t i = 0; i < kDumps; ++i) steer.Take(parts);
    });
  };
  StationFloor station_floor;
  Datagram buffer(2 * kPartSize);
  const Piece floor = [&] {
    const std::int64_t time = CpuTimeOfWork([&] {
      for (std::size_t i = 0; i < kDumps; ++i) {
        for (const Datagram& part : parts) {
          std::copy(part.begin(), part.end(), buffer.begin());
          station_floor.Take({buffer.data(), part.size()});
        }
      }
    });
    benchmark::DoNotOptimize(station_floor.poor());
    return time;
  };
  return Compare(ours, floor, static_cast<double>(count * kDumps));
}

template <std::size_t count>
Row StationRow() {
  return {.name = "stations_" + std::to_string(count),
          .what = "a station of a dump of " + std::to_string(count) + ", read and decided",
          .unit = "ns",
          .goal = 1.75,
          .measure = MeasureStations<count>};
}

}  // namespace

std::size_t MemoryOfStations(std::size_t count) {
  SteerUnderDump steer;
  const std::vector<Datagram> parts = steer.MakeDump(count);
  const std::size_t before = mallinfo2().uordblks;
  steer.Take(parts);
  return mallinfo2().uordblks - before;
}

std::vector<Row> StationRows() {
  return {StationRow<1>(), StationRow<100>(), StationRow<10'000>(), StationRow<100'000>()};
}

}  // namespace orvane::bench
