#include "tests/soak/course.h"

namespace orvane::soak {

void Course::BeginOneOf(const std::vector<Trouble>& troubles) {
  int number = schedule.Random(1, 100);
  for (const Trouble& trouble : troubles) {
    number -= trouble.percent;
    if (number <= 0) return trouble.begin();
  }
}

std::size_t Course::Deeds(const std::string& deed) const {
  const auto found = deeds.find(deed);
  return found == deeds.end() ? 0 : found->second;
}

}  // namespace orvane::soak
