#ifndef TESTS_SOAK_COURSE_H_
#define TESTS_SOAK_COURSE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "testbed/access_point.h"
#include "tests/soak/ledger.h"
#include "tests/soak/log_book.h"
#include "tests/soak/schedule.h"

namespace orvane::soak {

// Shared by the parts of a soak: the access point, the scheduled actions, and the expectations.
struct Course {
  // A kind of fault and its share.
  struct Trouble {
    int percent;
    std::function<void()> begin;
  };

  explicit Course(std::uint32_t seed) : schedule(seed) {}

  void BeginOneOf(const std::vector<Trouble>& troubles);

  // Counts an action.
  void Count(const std::string& action) { ++actions[action]; }
  std::size_t ActionCount(const std::string& action) const;

  testbed::AccessPoint access_point;
  Schedule schedule;
  LogBook log;
  Ledger ledger;
  std::map<std::string, std::size_t> actions;
  std::vector<std::string> violations;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_COURSE_H_
