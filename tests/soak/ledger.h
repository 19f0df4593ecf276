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

// What is to become of a line that reports something of a station.
enum class Fate {
  kRecorded,   // it must be in a batch
  kUncertain,  // the batch, or the line itself, may get lost with a peer that goes
  kDropped,    // what it is about is switched off, so it must not be in a batch
};

// Holds the batches against the lines that were sent. A line is known by its serial number, which
// it carries as a value; those of an interface increase.
class Ledger {
 public:
  struct Totals {
    std::size_t sent = 0;
    std::size_t recorded = 0;  // of all fates
    std::size_t missing = 0;
    std::size_t uncertain = 0;       // of them some are recorded,
    std::size_t uncertain_lost = 0;  // and these are not
    std::size_t dropped = 0;
    std::size_t batches = 0;
  };

  void Sent(std::size_t interface, std::uint64_t serial, Fate fate);

  // Lines that must be recorded and haven't been so far, those of the interface after the given
  // one, or all, become uncertain.
  void DoubtAfter(std::size_t interface, std::uint64_t serial);
  void DoubtAll();

  // A batch has come. Its interface is told by number, from 0.
  void Received(std::size_t interface, const access_infrastructure::proto::Event& batch);

  // How many lines must be recorded and haven't been so far.
  std::size_t AwaitedCount() const;

  // Nothing more can come of what was sent so far.
  void Close();

  const Totals& totals() const { return totals_; }
  // What must not be: for people.
  const std::vector<std::string>& mistakes() const { return mistakes_; }

 private:
  struct Line {
    std::size_t interface;
    Fate fate;
  };

  void Doubt(const std::function<bool(std::uint64_t serial, const Line& line)>& is_meant);
  void Take(std::size_t interface, std::uint64_t serial, std::uint64_t* last_serial);

  static constexpr std::size_t kInterfaces = 2;

  std::map<std::uint64_t, Line> open_;  // by serial number
  // In a batch the two kinds of reports are apart, each in order.
  std::array<std::uint64_t, kInterfaces> last_event_{};
  std::array<std::uint64_t, kInterfaces> last_probe_{};
  Totals totals_;
  std::vector<std::string> mistakes_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_LEDGER_H_
