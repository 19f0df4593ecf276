#ifndef TESTS_SOAK_SOAK_H_
#define TESTS_SOAK_SOAK_H_

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "testbed/access_point.h"
#include "tests/soak/air.h"
#include "tests/soak/event_lines.h"
#include "tests/soak/ledger.h"
#include "tests/soak/log_book.h"
#include "tests/soak/open_count.h"
#include "tests/soak/radio.h"
#include "tests/soak/sample.h"
#include "tests/soak/schedule.h"
#include "tests/soak/verdict.h"

namespace orvane::soak {

struct SoakOptions {
  double minutes = 60;
  std::uint32_t seed = 1;
  bool valgrind = false;
  platform::FilePath directory = ".";  // for what comes out
};

// The daemon for a long time in real time, with everything around it moving at once. What is done
// comes from a seed; when exactly it takes effect does not.
//
// Rounds of a minute at most end with rest: all trouble is over, and each line that was sent is
// accounted for.
class Soak : public ap::AccessPoint {
 public:
  explicit Soak(SoakOptions options);

 private:
  using Clock = std::chrono::steady_clock;
  using Span = std::chrono::milliseconds;

  // One of several kinds of trouble, and how often it is that one.
  struct Trouble {
    int percent;
    std::function<void()> begin;
  };

  void TestBody() override;
  void Begin();
  void ScheduleDeeds();
  void Rest();
  void RemoveDirectory();
  void End();

  // Everything goes on, once, for so long, or until something is true. False when it isn't in time,
  // or the daemon has gone.
  void Pump();
  void PumpFor(Span span);
  bool PumpUntil(const std::function<bool()>& condition);
  bool IsDaemonThere();

  void BeginOneOf(const std::vector<Trouble>& troubles);
  // A deed that has been done.
  void Count(const std::string& deed) { ++deeds_[deed]; }

  // hostapd.
  void TroubleRadio(std::size_t index);
  void KillRadio(std::size_t index);
  void StopRadio(Radio& radio);
  void SilenceRadio(Radio& radio);
  void StartRadio(Radio& radio);
  void StartRadioLater(Radio& radio);
  void MoveDirectory();
  bool AllRadios(bool (Radio::*is_so)() const) const;
  void OnCommand(const Radio& radio, std::string_view command);
  void SendLines(std::size_t index);
  void SendLine(std::size_t index);
  Fate FateOf(LineKind kind) const;

  // Recorder.
  void TroubleRecorder();
  void KillRecorder();
  void KillRecorderNow();
  void WhenRecorded(std::function<void()> deed);
  void DoWhenRecorded();
  void MisleadRecorder(const Arguments& options);
  void HangRecorder(const std::string& deed, Schedule::Range range);
  void OutwaitRecorder();
  void RestartRecorder(const Arguments& options);
  void AllowFailedUploads(Span span);
  void ReadBatches();

  // Flags.
  void ChangeFlags(const FlagMap& flags) { next_flags_ = flags; }
  FlagMap RandomFlags();
  void TroubleFlags();
  void KillFlags();
  void MisleadFlags();
  void HangFlags();
  void RestartFlags(const Arguments& options);
  void ServeFlags();
  void AllowReading();
  bool AreFlagsRead() const { return readings_seen_ >= readings_expected_; }
  bool MayLinesBeMisjudged() const;

  // Stations.
  void MoveStationsIfDue();
  void WriteStations();

  void ReadLog();
  void OnLogLine(const ap::LogLine& line);
  void SampleIfDue();
  std::int64_t PollCount() { return poll_count_->Get(); }

  Check JudgeEnd() const;
  Check JudgeLines() const;
  Check JudgeSteering() const;
  Check JudgePolls();
  Check JudgeReadings() const;
  Check JudgeDeeds() const;
  std::size_t Deeds(const std::string& deed) const;
  void Judge();

  SoakOptions options_;
  Clock::time_point begin_ = Clock::now();
  pid_t daemon_pid_ = -1;
  Schedule schedule_;
  std::map<std::string, std::size_t> deeds_;

  std::array<Radio, 2> radios_ = {Radio(ap::kWlan2400), Radio(ap::kWlan5000)};
  std::array<int, 2> bursts_{};  // lines yet to be sent
  EventLines lines_;
  std::uint64_t last_number_ = 0;  // of the lines
  std::int64_t undelivered_ = 0;   // requests to leave that hostapd hasn't got so far

  Ledger ledger_;
  std::size_t batch_count_ = 0;
  bool has_recorder_trouble_ = false;
  bool has_recorder_ = true;
  std::function<void()> when_recorded_;  // a deed that waits for all lines sent so far

  FlagMap flags_;                      // as the service has them
  std::optional<FlagMap> next_flags_;  // to be had
  bool has_flags_trouble_ = false;
  bool is_flags_service_away_ = false;
  bool is_switching_ = false;  // what is recorded changes with the reading that is awaited
  std::size_t readings_seen_ = 0;
  std::size_t readings_expected_ = 0;

  Air air_;
  Clock::time_point next_move_ = begin_;
  std::optional<OpenCount> poll_count_;

  std::size_t log_read_ = 0;  // bytes
  LogBook log_;
  std::ofstream log_file_;
  std::ofstream csv_;
  std::vector<Sample> samples_;
  Clock::time_point next_sample_ = begin_;
  std::vector<std::int64_t> descriptors_at_rest_;
  std::vector<std::string> mistakes_;
  std::string end_ = "it has gone before it was told to";
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_SOAK_H_
