#include "tests/soak/soak.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <thread>
#include <utility>

#include "testbed/temporary_directory.h"
#include "testbed/text.h"

namespace orvane::soak {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

using namespace std::chrono_literals;

// Interval of Pump's steps.
constexpr milliseconds kTurn(10);
constexpr milliseconds kSamplePeriod(1000);
constexpr milliseconds kStationPeriod(500);
// Far longer than the daemon needs after the longest fault.
constexpr seconds kRestPatience(180);
constexpr seconds kLongestRound(60);
constexpr int kRoundsAtLeast = 6;
// The minimum length in minutes for comparing quarters.
constexpr double kShortestJudged = 10;

constexpr char kSteered[] = " Steer Client ";

}  // namespace

Soak::Soak(SoakOptions options)
    : options_(std::move(options)),
      course_(options_.seed),
      hostapd_(course_, options_.seed),
      recorder_(course_),
      flags_(course_),
      air_(options_.seed) {
  std::filesystem::create_directories(options_.directory);
  csv_.open(options_.directory / "soak.csv");
  csv_ << CsvHead();
  log_file_.open(options_.directory / "daemon.log");
}

bool Soak::Run() {
  Begin();
  ScheduleActions();
  const auto length = std::chrono::duration_cast<Span>(
      std::chrono::duration<double, std::ratio<60>>(options_.minutes));
  const Span round = std::min<Span>(kLongestRound, length / kRoundsAtLeast);
  while (IsDaemonThere() && Clock::now() - begin_ < length) {
    PumpFor(round);
    Rest();
  }
  if (IsDaemonThere()) RemoveDirectory();
  if (IsDaemonThere()) End();
  ReadLog();
  return Judge();
}

// --- Begin and end ---

void Soak::Begin() {
  ap_.StartBus();
  flags_.Start();
  ap_.StartRecorder();
  testbed::WriteSalt(testbed::kSalt);
  const platform::FilePath stations = ap_.directory() / "stations";
  testbed::WriteFile(stations, air_.Text());
  poll_count_.emplace(stations);
  testbed::Arguments command = {DAEMON_ON_FAKE_KERNEL_PATH, stations};
  if (options_.valgrind) {
    command.insert(command.begin(),
                   {"valgrind", "--leak-check=full", "--error-exitcode=99",
                    "--log-file=" + (options_.directory / "valgrind.log").native()});
  }
  ap_.set_daemon_command(command);
  std::filesystem::create_directories(testbed::kControlDirectory);
  course_.log.Allow("INFO", "Starting the daemon", 1);
  course_.log.Allow("INFO", " Connection event upload enabled ", 1);
  // The command line sets the intervals, since flags switch steering on before they set its
  // intervals.
  ap_.StartDaemon(
      {fmt::format("--connection_event_upload_period={}", RecorderPeer::kUploadPeriod.count()),
       "--client_steering_interval=2", "--client_steering_poll_interval=1"});
  daemon_pid_ = ap_.daemon().pid();
  hostapd_.Start();
  Rest();
  begin_ = next_sample_ = Clock::now();
  samples_.clear();
  course_.actions.clear();
}

void Soak::ScheduleActions() {
  Schedule& schedule = course_.schedule;
  for (std::size_t index = 0; index < HostapdPeer::kRadios; ++index) {
    schedule.Repeat({3s, 15s}, [this, index] { hostapd_.Trouble(index); });
    schedule.Repeat({10s, 40s}, [this, index] { hostapd_.Burst(index); });
  }
  schedule.Repeat({5s, 25s}, [this] { recorder_.Trouble(); });
  schedule.Repeat({1s, 4s}, [this] { flags_.ChangeAtRandom(); });
  schedule.Repeat({5s, 25s}, [this] { flags_.Trouble(); });
  schedule.Repeat({10s, 50s}, [this] { hostapd_.MoveDirectory(); });
}

