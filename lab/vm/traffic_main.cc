// Sends small frames from each of the given interfaces until it is ended, so that stations are
// active.

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/mac_address.h"
#include "platform/files.h"
#include "platform/sd_event_loop.h"
#include "platform/time.h"
#include "testbed/failure.h"
#include "testbed/program.h"

namespace orvane::lab {
namespace {

using testbed::EndOnSignals;
using testbed::Failure;
using testbed::ParseCommandLine;
using testbed::PrintLine;
using testbed::RunProgram;

using Address = std::array<std::uint8_t, ETH_ALEN>;

// An EtherType for experiments.
constexpr int kEtherType = ETH_P_802_EX1;
// A locally administered address that no station has: the access point receives the frames and
// drops them.
constexpr char kNobody[] = "02:ff:ff:ff:ff:fe";

struct Options {
  int rate = 10;
  std::string to = kNobody;
  std::string from;  // an interface's own address if empty
  std::vector<std::string> interfaces;
};

// Whether `text` is six bytes in hexadecimal.
bool ParseAddress(const std::string& text, Address* address) {
  ap::MacAddress parsed;
  if (!ap::MacAddress::ParseFromString(text, &parsed)) return false;
  std::copy_n(parsed.ToByteString().GetConstData(), ETH_ALEN, address->begin());
  return true;
}

CLI::Validator HardwareAddress() {
  return {[](std::string& text) {
            Address address;
            return ParseAddress(text, &address) ? std::string() : "no hardware address: " + text;
          },
          "", "hardware address"};
}

class Traffic {
 public:
  Traffic(platform::SdEventLoop& loop, Options options)
      : loop_(loop),
        options_(std::move(options)),
        period_(std::chrono::duration_cast<platform::TimeSpan>(std::chrono::seconds(1)) /
                options_.rate) {}

  [[nodiscard]] Failure Start() {
    socket_ = platform::ScopedFd(
        socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, /*protocol=*/0));
    if (!socket_.is_valid()) return std::string("packet socket: ") + std::strerror(errno);
    for (const std::string& interface : options_.interfaces) {
      if (const Failure failure = AddSender(interface)) return failure;
    }
    PrintLine("sending");
    SendRound();
    return std::nullopt;
  }

 private:
  struct Frame {
    ethhdr header = {};
    std::array<char, 20> payload = {};
  };
  struct Sender {
    int interface_index = 0;
    Frame frame;
  };

  Failure AddSender(const std::string& interface) {
    ifreq request = {};
    interface.copy(request.ifr_name, IFNAMSIZ - 1);
    if (ioctl(socket_.get(), SIOCGIFHWADDR, &request) != 0) return "no interface " + interface;
    Sender sender;
    sender.interface_index = static_cast<int>(if_nametoindex(interface.c_str()));
    Address from;
    std::copy_n(request.ifr_hwaddr.sa_data, ETH_ALEN, from.begin());
    if (!options_.from.empty()) ParseAddress(options_.from, &from);
    Address to;
    ParseAddress(options_.to, &to);
    std::copy(from.begin(), from.end(), sender.frame.header.h_source);
    std::copy(to.begin(), to.end(), sender.frame.header.h_dest);
    sender.frame.header.h_proto = htons(kEtherType);
    senders_.push_back(sender);
    return std::nullopt;
  }

  void SendRound() {
    loop_.PostDelayedTask([this] { SendRound(); }, period_);
    for (const Sender& sender : senders_) Send(sender);
  }

  // A client without a network sends nothing now, and is tried again in the next round.
  void Send(const Sender& sender) {
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_ifindex = sender.interface_index;
    static_cast<void>(sendto(socket_.get(), &sender.frame, sizeof(sender.frame), 0,
                             reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
  }

  platform::SdEventLoop& loop_;
  Options options_;
  platform::TimeSpan period_;
  platform::ScopedFd socket_;
  std::vector<Sender> senders_;
};

int Main(int argc, char** argv) {
  CLI::App app("Sends small frames from each interface until it is ended.", "traffic");
  Options options;
  app.add_option("--rate", options.rate, "Frames a second from each interface")
      ->check(CLI::Range(1, 1000));
  app.add_option("--to", options.to, "Destination address (default: one that no station has)")
      ->check(HardwareAddress());
  app.add_option("--from", options.from, "Source address (default: the interface's)")
      ->check(HardwareAddress());
  app.add_option("interfaces", options.interfaces, "Interfaces to send from")->required();
  if (const std::optional<int> exit_code = ParseCommandLine(app, argc, argv)) return *exit_code;
  platform::SdEventLoop loop;
  EndOnSignals(loop);
  Traffic traffic(loop, options);
  return RunProgram(app, traffic.Start(), loop);
}

}  // namespace
}  // namespace orvane::lab

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::lab::Main(argc, argv); }
