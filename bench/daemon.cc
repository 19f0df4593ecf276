#include "bench/daemon.h"

#include <linux/sockios.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>

#include <filesystem>
#include <thread>

#include "bench/full_uploader.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "testbed/temporary_directory.h"

namespace orvane::bench {
namespace {

constexpr char kControlDirectory[] = "/var/run/hostapd";
constexpr char kSaltDirectory[] = "/var/lib/ap/monitor";
constexpr std::chrono::milliseconds kPatience(20'000);
// How often something is looked at that nobody tells of.
constexpr std::chrono::microseconds kPollInterval(200);

template <typename Condition>
void Await(const char* what, Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    CHECK(std::chrono::steady_clock::now() < deadline) << "This did not happen: " << what;
    std::this_thread::sleep_for(kPollInterval);
  }
}

// 'S' for a process that sleeps, 'T' for one that is stopped. The name before it may hold anything.
char StateOf(pid_t pid) {
  const std::string text =
      platform::ReadFileToString("/proc/" + std::to_string(pid) + "/stat").value_or("");
  const std::size_t name_end = text.rfind(") ");
  CHECK(name_end != std::string::npos) << "Process " << pid << " is gone";
  return text[name_end + 2];
}

}  // namespace

Hostapd::Hostapd(const std::string& interface)
    : path_(std::string(kControlDirectory) + "/" + interface), socket_(path_) {
  std::filesystem::create_directories(kControlDirectory);
  const lab::Failure failure = socket_.Open();
  CHECK(!failure.has_value()) << *failure;
}

std::string Hostapd::path() const { return path_; }

void Hostapd::AwaitAttach() {
  pollfd watched = {.fd = socket_.fd(), .events = POLLIN, .revents = 0};
  CHECK(poll(&watched, 1, static_cast<int>(kPatience.count())) == 1) << "Nobody attaches";
  const auto command = socket_.Receive();
  CHECK(command.has_value() && command->text == "ATTACH");
  peer_ = command->sender;
  Send("OK\n");
}

void Hostapd::Send(std::string_view text) {
  CHECK(socket_.Send(peer_, text) == lab::ControlSocket::SendResult::kSent);
}

void Hostapd::AwaitTaken() const {
  Await("everything is taken", [this] {
    int waiting = 0;
    CHECK(ioctl(socket_.fd(), SIOCOUTQ, &waiting) == 0);
    return waiting == 0;
  });
}

void AwaitAsleep(pid_t pid) {
  Await("the process sleeps", [pid] { return StateOf(pid) == 'S'; });
}

void Stop(pid_t pid) {
  kill(pid, SIGSTOP);
  Await("the process is stopped", [pid] { return StateOf(pid) == 'T'; });
}

void Resume(pid_t pid) { kill(pid, SIGCONT); }

std::unique_ptr<lab::ChildProcess> StartProcess(const lab::ChildProcess::Arguments& arguments) {
  std::string error;
  auto process = lab::ChildProcess::Start(arguments, {}, &error);
  CHECK(process != nullptr) << error;
  return process;
}

Daemon::Daemon(const lab::ChildProcess::Arguments& arguments)
    : wlan2400_("wlan-2400mhz"), wlan5000_("wlan-5000mhz") {
  std::filesystem::create_directories(kSaltDirectory);
  lab::WriteFile(platform::FilePath(kSaltDirectory) / "station_id_salt", kSalt);
  lab::ChildProcess::Arguments command = {AP_WAVELARK_PATH};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const auto begin = std::chrono::steady_clock::now();
  process_ = StartProcess(command);
  wlan2400_.AwaitAttach();
  wlan5000_.AwaitAttach();
  start_time_ = std::chrono::steady_clock::now() - begin;
  wlan2400_.AwaitTaken();
  wlan5000_.AwaitTaken();
  AwaitAsleep(pid());
}

}  // namespace orvane::bench
