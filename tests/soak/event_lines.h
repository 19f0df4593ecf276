#ifndef TESTS_SOAK_EVENT_LINES_H_
#define TESTS_SOAK_EVENT_LINES_H_

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace orvane::soak {

// What the daemon does with a line: records a connection event or a probe request, ignores it, or
// logs it as unknown.
enum class LineKind { kConnection, kProbe, kOther, kUnknown };

struct EventLine {
  LineKind kind;
  std::string text;
};

// Lines of hostapd of every kind and with every attribute, in random order.
class EventLines {
 public:
  explicit EventLines(std::uint32_t seed);

  // Returns a line. If the daemon records it, the record contains `serial`.
  EventLine Next(std::uint64_t serial);

 private:
  std::mt19937 random_;
  std::vector<EventLine> lines_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_EVENT_LINES_H_
