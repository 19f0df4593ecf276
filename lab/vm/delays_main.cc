// Measures the time that the bridge adds to an event and to a command. It is a client of hostapd's
// own socket and of the bridge's socket, and compares both.

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "testbed/control_socket.h"
#include "testbed/failure.h"
#include "testbed/program.h"

namespace orvane::lab {
namespace {

using testbed::ExitCodeOf;
using testbed::Failure;
using testbed::ParseCommandLine;
using testbed::SystemFailure;

using Clock = std::chrono::steady_clock;

// For a datagram; far longer than any datagram takes.
constexpr int kPatienceMs = 60'000;

// The bridge passes it on to hostapd, which answers at once.
constexpr std::string_view kCommand = "GET_CONFIG";

struct Options {
  std::string hostapd;
  std::string bridge;
  std::size_t count = 200;
};

// A client of one control socket.
class Client {
 public:
  ~Client() {
    if (!own_path_.empty()) unlink(own_path_.c_str());
  }

  [[nodiscard]] Failure Open(const std::string& server) {
    own_path_ = "/tmp/delays-" + std::to_string(getpid()) + "-" + std::to_string(++last_number_);
    socket_ = platform::ScopedFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un own = testbed::UnixAddress(own_path_);
    const sockaddr_un peer = testbed::UnixAddress(server);
    if (bind(fd(), reinterpret_cast<const sockaddr*>(&own), sizeof(own)) != 0 ||
        connect(fd(), reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) != 0) {
      return SystemFailure(server);
    }
    return std::nullopt;
  }

  int fd() const { return socket_.get(); }

  // Returns the next datagram; empty if none arrives.
  std::string Receive() const {
    pollfd ready = {.fd = fd(), .events = POLLIN, .revents = 0};
    std::array<char, 4096> buffer;
    if (poll(&ready, 1, kPatienceMs) != 1) return "";
    const ssize_t length = recv(fd(), buffer.data(), buffer.size(), 0);
    return length > 0 ? std::string(buffer.data(), static_cast<std::size_t>(length)) : "";
  }

  // Returns the answer to a command; empty if there is none. Drops events that arrive before it.
  std::string Ask(std::string_view command) const {
    if (send(fd(), command.data(), command.size(), 0) < 0) return "";
    std::string answer = Receive();
    while (answer.starts_with('<')) answer = Receive();
    return answer;
  }

 private:
  inline static int last_number_ = 0;

  platform::ScopedFd socket_;
  std::string own_path_;
};

using Samples = std::vector<std::chrono::microseconds>;

// Returns the station of a probe request in a line of hostapd or of the bridge; empty for other
// lines.
std::string ProbingStation(std::string_view line) {
  constexpr std::string_view kOfHostapd = "<3>RX-PROBE-REQUEST sa=";
  constexpr std::string_view kOfBridge = "<3>AP-MONITOR-STA-INFO ";
  constexpr std::size_t kAddressLength = 17;
  for (const std::string_view head : {kOfHostapd, kOfBridge}) {
    if (line.starts_with(head)) return std::string(line.substr(head.size(), kAddressLength));
  }
  return "";
}

// Measures how much later than hostapd the bridge reports a probe request. Each station sends one.
Failure MeasureEvents(const Client& hostapd, const Client& bridge, std::size_t count,
                      Samples* samples) {
  std::map<std::string, Clock::time_point> reported;
  std::array<pollfd, 2> ready = {{{hostapd.fd(), POLLIN, 0}, {bridge.fd(), POLLIN, 0}}};
  while (samples->size() < count) {
    if (poll(ready.data(), ready.size(), kPatienceMs) <= 0) return "too few events arrive";
    const Clock::time_point now = Clock::now();
    // hostapd's report comes first.
    if (ready[0].revents != 0) {
      if (const std::string station = ProbingStation(hostapd.Receive()); !station.empty()) {
        reported[station] = now;
      }
    } else if (const std::string station = ProbingStation(bridge.Receive());
               reported.contains(station)) {
      samples->push_back(
          std::chrono::duration_cast<std::chrono::microseconds>(now - reported[station]));
    }
  }
  return std::nullopt;
}

Failure MeasureCommands(const Client& client, std::size_t count, Samples* samples) {
  for (std::size_t i = 0; i < count; ++i) {
    const Clock::time_point begin = Clock::now();
    if (client.Ask(kCommand).empty()) return "a command gets no answer";
    samples->push_back(std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin));
  }
  return std::nullopt;
}

void Print(std::string_view what, Samples samples) {
  std::ranges::sort(samples);
  std::cout << what << " " << samples[samples.size() / 2].count() << " "
            << samples[samples.size() * 99 / 100].count() << std::endl;
}

Failure Measure(const Options& options) {
  Client hostapd;
  Client bridge;
  if (Failure failure = hostapd.Open(options.hostapd)) return failure;
  if (Failure failure = bridge.Open(options.bridge)) return failure;
  Samples direct;
  Samples bridged;
  Samples events;
  if (Failure failure = MeasureCommands(hostapd, options.count, &direct)) return failure;
  if (Failure failure = MeasureCommands(bridge, options.count, &bridged)) return failure;
  Print("command", direct);
  Print("bridged_command", bridged);
  if (bridge.Ask("ATTACH") != "OK\n" || hostapd.Ask("ATTACH probe_rx_events=1") != "OK\n") {
    return "ATTACH fails";
  }
  std::cout << "attached" << std::endl;
  if (Failure failure = MeasureEvents(hostapd, bridge, options.count, &events)) return failure;
  Print("event", events);
  hostapd.Ask("DETACH");
  bridge.Ask("DETACH");
  return std::nullopt;
}

int Main(int argc, char** argv) {
  CLI::App app(
      "Prints how long a command takes at hostapd and through the bridge, and how much later the "
      "bridge reports an event: median and 99th percentile, in microseconds.",
      "delays");
  Options options;
  app.add_option("hostapd", options.hostapd, "hostapd's own control socket")->required();
  app.add_option("bridge", options.bridge, "The bridge's for the same interface")->required();
  app.add_option("--count", options.count, "How many of each")->check(CLI::Range(1, 100'000));
  if (const std::optional<int> exit_code = ParseCommandLine(app, argc, argv)) return *exit_code;
  return ExitCodeOf(app, Measure(options));
}

}  // namespace
}  // namespace orvane::lab

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::lab::Main(argc, argv); }
