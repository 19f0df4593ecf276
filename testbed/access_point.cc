#include "testbed/access_point.h"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <iostream>
#include <utility>

#include "platform/logging.h"
#include "testbed/process_figures.h"

namespace orvane::testbed {

namespace {

std::string FlagsText(const FlagMap& flags) {
  std::string text;
  for (const auto& [key, value] : flags) text += key + "=" + value + "\n";
  return text;
}

// Returns the number behind `key`, which must occur in the text.
std::int64_t NumberBehind(const std::string& key, std::string_view text) {
  const std::size_t at = text.find(key);
  CHECK(at != std::string_view::npos) << text;
  std::int64_t number = 0;
  std::from_chars(text.data() + at + key.size(), text.data() + text.size(), number);
  return number;
}

}  // namespace

AccessPoint::AccessPoint() {
  // A test without a bus must not reach the machine's bus.
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/no-bus", /*replace=*/1);
  const Failure failure = notify_socket_.Open();
  CHECK(!failure.has_value()) << *failure;
}

AccessPoint::~AccessPoint() {
  if (::testing::Test::HasFailure() && daemon_ != nullptr) {
    std::cerr << "--- the daemon's log\n" << daemon_->err().Text() << "---\n";
  }
  daemon_.reset();
  // Several tests in one process share the namespace.
  std::error_code ignored;
  std::filesystem::remove_all(kControlDirectory, ignored);
  std::filesystem::remove_all("/var/lib/ap", ignored);
}

std::string AccessPoint::NextNotice(Milliseconds timeout) {
  pollfd watched = {.fd = notify_socket_.fd(), .events = POLLIN, .revents = 0};
  if (poll(&watched, 1, static_cast<int>(timeout.count())) <= 0) return "";
  const std::optional<Command> notice = notify_socket_.Receive();
  return notice ? notice->text : "";
}

void AccessPoint::StartBus() { bus_.emplace(); }

void AccessPoint::StartFlags(const FlagMap& flags, const Arguments& options) {
  // The earlier service would signal the flags of the new one.
  flags_.reset();
  const platform::FilePath file = directory() / "flags";
  WriteFile(file, FlagsText(flags));
  Arguments arguments = {FLAGS_SERVICE_PATH, file};
  arguments.insert(arguments.end(), options.begin(), options.end());
  flags_ = StartProcess(arguments);
  if (std::find(options.begin(), options.end(), "--late") != options.end()) return;
  EXPECT_TRUE(flags_->out().WaitForLine("started as", kPatience)) << flags_->err().Text();
}

void AccessPoint::SetFlags(const FlagMap& flags) {
  ReplaceFile(directory() / "flags", FlagsText(flags));
}

void AccessPoint::StartRecorder(const Arguments& options) {
  Arguments arguments = {METRICS_RECORDER_PATH, "--keep", directory() / "records"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  recorder_.reset();
  recorder_ = StartProcess(arguments);
  EXPECT_TRUE(recorder_->out().WaitForLine("started as", kPatience)) << recorder_->err().Text();
}

platform::FilePath AccessPoint::RecordPath(std::size_t number) const {
  return directory() / "records" / fmt::format("{:06}", number);
}

std::size_t AccessPoint::RecordCount() const {
  std::size_t count = 0;
  while (HasRecord(count + 1)) ++count;
  return count;
}

bool AccessPoint::HasRecord(std::size_t number) const {
  return platform::PathExists(RecordPath(number));
}

Record AccessPoint::WaitForRecord(std::size_t number) {
  const platform::FilePath path = RecordPath(number);
  Record record;
  if (!WaitUntil([&] { return platform::PathExists(path); })) {
    ADD_FAILURE() << "no record " << number;
    return record;
  }
  record.bytes = platform::ReadFileToString(path).value_or("");
  record.type = platform::ReadFileToString(path.native() + ".type").value_or("");
  EXPECT_TRUE(record.event.ParseFromString(record.bytes));
  return record;
}

std::int64_t AccessPoint::ReceivedMs(std::size_t number) {
  return NumberBehind(fmt::format("record {} at ", number), recorder_->out().Text());
}

void WriteSalt(std::string_view salt) {
  std::filesystem::create_directories(platform::FilePath(kSaltFile).parent_path());
  WriteFile(kSaltFile, salt);
}

void AccessPoint::LaunchDaemon(const Arguments& arguments, const Environment& environment) {
  Arguments all = daemon_command_;
  all.insert(all.end(), arguments.begin(), arguments.end());
  Environment variables = environment;
  variables.emplace("NOTIFY_SOCKET", directory() / "notify");
  daemon_.reset();
  daemon_ = StartProcess(all, variables);
}

void AccessPoint::StartDaemon(const Arguments& arguments, const Environment& environment) {
  LaunchDaemon(arguments, environment);
  EXPECT_EQ(NextNotice(), "READY=1");
}

void AccessPoint::StartHostapds() {
  wlan2400_ = std::make_unique<Hostapd>(kWlan2400);
  wlan5000_ = std::make_unique<Hostapd>(kWlan5000);
}

void AccessPoint::StartAll(const Arguments& arguments) {
  StartBus();
  StartRecorder();
  WriteSalt(kSalt);
  StartHostapds();
  Arguments all = {"--v=1", "--connection_event_upload_period=1"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  StartDaemon(all);
  wlan2400_->Attach();
  wlan5000_->Attach();
  Settle(*wlan2400_);
  Settle(*wlan5000_);
}

void AccessPoint::Settle(Hostapd& hostapd) {
  const std::string name = "SETTLE-" + std::to_string(++settle_count_);
  hostapd.Send("<3>" + name);
  ExpectLogged("INFO", "Received unknown event: " + name);
}

void AccessPoint::Hold() {
  daemon().Signal(SIGSTOP);
  siginfo_t change = {};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(daemon().pid()), &change, WSTOPPED | WEXITED | WNOWAIT),
            0);
  ASSERT_EQ(change.si_code, CLD_STOPPED);
}

void AccessPoint::ExpectQuickExit(int signal_number) {
  constexpr std::chrono::seconds kLessThanBusTimeout(20);
  daemon().Signal(signal_number);
  ExpectExit(0, kLessThanBusTimeout);
}

void AccessPoint::ExpectExit(int code, std::chrono::seconds patience) {
  const std::optional<ExitStatus> status = daemon().WaitForExit(patience);
  ASSERT_TRUE(status.has_value()) << "still running";
  EXPECT_EQ(*status, (ExitStatus{.code = code, .signal = 0}))
      << "code " << status->code << " signal " << status->signal;
}

void AccessPoint::ExpectAbort(std::string_view text) {
  const std::optional<ExitStatus> status = daemon().WaitForExit(kPatience);
  ASSERT_TRUE(status.has_value()) << "still running";
  EXPECT_EQ(*status, (ExitStatus{.code = -1, .signal = SIGABRT}))
      << "code " << status->code << " signal " << status->signal;
  EXPECT_NE(daemon().err().Text().find(text), std::string::npos) << "no " << text;
}

std::size_t AccessPoint::LogCount(std::string_view severity, std::string_view text) {
  const std::vector<LogLine> log = Log();
  return static_cast<std::size_t>(std::count_if(log.begin(), log.end(), [&](const LogLine& line) {
    return line.severity == severity && line.text == text;
  }));
}

void AccessPoint::ExpectLogged(std::string_view severity, std::string_view text,
                               std::size_t count) {
  EXPECT_TRUE(WaitUntil([&] { return LogCount(severity, text) >= count; }))
      << "not logged " << count << " times: " << severity << " \"" << text << "\"";
}

std::vector<std::string> AccessPoint::LogTexts(std::string_view severity) {
  std::vector<std::string> texts;
  for (const LogLine& line : Log()) {
    const bool is_counted =
        line.severity == severity && line.text.find("nl80211") == std::string::npos;
    if (is_counted) texts.push_back(line.text);
  }
  return texts;
}

bool AccessPoint::CatchesSignal(int signal_number) {
  const std::string status =
      platform::ReadFileToString("/proc/" + std::to_string(daemon().pid()) + "/status")
          .value_or("");
  constexpr std::string_view kKey = "SigCgt:\t";
  const std::size_t at = status.find(kKey);
  if (at == std::string::npos) return false;
  const std::uint64_t caught = std::stoull(status.substr(at + kKey.size()), nullptr, 16);
  return (caught >> (signal_number - 1) & 1) != 0;
}

std::size_t AccessPoint::DescriptorCount() {
  const auto count_now = [this] { return testbed::DescriptorCount(daemon().pid()); };
  auto count = count_now();
  WaitUntil([&] {
    std::this_thread::sleep_for(Milliseconds(20));
    return std::exchange(count, count_now()) == count;
  });
  return count;
}

std::int64_t AccessPoint::StatusKilobytes(std::string_view key) {
  return ProcessFile(daemon().pid(), "status").Figure(key);
}

std::string OutputOf(const ChildProcess::Arguments& arguments) {
  const auto child = StartProcess(arguments);
  EXPECT_TRUE(child->WaitForExit(kPatience).has_value()) << arguments.front();
  return child->out().Text();
}

}  // namespace orvane::testbed
