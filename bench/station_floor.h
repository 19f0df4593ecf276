#ifndef BENCH_STATION_FLOOR_H_
#define BENCH_STATION_FLOOR_H_

#include <array>
#include <cstdint>
#include <map>
#include <span>

namespace orvane::bench {

// The least that a station of a dump asks for: a walk over the bytes to the attributes that are
// wanted, one update of an ordered map, and the comparison that decides. Bounds are checked, the
// clock is not asked.
class StationFloor {
 public:
  // A datagram of the kernel's: messages, one for each station.
  void Take(std::span<const std::uint8_t> datagram);

  // How many stations were poor; keeps the work from being optimised away.
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
