#ifndef TESTS_SOAK_EVENT_LINES_H_
#define TESTS_SOAK_EVENT_LINES_H_

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace orvane::soak {

// Whether batches report the line, and as what.
enum class LineKind { kConnection, kProbe, kOther, kUnknown };

struct EventLine {
  LineKind kind;
  std::string text;
};

// Lines of hostapd of every kind and with every attribute, in random order.
class EventLines {
 public:
  explicit EventLines(std::uint32_t seed);

  // Returns a line that contains `serial` in a field that batches report.
  EventLine Next(std::uint64_t serial);

 private:
  std::mt19937 random_;
  std::vector<EventLine> lines_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_EVENT_LINES_H_
