#ifndef TESTS_SOAK_EVENT_LINES_H_
#define TESTS_SOAK_EVENT_LINES_H_

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace orvane::soak {

// What a line is about: something that batches report, or not.
enum class LineKind { kConnection, kProbe, kOther, kUnknown };

struct EventLine {
  LineKind kind;
  std::string text;
};

// Lines of hostapd's, of every kind and with every attribute, in no particular order.
class EventLines {
 public:
  explicit EventLines(std::uint32_t seed);

  // A line that carries the number where a batch shows it.
  EventLine Next(std::uint64_t serial);

 private:
  std::mt19937 random_;
  std::vector<EventLine> lines_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_EVENT_LINES_H_
