#ifndef TESTS_SOAK_SCHEDULE_H_
#define TESTS_SOAK_SCHEDULE_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <random>

namespace orvane::soak {

// Random actions and their times, derived from a seed.
class Schedule {
 public:
  using Clock = std::chrono::steady_clock;
  using Span = std::chrono::milliseconds;

  struct Range {
    Span least;
    Span most;
  };

  explicit Schedule(std::uint32_t seed) : random_(seed) {}

  int Random(int least, int most);
  bool Chance(int percent) { return Random(1, 100) <= percent; }

  void After(Range range, std::function<void()> action);

  // Repeats an action, each time after a random pause. During rest the action is skipped.
  void Repeat(Range pause, std::function<void()> action);
  void set_rest(bool is_rest) { is_rest_ = is_rest; }
  bool is_rest() const { return is_rest_; }

  void RunDue();

 private:
  std::mt19937 random_;
  std::multimap<Clock::time_point, std::function<void()>> actions_;
  bool is_rest_ = false;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_SCHEDULE_H_
