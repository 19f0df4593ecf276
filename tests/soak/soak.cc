#include "tests/soak/soak.h"

#include <fmt/format.h>
#include <signal.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <thread>
#include <utility>

#include "testbed/temporary_directory.h"
#include "testbed/text.h"

namespace orvane::soak {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

using namespace std::chrono_literals;

// How often everybody has a turn.
constexpr milliseconds kTurn(10);
constexpr milliseconds kSamplePeriod(1000);
constexpr milliseconds kStationPeriod(500);
// Far more than the daemon takes to come back from the longest trouble.
constexpr seconds kRestPatience(180);
constexpr seconds kLongestRound(60);
constexpr int kRoundsAtLeast = 6;
// Minutes from which on the quarters of the time are alike.
constexpr double kShortestJudged = 10;

constexpr seconds kUploadPeriod(2);
// As hostapd's peers have it: a send waits when some ten lines have not been taken.
constexpr int kLinesPerTurn = 8;
constexpr int kBurst = 1000;

constexpr char kEventSwitch[] = "connectionEventsUpload";
constexpr char kProbeSwitch[] = "connectionEventsProbeReqUpload";
constexpr char kUploader[] = "connectionEvents";
constexpr char kSteering[] = "clientSteering";

constexpr char kKilled[] = "hostapd killed and started";

constexpr char kReading[] = "Set connection_event_upload to ";
constexpr char kSteered[] = " Steer Client ";
constexpr char kUnknown[] = "Received unknown event: SOAK-UNKNOWN";
constexpr char kSendFailed[] = "Send to hostapd failed: ";
constexpr char kUploadFailed[] = "Error recording offline data: ";
constexpr char kReadFailed[] = "Failed to read the properties ";

std::string OnOrOff(bool is_on) { return is_on ? "enabled" : "disabled"; }

const lab::FlagMap kCalmFlags = {{kUploader, "enabled"},
                                 {kEventSwitch, "1"},
                                 {kProbeSwitch, "1"},
                                 {kSteering, "enabled"},
                                 {"clientSteeringInterval", "2"},
                                 {"clientSteeringPollInterval", "1"},
                                 {"clientSteeringRootLqmFloor", "30"},
                                 {"clientSteeringLqmHysteresis", "15"}};

// The flags that decide what is recorded.
bool RecordAlike(const lab::FlagMap& a, const lab::FlagMap& b) {
  return std::ranges::all_of(std::array{kUploader, kEventSwitch, kProbeSwitch},
                             [&](const char* key) { return a.at(key) == b.at(key); });
}

}  // namespace

Soak::Soak(SoakOptions options)
    : options_(std::move(options)),
      schedule_(options_.seed),
      lines_(options_.seed),
      flags_(kCalmFlags),
      air_(options_.seed) {
  std::filesystem::create_directories(options_.directory);
  csv_.open(options_.directory / "soak.csv");
  csv_ << CsvHead();
  log_file_.open(options_.directory / "daemon.log");
}

void Soak::TestBody() {
  Begin();
  ScheduleDeeds();
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
  Judge();
}

// --- Begin and end ---

void Soak::Begin() {
  StartBus();
  StartFlags(flags_);
  StartRecorder();
  WriteSalt(ap::kSalt);
  const platform::FilePath stations = directory() / "stations";
  lab::WriteFile(stations, air_.Text());
  poll_count_.emplace(stations);
  Arguments command = {DAEMON_ON_FAKE_KERNEL_PATH, stations};
  if (options_.valgrind) {
    command.insert(command.begin(),
                   {"valgrind", "--leak-check=full", "--error-exitcode=99",
                    "--log-file=" + (options_.directory / "valgrind.log").native()});
  }
  set_daemon_command(command);
  std::filesystem::create_directories(ap::kControlDirectory);
  log_.Allow("INFO", "Starting the daemon", 1);
  log_.Allow("INFO", " Connection event upload enabled ", 1);
  AllowReading();
  // Steering is switched on before it is told its intervals: those of the flags come after it.
  StartDaemon({fmt::format("--connection_event_upload_period={}", kUploadPeriod.count()),
               "--client_steering_interval=2", "--client_steering_poll_interval=1"});
  daemon_pid_ = daemon().pid();
  for (Radio& radio : radios_) StartRadio(radio);
  Rest();
  begin_ = next_sample_ = Clock::now();
  samples_.clear();
  deeds_.clear();
}

