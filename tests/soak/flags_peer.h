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

// The flags service of a soak, with its published flags. It is killed, hangs and returns errors.
// The daemon must read each change and each restart once.
class FlagsPeer {
 public:
  // `course` must outlive this object.
  explicit FlagsPeer(Course& course);

  // Starts the service with the flags for rest.
  void Start();

  // Select the next flags, which are published as soon as possible.
  void ChangeToCalm();
  void ChangeAtRandom();
  bool has_change() const { return next_flags_.has_value(); }

  // Starts a fault, which ends by itself, unless a fault or a reading is in progress.
  void Trouble();
  bool has_trouble() const { return has_trouble_; }

  // Runs regularly. A change of what is recorded waits until the daemon has read all sent lines.
  void Serve(bool are_lines_taken);

  // Handles a line of the daemon's log.
  void OnLogText(std::string_view text);
  bool AreRead() const { return readings_seen_ >= readings_expected_; }

  // Returns whether the daemon records station lines of this kind.
  bool IsRecorded(LineKind kind) const;
  // Returns whether what is recorded is about to change.
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
  testbed::FlagMap flags_;                      // published now
  std::optional<testbed::FlagMap> next_flags_;  // to be published
  bool has_trouble_ = false;
  bool is_away_ = false;
  bool is_switching_ = false;  // the awaited reading changes what is recorded
  std::size_t readings_seen_ = 0;
  std::size_t readings_expected_ = 0;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_FLAGS_PEER_H_
