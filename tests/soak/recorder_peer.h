#ifndef TESTS_SOAK_RECORDER_PEER_H_
#define TESTS_SOAK_RECORDER_PEER_H_

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>

#include "testbed/access_point.h"
#include "tests/soak/course.h"

namespace orvane::soak {

// The metrics recorder of a soak. It is killed, hangs and returns errors. The ledger gets its
// batches.
class RecorderPeer {
 public:
  static constexpr std::chrono::seconds kUploadPeriod{2};

  // `course` must outlive this object.
  explicit RecorderPeer(Course& course) : course_(course), ap_(course.access_point) {}

  // Starts a fault, which ends by itself, unless one is in progress.
  void Trouble();
  bool has_trouble() const { return has_trouble_; }
  // False while it is killed: lines sent during that time are uncertain.
  bool is_there() const { return is_there_; }

  // A fault is waiting until all sent lines are recorded. Send no others until then.
  bool awaits_records() const { return when_recorded_ != nullptr; }

  // Runs regularly: reads new batches, and starts a fault that was waiting for them.
  void ReadBatches();
  void DoWhenRecorded();

 private:
  void Kill();
  void KillNow();
  void WhenRecorded(std::function<void()> action) { when_recorded_ = std::move(action); }
  void Mislead(const testbed::Arguments& options);
  void Hang(const std::string& action, Schedule::Range range);
  void Outwait();
  void Restart(const testbed::Arguments& options);
  void AllowFailedUploads(Schedule::Span span);

  Course& course_;
  testbed::AccessPoint& ap_;
  std::size_t batch_count_ = 0;
  bool has_trouble_ = false;
  bool is_there_ = true;
  std::function<void()> when_recorded_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_RECORDER_PEER_H_