void Soak::ScheduleDeeds() {
  for (std::size_t index = 0; index < radios_.size(); ++index) {
    schedule_.Repeat({3s, 15s}, [this, index] { TroubleRadio(index); });
    schedule_.Repeat({10s, 40s}, [this, index] {
      bursts_[index] = kBurst;
      Count("bursts of events");
    });
  }
  schedule_.Repeat({5s, 25s}, [this] { TroubleRecorder(); });
  schedule_.Repeat({1s, 4s}, [this] { ChangeFlags(RandomFlags()); });
  schedule_.Repeat({5s, 25s}, [this] { TroubleFlags(); });
  schedule_.Repeat({10s, 50s}, [this] { MoveDirectory(); });
}

// All trouble ends by itself; none begins.
void Soak::Rest() {
  schedule_.set_rest(true);
  ChangeFlags(kCalmFlags);
  const bool is_calm = PumpUntil([this] {
    return AllRadios(&Radio::is_up) && !has_recorder_trouble_ && !has_flags_trouble_ &&
           !next_flags_ && AreFlagsRead();
  });
  if (!is_calm) mistakes_.push_back("no rest after all trouble is over");
  // What is uncertain comes by the next upload, if at all.
  PumpFor(2 * kUploadPeriod);
  PumpUntil([this] { return ledger_.AwaitedCount() == 0 && air_.waiting_count() == 0; });
  ledger_.Close();
  if (IsDaemonThere()) descriptors_at_rest_.push_back(static_cast<std::int64_t>(DescriptorCount()));
  schedule_.set_rest(false);
}

// Which makes it deaf: it has to be started again then. It runs on nevertheless.
void Soak::RemoveDirectory() {
  schedule_.set_rest(true);
  for (Radio& radio : radios_) radio.Stop([] {});
  PumpUntil([this] { return AllRadios(&Radio::is_down); });
  std::filesystem::remove_all(ap::kControlDirectory);
  PumpFor(1s);
  std::filesystem::create_directories(ap::kControlDirectory);
  for (Radio& radio : radios_) StartRadio(radio);
  PumpFor(3s);
  Count("control directory removed and made again, at the end");
}

void Soak::End() {
  daemon().Signal(SIGTERM);
  const auto status = daemon().WaitForExit(ap::kPatience * (options_.valgrind ? 3 : 1));
  end_ = status ? fmt::format("code {}, signal {}", status->code, status->signal) : "it stays";
}

bool Soak::IsDaemonThere() { return !daemon().WaitForExit(Milliseconds(0)).has_value(); }

// --- Time ---

