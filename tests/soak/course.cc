#include "tests/soak/course.h"

namespace orvane::soak {

void Course::BeginOneOf(const std::vector<Trouble>& troubles) {
  int number = schedule.Random(1, 100);
  for (const Trouble& trouble : troubles) {
    number -= trouble.percent;
    if (number <= 0) return trouble.begin();
  }
}

std::size_t Course::ActionCount(const std::string& action) const {
  const auto found = actions.find(action);
  return found == actions.end() ? 0 : found->second;
}

}  // namespace orvane::soak
