#ifndef TESTS_SOAK_LOG_BOOK_H_
#define TESTS_SOAK_LOG_BOOK_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "testbed/daemon_log.h"
#include "tests/soak/verdict.h"

namespace orvane::soak {

// Compares the daemon's log with the actions: each action allows the lines that it may cause.
class LogBook {
 public:
  // Allows `count` more lines of this severity whose text begins with `beginning`.
  void Allow(const std::string& severity, const std::string& beginning, std::size_t count);

  void Take(const testbed::LogLine& line);

  // Returns the number of lines for an allowed beginning.
  std::size_t Count(const std::string& beginning) const;

  // Checks that there are only allowed lines.
  Check Judge() const;

 private:
  struct Entry {
    std::string severity;
    std::size_t allowed = 0;
    std::size_t seen = 0;
  };

  std::map<std::string, Entry> entries_;  // by the beginning of the text
  std::vector<std::string> unexpected_;
  std::size_t lines_ = 0;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_LOG_BOOK_H_