void Soak::Pump() {
  for (Radio& radio : radios_) {
    radio.Serve([&](std::string_view command) { OnCommand(radio, command); });
  }
  ReadLog();
  ReadBatches();
  ServeFlags();
  schedule_.RunDue();
  DoWhenRecorded();
  MoveStationsIfDue();
  for (std::size_t index = 0; index < radios_.size(); ++index) SendLines(index);
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

void Soak::BeginOneOf(const std::vector<Trouble>& troubles) {
  int number = schedule_.Random(1, 100);
  for (const Trouble& trouble : troubles) {
    number -= trouble.percent;
    if (number <= 0) return trouble.begin();
  }
}

void Soak::SampleIfDue() {
  const auto now = Clock::now();
  if (now < next_sample_) return;
  next_sample_ = now + kSamplePeriod;
  Sample sample = TakeSample(daemon().pid());
  sample.seconds = std::chrono::duration<double>(now - begin_).count();
  sample.events = static_cast<std::int64_t>(last_number_);
  sample.polls = PollCount();
  samples_.push_back(sample);
  csv_ << CsvLine(sample) << std::flush;
}

// --- hostapd ---

void Soak::TroubleRadio(std::size_t index) {
  Radio& radio = radios_[index];
  if (!radio.is_up()) return;
  BeginOneOf({{34, [&] { KillRadio(index); }},
              {33, [&] { StopRadio(radio); }},
              {33, [&] { SilenceRadio(radio); }}});
}

void Soak::KillRadio(std::size_t index) {
  Count(kKilled);
  Radio& radio = radios_[index];
  ledger_.DoubtAfter(index, radio.last_taken());
  radio.Kill();
  StartRadioLater(radio);
}

void Soak::StopRadio(Radio& radio) {
  Count("hostapd stopped and started");
  radio.Stop([this, &radio] { StartRadioLater(radio); });
}

void Soak::SilenceRadio(Radio& radio) {
  Count("hostapd hung");
  log_.Allow("ERROR", kSendFailed, 1);
  radio.Silence();
  schedule_.After({500ms, 4s}, [&radio] { radio.WakeUp(); });
}

// Now and then it hangs at once.
void Soak::StartRadioLater(Radio& radio) {
  schedule_.After({0ms, 3s}, [this, &radio] {
    StartRadio(radio);
    if (schedule_.Chance(20)) SilenceRadio(radio);
  });
}

void Soak::StartRadio(Radio& radio) {
  radio.Start();
  log_.Allow("ERROR", kSendFailed, 2);
  log_.Allow("ERROR", "Failed to connect: ", 1);
  log_.Allow("WARNING", "Could not attach to hostapd", 1);
  log_.Allow("WARNING", "Already attached, resetting state.", 1);
}

// As if a file system came and went; the directory stays what it is.
void Soak::MoveDirectory() {
  if (!AllRadios(&Radio::is_up)) return;
  Count("control directory moved away and back");
  const auto move_away = [this] {
    if (!AllRadios(&Radio::is_down)) return;  // for the second to do
    const platform::FilePath aside = std::string(ap::kControlDirectory) + ".aside";
    std::filesystem::rename(ap::kControlDirectory, aside);
    schedule_.After({100ms, 2s}, [this, aside] {
      std::filesystem::rename(aside, ap::kControlDirectory);
      for (Radio& radio : radios_) StartRadioLater(radio);
    });
  };
  for (Radio& radio : radios_) radio.Stop(move_away);
}

bool Soak::AllRadios(bool (Radio::*is_so)() const) const {
  return std::ranges::all_of(radios_, [is_so](const Radio& radio) { return (radio.*is_so)(); });
}

void Soak::OnCommand(const Radio& radio, std::string_view command) {
  if (command.starts_with("DISASSOCIATE ")) {
    --undelivered_;
    Count("requests to leave received");
  } else {
    mistakes_.push_back(fmt::format("{} has got {}", radio.name(), command));
  }
}

// A burst goes as quickly as it is taken.
void Soak::SendLines(std::size_t index) {
  const Radio& radio = radios_[index];
  const bool is_held = schedule_.is_rest() || when_recorded_ || MayLinesBeMisjudged();
  if (is_held || !radio.is_up() || !radio.is_taken()) return;
  int& burst = bursts_[index];
  const int some = schedule_.Chance(8) ? schedule_.Random(1, 3) : 0;
  const int count = burst > 0 ? kLinesPerTurn : some;
  burst = std::max(burst - count, 0);
  for (int i = 0; i < count; ++i) SendLine(index);
}

void Soak::SendLine(std::size_t index) {
  const EventLine line = lines_.Next(++last_number_);
  if (!radios_[index].Send(last_number_, line.text)) {
    mistakes_.push_back(fmt::format("{} could not send", radios_[index].name()));
    return;
  }
  if (line.kind == LineKind::kUnknown) log_.Allow("INFO", kUnknown, 1);
  if (line.kind == LineKind::kConnection || line.kind == LineKind::kProbe) {
    ledger_.Sent(index, last_number_, FateOf(line.kind));
  }
}

Fate Soak::FateOf(LineKind kind) const {
  const char* key = kind == LineKind::kProbe ? kProbeSwitch : kEventSwitch;
  if (flags_.at(kUploader) != "enabled" || flags_.at(key) != "1") return Fate::kDropped;
  return has_recorder_ ? Fate::kRecorded : Fate::kUncertain;
}

// --- Recorder ---

void Soak::TroubleRecorder() {
  if (has_recorder_trouble_) return;
  has_recorder_trouble_ = true;
  const Schedule::Range briefly = {500ms, 6s};
  const auto mislead = [this](const Arguments& options) {
    return [this, options] { MisleadRecorder(options); };
  };
  BeginOneOf({{30, [&] { KillRecorder(); }},
              {15, mislead({"--error", "org.velmora.Error.Soak"})},
              {10, mislead({"--extra-data"})},
              {15, mislead({"--delay", "0.5"})},
              {25, [&] { HangRecorder("recorder hung", briefly); }},
              {5, [&] { OutwaitRecorder(); }}});
}

// In the middle of whatever goes on, or when it has all that it is to have.
void Soak::KillRecorder() {
  if (schedule_.Chance(50)) return WhenRecorded([this] { KillRecorderNow(); });
  KillRecorderNow();
}

void Soak::KillRecorderNow() {
  Count("recorder killed and started");
  ReadBatches();
  ledger_.DoubtAll();
  StopRecorder();
  has_recorder_ = false;
  AllowFailedUploads(5s);
  schedule_.After({0ms, 5s}, [this] {
    RestartRecorder({});
    has_recorder_ = true;
    has_recorder_trouble_ = false;
  });
}

void Soak::MisleadRecorder(const Arguments& options) {
  Count("recorder answering with " + options.front());
  AllowFailedUploads(20s);
  WhenRecorded([this, options] {
    RestartRecorder(options);
    schedule_.After({3s, 8s}, [this] {
      WhenRecorded([this] {
        RestartRecorder({});
        has_recorder_trouble_ = false;
      });
    });
  });
}

// Lines are held back until then.
void Soak::WhenRecorded(std::function<void()> deed) { when_recorded_ = std::move(deed); }

void Soak::DoWhenRecorded() {
  if (!when_recorded_ || ledger_.AwaitedCount() > 0) return;
  std::exchange(when_recorded_, nullptr)();
}

// What it is given meanwhile it takes later.
void Soak::HangRecorder(const std::string& deed, Schedule::Range range) {
  Count(deed);
  recorder().Signal(SIGSTOP);
  schedule_.After(range, [this] {
    recorder().Signal(SIGCONT);
    has_recorder_trouble_ = false;
  });
}

// The daemon gives up on a call, but the call isn't lost.
void Soak::OutwaitRecorder() {
  log_.Allow("WARNING", kUploadFailed, 2);
  HangRecorder("recorder hung for longer than a call waits", {26s, 30s});
}

void Soak::RestartRecorder(const Arguments& options) {
  ReadBatches();
  ledger_.DoubtAll();
  StartRecorder(options);
}

// Those of both interfaces, and one more at either end.
void Soak::AllowFailedUploads(Span span) {
  log_.Allow("WARNING", kUploadFailed, 2 * static_cast<std::size_t>(span / kUploadPeriod + 2));
}

void Soak::ReadBatches() {
  while (HasRecord(batch_count_ + 1)) {
    const ap::Record record = WaitForRecord(++batch_count_);
    if (record.type != ap::kEventTypeUrl) mistakes_.push_back("a record of type " + record.type);
    const bool is_first =
        record.event.interface() == access_infrastructure::proto::WifiInterface::WLAN_2400MHZ;
    ledger_.Received(is_first ? 0 : 1, record.event);
  }
}

// --- Flags ---

lab::FlagMap Soak::RandomFlags() {
  return {{kUploader, OnOrOff(schedule_.Chance(90))},
          {kEventSwitch, schedule_.Chance(90) ? "1" : "0"},
          {kProbeSwitch, schedule_.Chance(80) ? "1" : "0"},
          {kSteering, OnOrOff(schedule_.Chance(85))},
          {"clientSteeringInterval", std::to_string(schedule_.Random(1, 3))},
          {"clientSteeringPollInterval", std::to_string(schedule_.Random(1, 2))},
          {"clientSteeringRootLqmFloor",
           std::to_string(schedule_.Random(Air::kLowestFloor, Air::kHighestFloor))},
          {"clientSteeringChildLqmFloor", std::to_string(schedule_.Random(0, 100))},
          {"clientSteeringLqmHysteresis",
           std::to_string(schedule_.Random(10, Air::kHighestHysteresis))}};
}

void Soak::TroubleFlags() {
  if (has_flags_trouble_ || !AreFlagsRead()) return;
  has_flags_trouble_ = true;
  BeginOneOf(
      {{25, [&] { KillFlags(); }}, {25, [&] { MisleadFlags(); }}, {50, [&] { HangFlags(); }}});
}

void Soak::KillFlags() {
  Count("flags service killed and started");
  is_flags_service_away_ = true;
  StopFlags();
  schedule_.After({0ms, 5s}, [this] { RestartFlags({}); });
}

void Soak::MisleadFlags() {
  Count("flags service answering errors");
  is_flags_service_away_ = true;
  log_.Allow("WARNING", kReadFailed, 2);
  StartFlags(flags_, {"--error", "org.velmora.Error.Soak"});
  schedule_.After({1s, 4s}, [this] { RestartFlags({"--extra-variant"}); });
}

void Soak::RestartFlags(const Arguments& options) {
  log_.Allow("WARNING", kReadFailed, 1);
  StartFlags(flags_, options);
  AllowReading();
  has_flags_trouble_ = is_flags_service_away_ = false;
}

// Here a change may be under way.
void Soak::HangFlags() {
  Count("flags service hung");
  flags_service().Signal(SIGSTOP);
  schedule_.After({500ms, 3s}, [this] {
    flags_service().Signal(SIGCONT);
    has_flags_trouble_ = false;
  });
}

// A change waits until it is plain what becomes of the lines sent so far.
void Soak::ServeFlags() {
  if (!AreFlagsRead()) return;
  is_switching_ = false;
  if (!next_flags_ || is_flags_service_away_) return;
  const bool is_switch = !RecordAlike(flags_, *next_flags_);
  if (is_switch && !AllRadios(&Radio::is_taken)) return;
  Count("flag changes");
  flags_ = *std::exchange(next_flags_, std::nullopt);
  is_switching_ = is_switch;
  AllowReading();
  SetFlags(flags_);
}

bool Soak::MayLinesBeMisjudged() const {
  return is_switching_ || (next_flags_ && !RecordAlike(flags_, *next_flags_));
}

void Soak::AllowReading() {
  ++readings_expected_;
  log_.Allow("INFO", kReading, 1);
  log_.Allow("INFO", "Set probe_req_event_upload to ", 1);
  log_.Allow("INFO", " Connection event upload ", 1);
  log_.Allow("INFO", " Client Steer Started ", 1);
  log_.Allow("INFO", " Client Steer Stopped ", 1);
}

// --- Stations ---

void Soak::MoveStationsIfDue() {
  const auto now = Clock::now();
  if (now < next_move_) return;
  next_move_ = now + kStationPeriod;
  air_.Move(now, !schedule_.is_rest());
  WriteStations();
}

void Soak::WriteStations() { lab::ReplaceFile(directory() / "stations", air_.Text()); }

// --- Log ---

void Soak::ReadLog() {
  const std::string_view text = std::string_view(daemon().err().Text()).substr(log_read_);
  const std::string_view lines = text.substr(0, text.rfind('\n') + 1);
  if (lines.empty()) return;
  log_file_ << lines << std::flush;
  log_read_ += lines.size();
  for (const ap::LogLine& line : ap::ParseLog(lines)) OnLogLine(line);
}

void Soak::OnLogLine(const ap::LogLine& line) {
  if (line.text.starts_with(kReading)) ++readings_seen_;
  if (line.text.starts_with(kSteered)) {
    std::string_view rest = std::string_view(line.text).substr(sizeof(kSteered) - 1);
    air_.OnAsked(std::string(lab::TakeWord(&rest)), Clock::now());
    log_.Allow("INFO", kSteered, 1);
    log_.Allow("ERROR", kSendFailed, 1);
    ++undelivered_;
    WriteStations();
  }
  log_.Take(line);
}

// --- Verdict ---

Check Soak::JudgeEnd() const {
  return {.name = "the same process from begin to end, which is a good one",
          .holds = end_ == "code 0, signal 0",
          .finding = fmt::format("process {}, {}", daemon_pid_, end_)};
}

Check Soak::JudgeLines() const {
  const Ledger::Totals& totals = ledger_.totals();
  Check check = {.name = "each line is in a batch that must be, and no other",
                 .holds = ledger_.mistakes().empty() && totals.recorded > 0,
                 .finding = fmt::format(
                     "{} lines; of {} reports {} are in {} batches, {} are missing; {} were "
                     "switched off, {} uncertain, of which {} were lost",
                     last_number_, totals.sent, totals.recorded, totals.batches, totals.missing,
                     totals.dropped, totals.uncertain, totals.uncertain_lost)};
  if (!ledger_.mistakes().empty()) check.finding += "; first: " + ledger_.mistakes().front();
  return check;
}

// Requests get lost with a hostapd, and no other way.
Check Soak::JudgeSteering() const {
  const std::size_t asked = log_.Count(kSteered);
  const auto excusable = static_cast<std::int64_t>(log_.Count(kSendFailed) + Deeds(kKilled));
  Check check = {.name = "each guest is asked to leave, once, and nobody else",
                 .holds = air_.mistakes().empty() && air_.waiting_count() == 0 &&
                          asked == air_.guest_count() && asked > 0 && undelivered_ >= 0 &&
                          undelivered_ <= excusable,
                 .finding = fmt::format("{} guests, {} requests, of which {} found no hostapd",
                                        air_.guest_count(), asked, undelivered_)};
  if (!air_.mistakes().empty()) check.finding += "; first: " + air_.mistakes().front();
  return check;
}

Check Soak::JudgeReadings() const {
  return {.name = "flags are read once for each change and each start of their service",
          .holds = readings_seen_ == readings_expected_,
          .finding = fmt::format("{} of {} times", readings_seen_, readings_expected_)};
}

// Two interfaces, at least every two seconds; less while steering is off and the daemon waits.
Check Soak::JudgePolls() {
  const double seconds = samples_.empty() ? 0 : samples_.back().seconds;
  const std::int64_t polls = PollCount();
  return {.name = "interfaces are polled",
          .holds = static_cast<double>(polls) >= seconds / 3,
          .finding = fmt::format("{} times in {:.0f} s", polls, seconds)};
}

Check Soak::JudgeDeeds() const {
  Check check = {.name = "nothing else went wrong",
                 .holds = mistakes_.empty() && !HasFailure(),
                 .finding = fmt::format("{} mistakes", mistakes_.size())};
  if (!mistakes_.empty()) check.finding += ", first: " + mistakes_.front();
  check.finding += "; done were";
  for (const auto& [deed, count] : deeds_) check.finding += fmt::format("\n{:11} {}", count, deed);
  return check;
}

std::size_t Soak::Deeds(const std::string& deed) const {
  const auto found = deeds_.find(deed);
  return found == deeds_.end() ? 0 : found->second;
}

void Soak::Judge() {
  std::vector<Check> checks = {JudgeEnd(),   JudgeDescriptors(descriptors_at_rest_),
                               JudgeLines(), JudgeSteering(),
                               JudgePolls(), JudgeReadings(),
                               log_.Judge()};
  // Sanitizers and valgrind keep what is freed, and take their time. A quarter of a short time
  // tells what happened to be done in it.
  if (!ap::kIsSanitized && !options_.valgrind && options_.minutes >= kShortestJudged) {
    checks.push_back(JudgeMemory(samples_, {}));
    checks.push_back(JudgeCpu(samples_, {}));
  }
  checks.push_back(JudgeDeeds());
  const std::string text = VerdictText(checks);
  lab::WriteFile(options_.directory / "verdict.txt", text);
  std::cout << text;
  for (const Check& check : checks) EXPECT_TRUE(check.holds) << check.name;
}

}  // namespace orvane::soak
