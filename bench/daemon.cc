#include "bench/daemon.h"

#include <signal.h>

#include <cstddef>
#include <string>

#include "bench/full_uploader.h"
#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::bench {
namespace {

// Returns 'S' for a sleeping process and 'T' for a stopped one. The name before it may contain
// anything.
char StateOf(pid_t pid) {
  const std::string text =
      platform::ReadFileToString("/proc/" + std::to_string(pid) + "/stat").value_or("");
  const std::size_t name_end = text.rfind(") ");
  CHECK(name_end != std::string::npos) << "Process " << pid << " is gone";
  return text[name_end + 2];
}

void AwaitState(pid_t pid, char state) {
  CHECK(testbed::WaitUntil([&] { return StateOf(pid) == state; })) << pid << " is not " << state;
}

}  // namespace

void AwaitAsleep(pid_t pid) { AwaitState(pid, 'S'); }

void Stop(pid_t pid) {
  kill(pid, SIGSTOP);
  AwaitState(pid, 'T');
}

void Resume(pid_t pid) { kill(pid, SIGCONT); }

void AwaitTaken(const testbed::Hostapd& hostapd) {
  CHECK(testbed::WaitUntil([&] { return hostapd.IsTaken(); }))
      << hostapd.path().native() << " is not read";
}

Daemon::Daemon(const testbed::Arguments& arguments) {
  access_point_.StartBus();
  access_point_.StartHostapds();
  testbed::WriteSalt(kSalt);
  const auto begin = std::chrono::steady_clock::now();
  access_point_.LaunchDaemon(arguments);
  access_point_.wlan2400().Attach();
  access_point_.wlan5000().Attach();
  start_time_ = std::chrono::steady_clock::now() - begin;
  AwaitTaken(access_point_.wlan2400());
  AwaitTaken(access_point_.wlan5000());
  AwaitAsleep(pid());
}

}  // namespace orvane::bench
