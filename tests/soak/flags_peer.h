#ifndef TESTS_SOAK_FLAGS_PEER_H_
#define TESTS_SOAK_FLAGS_PEER_H_

#include <cstddef>
#include <optional>
#include <string_view>

#include "testbed/access_point.h"
#include "tests/soak/course.h"
#include "tests/soak/event_lines.h"
#include "tests/soak/verdict.h"

namespace orvane::soak {

// The flags service of a soak, which is killed, hangs and answers errors, and what it publishes.
// Each change and each start must be read once by the daemon.
class FlagsPeer {
 public:
  // `course` must outlive it.
  explicit FlagsPeer(Course& course);

  // Starts the service with the flags of times of rest.
  void Start();

  // What is to be published as soon as that can be done.
  void ChangeToCalm();
  void ChangeAtRandom();
  bool has_change() const { return next_flags_.has_value(); }

  // Begins a trouble, which ends by itself, unless one or a reading is under way.
  void Trouble();
  bool has_trouble() const { return has_trouble_; }

  // Has a turn. A change of what is recorded waits until all lines sent so far have been taken.
  void Serve(bool are_lines_taken);

  // A line of the daemon's log.
  void OnLogText(std::string_view text);
  bool AreRead() const { return readings_seen_ >= readings_expected_; }

  // Whether the daemon records lines of this kind, which are about a station.
  bool IsRecorded(LineKind kind) const;
  // Whether it is about to change what it records.
  bool IsSwitching() const;

  Check JudgeReadings() const;

 private:
  void Kill();
  void Mislead();
  void Hang();
  void Restart(const testbed::Arguments& options);
  void AllowReading();

  Course& course_;
  testbed::AccessPoint& ap_;
  testbed::FlagMap flags_;                      // as the service has them
  std::optional<testbed::FlagMap> next_flags_;  // to be had
  bool has_trouble_ = false;
  bool is_away_ = false;
  bool is_switching_ = false;  // what is recorded changes with the reading that is awaited
  std::size_t readings_seen_ = 0;
  std::size_t readings_expected_ = 0;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_FLAGS_PEER_H_
