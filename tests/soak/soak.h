#ifndef TESTS_SOAK_SOAK_H_
#define TESTS_SOAK_SOAK_H_

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/files.h"
#include "testbed/access_point.h"
#include "tests/soak/air.h"
#include "tests/soak/course.h"
#include "tests/soak/flags_peer.h"
#include "tests/soak/hostapd_peer.h"
#include "tests/soak/open_count.h"
#include "tests/soak/recorder_peer.h"
#include "tests/soak/sample.h"
#include "tests/soak/verdict.h"

namespace orvane::soak {

struct SoakOptions {
  double minutes = 60;
  std::uint32_t seed = 1;
  bool valgrind = false;
  platform::FilePath directory = ".";  // for the results
};

// Runs the daemon for a long time in real time, while everything around it changes. A seed
// determines the actions, but not when exactly they take effect.
//
// Each round of at most a minute ends with rest: all faults are over, and every sent line is
// accounted for.
class Soak {
 public:
  explicit Soak(SoakOptions options);

  // Runs for that time and prints the verdict. Returns whether all checks hold.
  bool Run();

 private:
  using Clock = std::chrono::steady_clock;
  using Span = std::chrono::milliseconds;

  void Begin();
  void ScheduleActions();
  void Rest();
  void RemoveDirectory();
  void End();

  // Run everything once, for `span`, or until a condition is true. PumpUntil returns false if the
  // time is over or the daemon has ended.
  void Pump();
  void PumpFor(Span span);
  bool PumpUntil(const std::function<bool()>& condition);
  bool IsDaemonThere();

  void SendLines();
  void MoveStationsIfDue();
  void WriteStations();
  void ReadLog();
  void OnLogLine(const testbed::LogLine& line);
  void SampleIfDue();
  std::int64_t PollCount() { return poll_count_->Get(); }

  Check JudgeEnd() const;
  Check JudgeLines() const;
  Check JudgeSteering() const;
  Check JudgePolls();
  Check JudgeActions() const;
  bool Judge();

  SoakOptions options_;
  Course course_;
  testbed::AccessPoint& ap_ = course_.access_point;
  HostapdPeer hostapd_;
  RecorderPeer recorder_;
  FlagsPeer flags_;

  Clock::time_point begin_ = Clock::now();
  pid_t daemon_pid_ = -1;

  Air air_;
  Clock::time_point next_move_ = begin_;
  std::optional<OpenCount> poll_count_;

  std::size_t log_read_ = 0;  // bytes read so far
  std::ofstream log_file_;
  std::ofstream csv_;
  std::vector<Sample> samples_;
  Clock::time_point next_sample_ = begin_;
  std::vector<std::int64_t> descriptors_at_rest_;
  std::string end_ = "ended before SIGTERM";
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_SOAK_H_