// All faults end by themselves, and none starts.
void Soak::Rest() {
  course_.schedule.set_rest(true);
  flags_.ChangeToCalm();
  const bool is_calm = PumpUntil([this] {
    return hostapd_.AreAll(&Radio::is_up) && !recorder_.has_trouble() && !flags_.has_trouble() &&
           !flags_.has_change() && flags_.AreRead();
  });
  if (!is_calm)
    course_.violations.push_back("the faults ended, but the system did not come to rest");
  // Uncertain lines arrive with the next upload, or never.
  PumpFor(2 * RecorderPeer::kUploadPeriod);
  PumpUntil([this] { return course_.ledger.AwaitedCount() == 0 && air_.waiting_count() == 0; });
  course_.ledger.Close();
  if (IsDaemonThere())
    descriptors_at_rest_.push_back(static_cast<std::int64_t>(ap_.DescriptorCount()));
  course_.schedule.set_rest(false);
}

// The daemon receives no more events until it is restarted, but it keeps running.
void Soak::RemoveDirectory() {
  course_.schedule.set_rest(true);
  hostapd_.Stop();
  PumpUntil([this] { return hostapd_.AreAll(&Radio::is_down); });
  std::filesystem::remove_all(testbed::kControlDirectory);
  PumpFor(1s);
  std::filesystem::create_directories(testbed::kControlDirectory);
  hostapd_.Start();
  PumpFor(3s);
  course_.Count("control directory removed and created again, at the end");
}

void Soak::End() {
  ap_.daemon().Signal(SIGTERM);
  const auto status = ap_.daemon().WaitForExit(testbed::kPatience * (options_.valgrind ? 3 : 1));
  end_ = status ? fmt::format("code {}, signal {}", status->code, status->signal) : "still running";
}

bool Soak::IsDaemonThere() { return !ap_.daemon().WaitForExit(milliseconds(0)).has_value(); }

// --- Time ---

void Soak::Pump() {
  hostapd_.Serve();
  ReadLog();
  recorder_.ReadBatches();
  flags_.Serve(hostapd_.AreAll(&Radio::is_taken));
  course_.schedule.RunDue();
  recorder_.DoWhenRecorded();
  MoveStationsIfDue();
  SendLines();
  SampleIfDue();
  std::this_thread::sleep_for(kTurn);
}

void Soak::PumpFor(Span span) {
  const auto end = Clock::now() + span;
  while (Clock::now() < end && IsDaemonThere()) Pump();
}

bool Soak::PumpUntil(const std::function<bool()>& condition) {
  const auto deadline = Clock::now() + kRestPatience;
  while (!condition()) {
    if (Clock::now() >= deadline || !IsDaemonThere()) return false;
    Pump();
  }
  return true;
}

void Soak::SampleIfDue() {
  const auto now = Clock::now();
  if (now < next_sample_) return;
  next_sample_ = now + kSamplePeriod;
  Sample sample = TakeSample(ap_.daemon().pid());
  sample.seconds = std::chrono::duration<double>(now - begin_).count();
  sample.events = static_cast<std::int64_t>(hostapd_.line_count());
  sample.polls = PollCount();
  samples_.push_back(sample);
  csv_ << CsvLine(sample) << std::flush;
}

// --- Lines ---

// No lines are sent while their fate can't be determined.
void Soak::SendLines() {
  if (course_.schedule.is_rest() || recorder_.awaits_records() || flags_.IsSwitching()) return;
  hostapd_.SendLines([this](LineKind kind) {
    if (!flags_.IsRecorded(kind)) return Fate::kDropped;
    return recorder_.is_there() ? Fate::kRecorded : Fate::kUncertain;
  });
}

// --- Stations ---

void Soak::MoveStationsIfDue() {
  const auto now = Clock::now();
  if (now < next_move_) return;
  next_move_ = now + kStationPeriod;
  air_.Move(now, !course_.schedule.is_rest());
  WriteStations();
}

void Soak::WriteStations() { testbed::ReplaceFile(ap_.directory() / "stations", air_.Text()); }

// --- Log ---

void Soak::ReadLog() {
  const std::string_view text = std::string_view(ap_.daemon().err().Text()).substr(log_read_);
  const std::string_view lines = text.substr(0, text.rfind('\n') + 1);
  if (lines.empty()) return;
  log_file_ << lines << std::flush;
  log_read_ += lines.size();
  for (const testbed::LogLine& line : testbed::ParseLog(lines)) OnLogLine(line);
}

