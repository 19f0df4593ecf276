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
// Residents stay for good. Their signal changes and they change the interface, but none is to be
// asked to leave: they are heard well, or hardly, or are not authorized, or nothing is known of
// their signal. Guests come where they are heard poorly, and are to be asked exactly once, however
// long that takes; then they go to the other interface, where they are heard well, and soon leave.
class Air {
 public:
  using Clock = std::chrono::steady_clock;

  // What the flags may say, so that all this is true of them.
  static constexpr int kLowestFloor = 26;
  static constexpr int kHighestFloor = 45;
  static constexpr int kHighestHysteresis = 18;

  explicit Air(std::uint32_t seed);

  // Some time passes: residents move, guests leave, and now and then one comes.
  void Move(Clock::time_point now, bool may_come);

  // Somebody was found to be poorly heard, and is asked to leave.
  void OnAsked(const std::string& address, Clock::time_point now);

  // As a stations file.
  std::string Text() const;

  std::size_t guest_count() const { return guest_count_; }
  std::size_t waiting_count() const;
  // What must not be: for people.
  const std::vector<std::string>& mistakes() const { return mistakes_; }

 private:
  struct Resident {
    std::string address;
    const char* mark;
    int lowest;  // of the signal
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
  std::vector<std::string> mistakes_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_AIR_H_
