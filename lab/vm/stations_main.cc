// Adds stations to an access point without a radio for each: it adds them to the kernel as hostapd
// does, and a monitor interface sends a frame of each.

#include <libmnl/libmnl.h>
#include <linux/if_ether.h>
#include <linux/nl80211.h>
#include <net/if.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "lab/vm/air.h"
#include "testbed/failure.h"
#include "testbed/nl80211_socket.h"
#include "testbed/program.h"

namespace orvane::lab {
namespace {

using testbed::ExitCodeOf;
using testbed::Failure;
using testbed::Nl80211Socket;
using testbed::ParseCommandLine;

struct Options {
  std::string interface;  // the access point's
  std::string monitor;
  int first = 1;
  int count = 1;
};

// Locally administered addresses by number. The number, from 1 on, is also the association ID.
Address AddressOf(int number) {
  return {0x02,
          0x5a,
          0x00,
          0x00,
          static_cast<std::uint8_t>(number >> 8),
          static_cast<std::uint8_t>(number)};
}

// --- Requests to the kernel ---

Failure AddStation(Nl80211Socket* kernel, unsigned interface_index, int number) {
  constexpr std::array<std::uint8_t, 4> kRates = {0x82, 0x84, 0x8b, 0x96};
  constexpr std::uint32_t kAuthorized = 1U << NL80211_STA_FLAG_AUTHORIZED;
  const nl80211_sta_flag_update flags = {.mask = kAuthorized, .set = kAuthorized};
  const Address address = AddressOf(number);

  nlmsghdr* request = kernel->NewRequest(NL80211_CMD_NEW_STATION, NLM_F_ACK);
  mnl_attr_put_u32(request, NL80211_ATTR_IFINDEX, interface_index);
  mnl_attr_put(request, NL80211_ATTR_MAC, address.size(), address.data());
  mnl_attr_put(request, NL80211_ATTR_STA_SUPPORTED_RATES, kRates.size(), kRates.data());
  mnl_attr_put_u16(request, NL80211_ATTR_STA_AID, static_cast<std::uint16_t>(number));
  mnl_attr_put_u16(request, NL80211_ATTR_STA_LISTEN_INTERVAL, 10);
  mnl_attr_put(request, NL80211_ATTR_STA_FLAGS2, sizeof(flags), &flags);
  return kernel->Ask(request, nullptr, nullptr);
}

// --- Frames ---

// A data frame without data, the smallest frame that gives a station a rate.
FrameHeader NullData(const Address& from, const Address& to) {
  return {.control = {0x48, 0x01}, .receiver = to, .sender = from, .network = to};
}

Failure AddStations(const Options& options) {
  Address access_point;
  if (Failure failure = AddressOfInterface(options.interface, &access_point)) return failure;
  const unsigned interface_index = if_nametoindex(options.interface.c_str());
  Nl80211Socket kernel;
  if (Failure failure = kernel.Open()) return failure;
  Air air;
  if (Failure failure = air.Open(options.monitor)) return failure;
  for (int number = options.first; number < options.first + options.count; ++number) {
    if (Failure failure = AddStation(&kernel, interface_index, number)) return failure;
    if (Failure failure = air.Send(NullData(AddressOf(number), access_point), {})) return failure;
  }
  return std::nullopt;
}

int Main(int argc, char** argv) {
  CLI::App app("Adds stations to the kernel, and sends a frame of each.", "stations");
  Options options;
  app.add_option("interface", options.interface, "The access point's interface")->required();
  app.add_option("monitor", options.monitor, "A monitor interface on its channel")->required();
  app.add_option("--first", options.first, "The number of the first station")
      ->check(CLI::Range(1, 2007));
  app.add_option("--count", options.count, "How many")->check(CLI::Range(1, 2007));
  if (const std::optional<int> exit_code = ParseCommandLine(app, argc, argv)) return *exit_code;
  return ExitCodeOf(app, AddStations(options));
}

}  // namespace
}  // namespace orvane::lab

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::lab::Main(argc, argv); }
