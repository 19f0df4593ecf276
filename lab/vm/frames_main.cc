// Sends frames in the name of stations that do not exist, so no station acknowledges the answers.

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "lab/vm/air.h"
#include "testbed/failure.h"
#include "testbed/program.h"

namespace orvane::lab {
namespace {

using testbed::ExitCodeOf;
using testbed::Failure;
using testbed::ParseCommandLine;

// A kind of frame: the first byte of its frame control, and its body.
struct Kind {
  std::uint8_t control;
  std::vector<std::uint8_t> body;
};

const std::map<std::string, Kind> kKinds = {
    // Open system, first of the exchange.
    {"authentication", {0xb0, {0, 0, 1, 0, 0, 0}}},
    // Any network; 1 and 2 Mbit/s.
    {"probe", {0x40, {0, 0, 1, 2, 0x02, 0x04}}},
};

struct Options {
  std::string monitor;
  std::string to;  // the access point's interface
  std::string kind = "probe";
  int first = 1;
  int stations = 1;
  int count = 1;
  int rate = 100;
};

// Locally administered addresses by number, different from those of the program `stations`.
Address AddressOf(int number) {
  return {0x02,
          0x5b,
          0x00,
          static_cast<std::uint8_t>(number >> 16),
          static_cast<std::uint8_t>(number >> 8),
          static_cast<std::uint8_t>(number)};
}

// Sends at the given rate, however long each frame takes.
Failure SendFrames(const Options& options) {
  using Clock = std::chrono::steady_clock;
  Air air;
  if (Failure failure = air.Open(options.monitor)) return failure;
  const Kind& kind = kKinds.at(options.kind);
  FrameHeader header = {.control = {kind.control, 0}};
  if (Failure failure = AddressOfInterface(options.to, &header.receiver)) return failure;
  header.network = header.receiver;
  const Clock::time_point begin = Clock::now();
  for (int i = 0; i < options.count; ++i) {
    header.sender = AddressOf(options.first + i % options.stations);
    std::this_thread::sleep_until(begin +
                                  i * std::chrono::nanoseconds(std::nano::den) / options.rate);
    if (Failure failure = air.Send(header, kind.body)) return failure;
  }
  return std::nullopt;
}

int Main(int argc, char** argv) {
  CLI::App app("Sends frames to an access point in the name of stations that do not exist.",
               "frames");
  Options options;
  app.add_option("monitor", options.monitor, "A monitor interface on its channel")->required();
  app.add_option("--to", options.to, "The access point's interface")->required();
  app.add_option("--kind", options.kind, "The kind of the frames")->check(CLI::IsMember(kKinds));
  app.add_option("--first", options.first, "The number of the first station");
  app.add_option("--stations", options.stations, "How many stations take turns")
      ->check(CLI::Range(1, 65536));
  app.add_option("--count", options.count, "How many frames")->check(CLI::Range(1, 1'000'000));
  app.add_option("--rate", options.rate, "How many a second")->check(CLI::Range(1, 10'000));
  if (const std::optional<int> exit_code = ParseCommandLine(app, argc, argv)) return *exit_code;
  return ExitCodeOf(app, SendFrames(options));
}

}  // namespace
}  // namespace orvane::lab

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::lab::Main(argc, argv); }
