// Keeps stations talking: sends small frames from each of some interfaces, all the time.

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/failure.h"
#include "lab/program.h"
#include "platform/files.h"
#include "platform/sd_event_loop.h"
#include "platform/time.h"

namespace orvane::lab {
namespace {

// An EtherType for experiments, to a locally administered address that nobody has: it goes to the
// access point as any data does, and there to nobody.
constexpr int kEtherType = ETH_P_802_EX1;
constexpr std::array<unsigned char, ETH_ALEN> kNobody = {0x02, 0xff, 0xff, 0xff, 0xff, 0xfe};

class Traffic {
 public:
  Traffic(platform::SdEventLoop& loop, platform::TimeSpan period) : loop_(loop), period_(period) {}

  [[nodiscard]] Failure Start(const std::vector<std::string>& interfaces) {
    socket_ = platform::ScopedFd(
        socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, /*protocol=*/0));
    if (!socket_.is_valid()) return std::string("packet socket: ") + std::strerror(errno);
    for (const std::string& interface : interfaces) {
      const unsigned index = if_nametoindex(interface.c_str());
      if (index == 0) return "no interface " + interface;
      indices_.push_back(static_cast<int>(index));
    }
    PrintLine("sending");
    SendRound();
    return std::nullopt;
  }

 private:
  void SendRound() {
    loop_.PostDelayedTask([this] { SendRound(); }, period_);
    for (const int index : indices_) Send(index);
  }

  // A client that is on no network right now sends nothing, and is tried again.
  void Send(int index) {
    constexpr std::string_view kPayload = "a frame of the lab's";
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(kEtherType);
    address.sll_ifindex = index;
    address.sll_halen = ETH_ALEN;
    std::copy(kNobody.begin(), kNobody.end(), std::begin(address.sll_addr));
    static_cast<void>(sendto(socket_.get(), kPayload.data(), kPayload.size(), 0,
                             reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
  }

  platform::SdEventLoop& loop_;
  platform::TimeSpan period_;
  platform::ScopedFd socket_;
  std::vector<int> indices_;
};

int Main(int argc, char** argv) {
  CLI::App app("Sends small frames from each interface, until it is told to end.", "traffic");
  int rate = 10;
  std::vector<std::string> interfaces;
  app.add_option("--rate", rate, "How many a second, from each")->check(CLI::Range(1, 1000));
  app.add_option("interfaces", interfaces, "Interfaces, those of clients")->required();
  if (const std::optional<int> exit_code = ParseCommandLine(app, argc, argv)) return *exit_code;
  platform::SdEventLoop loop;
  EndOnSignals(loop);
  Traffic traffic(loop,
                  std::chrono::duration_cast<platform::TimeSpan>(std::chrono::seconds(1)) / rate);
  return RunProgram(app, traffic.Start(interfaces), loop);
}

}  // namespace
}  // namespace orvane::lab

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::lab::Main(argc, argv); }
