#ifndef TESTS_SOAK_LEDGER_H_
#define TESTS_SOAK_LEDGER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "event.pb.h"

namespace orvane::soak {

// What must happen to a line about a station.
enum class Fate {
  kRecorded,   // must be in a batch
  kUncertain,  // may be lost with a peer that ends
  kDropped,    // switched off: must not be in a batch
};

// Compares the batches with the lines that were sent. Each line contains its serial number as a
// value; the numbers of an interface increase.
class Ledger {
 public:
  struct Totals {
    std::size_t sent = 0;
    std::size_t recorded = 0;  // of all fates
    std::size_t missing = 0;
    std::size_t uncertain = 0;       // uncertain lines in total
    std::size_t uncertain_lost = 0;  // uncertain lines that were not recorded
    std::size_t dropped = 0;
    std::size_t batches = 0;
  };

  void Sent(std::size_t interface, std::uint64_t serial, Fate fate);

  // Lines that must still be recorded become uncertain: those of the interface after `serial`, or
  // all.
  void DoubtAfter(std::size_t interface, std::uint64_t serial);
  void DoubtAll();

  // A batch has arrived. Interfaces are numbered from 0.
  void Received(std::size_t interface, const access_infrastructure::proto::Event& batch);

  // The number of lines that must still be recorded.
  std::size_t AwaitedCount() const;

  // No further batches of earlier lines can arrive.
  void Close();

  const Totals& totals() const { return totals_; }
  // Violations, for people.
  const std::vector<std::string>& violations() const { return violations_; }

 private:
  struct Line {
    std::size_t interface;
    Fate fate;
  };

  void Doubt(const std::function<bool(std::uint64_t serial, const Line& line)>& is_meant);
  void Take(std::size_t interface, std::uint64_t serial, std::uint64_t* last_serial);

  static constexpr std::size_t kInterfaces = 2;

  std::map<std::uint64_t, Line> open_;  // by serial number
  // A batch keeps the two kinds of reports separate, each in order.
  std::array<std::uint64_t, kInterfaces> last_event_{};
  std::array<std::uint64_t, kInterfaces> last_probe_{};
  Totals totals_;
  std::vector<std::string> violations_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_LEDGER_H_