void Soak::OnLogLine(const testbed::LogLine& line) {
  flags_.OnLogText(line.text);
  if (line.text.starts_with(kSteered)) {
    std::string_view rest = std::string_view(line.text).substr(sizeof(kSteered) - 1);
    air_.OnSteered(std::string(testbed::TakeWord(&rest)), Clock::now());
    course_.log.Allow("INFO", kSteered, 1);
    hostapd_.OnSteered();
    WriteStations();
  }
  course_.log.Take(line);
}

// --- Verdict ---

Check Soak::JudgeEnd() const {
  return {.name = "one process runs from start to end and exits with status 0",
          .holds = end_ == "code 0, signal 0",
          .finding = fmt::format("process {}, {}", daemon_pid_, end_)};
}

Check Soak::JudgeLines() const {
  const Ledger::Totals& totals = course_.ledger.totals();
  Check check = {
      .name = "the batches contain each line that must be recorded, and no other",
      .holds = course_.ledger.violations().empty() && totals.recorded > 0,
      .finding = fmt::format(
          "{} lines; {} reports, {} of them in {} batches, {} missing; {} switched off; {} "
          "uncertain, {} of them lost",
          hostapd_.line_count(), totals.sent, totals.recorded, totals.batches, totals.missing,
          totals.dropped, totals.uncertain, totals.uncertain_lost)};
  if (!course_.ledger.violations().empty())
    check.finding += "; first: " + course_.ledger.violations().front();
  return check;
}

// Commands may be lost only with a hostapd.
Check Soak::JudgeSteering() const {
  const std::size_t steered = course_.log.Count(kSteered);
  const auto excusable = static_cast<std::int64_t>(course_.log.Count(HostapdPeer::kSendFailed) +
                                                   course_.ActionCount(HostapdPeer::kKilled));
  Check check = {.name = "each guest is steered once, and no other station",
                 .holds = air_.violations().empty() && air_.waiting_count() == 0 &&
                          steered == air_.guest_count() && steered > 0 &&
                          hostapd_.undelivered() >= 0 && hostapd_.undelivered() <= excusable,
                 .finding = fmt::format("{} guests, {} requests, {} of them without a hostapd",
                                        air_.guest_count(), steered, hostapd_.undelivered())};
  if (!air_.violations().empty()) check.finding += "; first: " + air_.violations().front();
  return check;
}

// Two interfaces, at least every two seconds; fewer while steering is off or the daemon is blocked.
Check Soak::JudgePolls() {
  const double seconds = samples_.empty() ? 0 : samples_.back().seconds;
  const std::int64_t polls = PollCount();
  return {.name = "interfaces are polled",
          .holds = static_cast<double>(polls) >= seconds / 3,
          .finding = fmt::format("{} times in {:.0f} s", polls, seconds)};
}

Check Soak::JudgeActions() const {
  Check check = {.name = "there are no other errors",
                 .holds = course_.violations.empty() && !::testing::Test::HasFailure(),
                 .finding = fmt::format("{} errors", course_.violations.size())};
  if (!course_.violations.empty()) check.finding += ", first: " + course_.violations.front();
  check.finding += "; actions:";
  for (const auto& [action, count] : course_.actions)
    check.finding += fmt::format("\n{:11} {}", count, action);
  return check;
}

bool Soak::Judge() {
  std::vector<Check> checks = {JudgeEnd(),         JudgeDescriptors(descriptors_at_rest_),
                               JudgeLines(),       JudgeSteering(),
                               JudgePolls(),       flags_.JudgeReadings(),
                               course_.log.Judge()};
  // Sanitizers and valgrind do not release freed memory and are slow. In a short run a quarter
  // depends on the actions in it.
  if (!testbed::kIsSanitized && !options_.valgrind && options_.minutes >= kShortestJudged) {
    checks.push_back(JudgeMemory(samples_, {}));
    checks.push_back(JudgeCpu(samples_, {}));
  }
  checks.push_back(JudgeActions());
  const std::string text = VerdictText(checks);
  testbed::WriteFile(options_.directory / "verdict.txt", text);
  std::cout << text;
  return std::ranges::all_of(checks, &Check::holds);
}

}  // namespace orvane::soak
