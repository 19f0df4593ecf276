#ifndef BENCH_STATION_FLOOR_H_
#define BENCH_STATION_FLOOR_H_

#include <array>
#include <cstdint>
#include <map>
#include <span>

namespace orvane::bench {

// The minimum work for a station in a dump: find the needed attributes in the bytes, update an
// ordered map once, and compare. It checks bounds, but reads no clock.
class StationFloor {
 public:
  // Handles a datagram of the kernel: messages, one for each station.
  void Take(std::span<const std::uint8_t> datagram);

  // The number of poor stations. Keeps the compiler from optimising the work away.
  std::uint64_t poor() const { return poor_; }

 private:
  struct State {
    std::uint64_t last_seen = 0;
    std::uint8_t metric = 0;
  };

  void TakeStation(std::span<const std::uint8_t> attributes);
  void Decide(std::span<const std::uint8_t> address, std::int8_t signal);

  std::map<std::array<std::uint8_t, 6>, State> stations_;
  std::uint64_t count_ = 0;
  std::uint64_t poor_ = 0;
};

}  // namespace orvane::bench

#endif  // BENCH_STATION_FLOOR_H_
