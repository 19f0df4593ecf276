#ifndef TESTS_SOAK_AIR_H_
#define TESTS_SOAK_AIR_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace orvane::soak {

// The stations of an access point with two interfaces.
//
// Residents never leave. Their signal changes and they change the interface, but none may be
// steered: each has a strong or a very weak signal, is not authorized, or has no average signal.
// Guests arrive with a weak signal and must be steered exactly once, however long that takes. Then
// they move to the other interface, where their signal is strong, and leave soon after.
class Air {
 public:
  using Clock = std::chrono::steady_clock;

  // Limits of the flags under which this holds.
  static constexpr int kLowestFloor = 26;
  static constexpr int kHighestFloor = 45;
  static constexpr int kHighestHysteresis = 18;

  explicit Air(std::uint32_t seed);

  // Moves residents, removes guests, and sometimes adds a guest.
  void Move(Clock::time_point now, bool may_come);

  // The daemon has steered the station.
  void OnSteered(const std::string& address, Clock::time_point now);

  // Returns the contents of a stations file.
  std::string Text() const;

  std::size_t guest_count() const { return guest_count_; }
  std::size_t waiting_count() const;
  // Violations, for people.
  const std::vector<std::string>& violations() const { return violations_; }

 private:
  struct Resident {
    std::string address;
    const char* mark;
    int lowest;  // limits of the signal
    int highest;
    std::size_t interface;
    int signal;
  };
  struct Guest {
    std::size_t interface;
    int signal;
    bool is_asked = false;
    Clock::time_point leaves{};
  };

  int Random(int least, int most);
  void AddResidents(int count, const char* mark, int lowest, int highest);

  std::mt19937 random_;
  std::vector<Resident> residents_;
  std::map<std::string, Guest> guests_;  // by address
  std::size_t guest_count_ = 0;
  std::vector<std::string> violations_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_AIR_H_
