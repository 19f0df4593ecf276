// Measures polls of a running daemon, each beside one plain dump of the same stations. Runs in the
// virtual machine, which has radios, and prints a line for each poll.

#include <fmt/format.h>
#include <libmnl/libmnl.h>
#include <linux/nl80211.h>
#include <net/if.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include "bench/cpu_time.h"
#include "platform/logging.h"
#include "testbed/nl80211_socket.h"
#include "testbed/program.h"

namespace orvane::bench {
namespace {

struct Options {
  pid_t pid = 0;
  std::string interface;
  int polls = 15;
};

// --- The floor ---

void MustSucceed(const testbed::Failure& failure) { CHECK(!failure.has_value()) << *failure; }

// A process that sleeps until it is woken up, like the daemon, then looks up the interface's index
// and makes one dump.
class DumpProcess {
 public:
  explicit DumpProcess(const std::string& interface) : pid_(fork()) {
    CHECK(pid_ >= 0);
    if (pid_ == 0) Run(interface);
  }
  ~DumpProcess() { kill(pid_, SIGKILL); }
  DumpProcess(const DumpProcess&) = delete;
  DumpProcess& operator=(const DumpProcess&) = delete;

  pid_t pid() const { return pid_; }
  void WakeUp() const { kill(pid_, SIGCONT); }

 private:
  [[noreturn]] static void Run(const std::string& interface) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t wake_up;
    sigemptyset(&wake_up);
    sigaddset(&wake_up, SIGCONT);
    sigprocmask(SIG_BLOCK, &wake_up, nullptr);

    testbed::Nl80211Socket kernel;
    MustSucceed(kernel.Open());
    for (;;) {
      sigwaitinfo(&wake_up, nullptr);
      const unsigned interface_index = if_nametoindex(interface.c_str());
      CHECK(interface_index != 0) << "No interface " << interface;
      nlmsghdr* request = kernel.NewRequest(NL80211_CMD_GET_STATION, NLM_F_DUMP);
      mnl_attr_put_u32(request, NL80211_ATTR_IFINDEX, interface_index);
      MustSucceed(kernel.Ask(request, nullptr, nullptr));
    }
  }

  pid_t pid_;
};

// --- Both ---

// Interval between reads of a process's time, and the number of equal reads after which its work
// counts as finished. Polls are a second apart.
constexpr std::chrono::milliseconds kGlance(20);
constexpr int kGlancesUntilOver = 10;
constexpr int kGlancesUntilLate = 500;

// Returns the processor time of the next work of a process. That work has not started yet, or
// `begin` starts it.
template <typename Begin>
std::int64_t TimeOfNext(pid_t pid, Begin begin) {
  const std::int64_t before = CpuTimeOf(pid);
  begin();
  std::int64_t after = before;
  int still = 0;
  for (int glances = 0; after == before || still < kGlancesUntilOver; ++glances) {
    CHECK(glances < kGlancesUntilLate) << "Process " << pid << " does nothing, or too much";
    std::this_thread::sleep_for(kGlance);
    const std::int64_t now = CpuTimeOf(pid);
    still = now == after ? still + 1 : 0;
    after = now;
  }
  return after - before;
}

void Measure(const Options& options) {
  const DumpProcess floor(options.interface);
  const auto take_poll = [&] { return TimeOfNext(options.pid, [] {}); };
  const auto take_dump = [&] { return TimeOfNext(floor.pid(), [&] { floor.WakeUp(); }); };
  // The first polls include page faults of new memory and the placement of stations.
  constexpr int kWarmUp = 2;
  for (int i = 0; i < options.polls + kWarmUp; ++i) {
    const std::int64_t poll = take_poll();
    const std::int64_t dump = take_dump();
    if (i >= kWarmUp) testbed::PrintLine(fmt::format("{} {}", poll, dump));
  }
}

int Main(int argc, char** argv) {
  CLI::App app(
      "Measures polls of a daemon that polls each second, and dumps of the same stations.\n"
      "Prints a line for each: nanoseconds of processor time of the poll and of the dump.",
      "polls");
  Options options;
  app.add_option("--pid", options.pid, "The daemon")->required();
  app.add_option("--interface", options.interface, "The one that has the stations")->required();
  app.add_option("--polls", options.polls, "How many")->check(CLI::Range(1, 1000));
  if (const std::optional<int> exit_code = testbed::ParseCommandLine(app, argc, argv)) {
    return *exit_code;
  }
  Measure(options);
  return testbed::kExitOk;
}

}  // namespace
}  // namespace orvane::bench

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::bench::Main(argc, argv); }
