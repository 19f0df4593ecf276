#ifndef SIMULATION_FAKE_KERNEL_H_
#define SIMULATION_FAKE_KERNEL_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/netlink/netlink_kernel.h"
#include "platform/netlink/netlink_message.h"
#include "platform/netlink/netlink_socket.h"
#include "simulation/message_builder.h"

namespace orvane::simulation {

// A simulated kernel: network interfaces with stations and mesh paths, and generic netlink to
// request them and to join multicast groups. It exchanges real netlink bytes over socket pairs.
// Like the real kernel, it works inside the system calls of its peer: it answers a request during
// the send, and builds the next part of a dump during the receive of the part before. So it needs
// no loop and no thread.
//
// Like the real kernel, it sizes the parts of a dump by the largest receive buffer so far, up to 32
// KiB; refuses a second dump on a socket while one is running; drops the dump when the socket is
// closed; and ends a failed dump with a done message that contains the error.
class FakeKernel : public platform::NetlinkKernel {
 public:
  static constexpr std::uint16_t kNl80211Family = 0x1c;
  // Numbers of nl80211's multicast groups.
  static constexpr std::uint32_t kConfigGroup = 4;
  static constexpr std::uint32_t kMlmeGroup = 7;

  using Address = std::array<std::uint8_t, 6>;

  struct Rate {
    std::uint32_t bitrate = 650;  // 100 kbit/s
    std::optional<std::uint8_t> mcs;
    std::optional<std::uint8_t> vht_mcs;
    std::optional<std::uint8_t> vht_nss;
    std::vector<int> flags;  // NL80211_RATE_INFO_...

    friend bool operator==(const Rate&, const Rate&) = default;
  };

  struct Station {
    Address address = {};
    std::int8_t signal = -50;  // dBm
    std::optional<std::int8_t> signal_average = -50;
    std::uint32_t flags = 1U << 1;  // one bit for each NL80211_STA_FLAG_...; authorized
    Rate tx_rate;
    Rate rx_rate;
    bool has_rx_rate = true;     // false: the record lacks the receive rate
    bool has_statistics = true;  // false: only the average signal, the rates and the flags
  };

  struct MeshPath {
    Address destination = {};
    Address next_hop = {};
    std::uint32_t metric = 0;
    std::uint32_t frame_queue_length = 0;
    std::uint8_t flags = 0;
  };

  struct MeshProxyPath {
    Address destination = {};
    Address proxy = {};
  };

  // A request that it received.
  struct Request {
    MessageHeader header;
    std::uint8_t command;
    std::vector<std::uint8_t> attributes;
  };

  FakeKernel();
  ~FakeKernel() override;

  // The kernel must outlive the socket.
  std::unique_ptr<platform::NetlinkSocket> OpenSocket() override;
  std::uint32_t GetInterfaceIndex(const std::string& name) override;

  // --- State ---

  void AddInterface(const std::string& name, std::uint32_t index) { indexes_[name] = index; }
  void RemoveInterface(const std::string& name) { indexes_.erase(name); }

  // In the order of a dump. Tests may change them at any time.
  std::vector<Station>& Stations(const std::string& interface) { return stations_[interface]; }
  std::vector<MeshPath>& MeshPaths(const std::string& interface) { return mesh_paths_[interface]; }
  std::vector<MeshProxyPath>& MeshProxyPaths(const std::string& interface) {
    return mesh_proxy_paths_[interface];
  }
  void AddFamily(const std::string& name, std::uint16_t id) { families_[name] = id; }
  // Ends all memberships in its groups.
  void RemoveFamily(const std::string& name) {
    families_.erase(name);
    for (auto& [port, peer] : peers_) peer.groups.clear();
  }
  void RemoveGroup(std::uint32_t group) {
    std::erase_if(groups_, [group](const auto& entry) { return entry.second == group; });
  }

  // --- Behaviour ---

  // Requests are never answered, and running dumps stop.
  void SetSilent(bool silent);

  // Requests are answered, in order, only when holding ends.
  void SetHolding(bool holding);

  // The next request fails.
  void FailNextRequest(int error_number, const std::string& text = "") {
    next_failure_ = {error_number, text};
  }

  // The next dump fails after `records` records.
  void FailNextDumpAfter(std::size_t records, int error_number) {
    next_dump_failure_ = {records, error_number};
  }

  // Every dump is marked as inconsistent.
  void SetDumpInterrupted(bool interrupted) { is_dump_interrupted_ = interrupted; }

  // The peer loses every part of a dump except the end, and receives an overrun error.
  void SetLosingParts(bool losing) { loses_parts_ = losing; }

  // Acknowledgements come before replies.
  void SetAcknowledgeFirst(bool first) { acknowledges_first_ = first; }

  // --- Failures of sockets ---

  void FailOpen(int error_number) { open_error_ = error_number; }
  void FailSends(int error_number) { send_error_ = error_number; }

  // The socket of the last request receives this failure instead of a datagram.
  void DeliverFailure(platform::ReceiveStatus status, int error_number);

  // The socket of the last request receives these bytes.
  void Deliver(std::span<const std::uint8_t> datagram);

  // Each socket in the group receives these bytes, or this failure.
  void Multicast(std::uint32_t group, std::span<const std::uint8_t> datagram);
  void MulticastFailure(std::uint32_t group, platform::ReceiveStatus status, int error_number);

  // Closes all connections.
  void Close();

  // --- Observations ---

  const std::vector<Request>& requests() const { return requests_; }
  // Drops answered requests from requests(), for long runs.
  void ForgetRequests();
  // The number of open sockets.
  std::size_t socket_count() const { return peers_.size(); }
  // The number of datagrams sent.
  std::size_t datagram_count() const { return datagram_count_; }
  // The number of receive calls of the peer.
  std::size_t receive_count() const { return receive_count_; }

 private:
  class Socket;

  struct Failure {
    int error_number;
    std::string text;
  };
  struct DumpFailure {
    std::size_t after;
    int error_number;
  };
  struct Outcome {
    platform::ReceiveStatus status;
    int error_number;
  };
  // A dump in progress.
  struct Dump {
    MessageHeader header;
    std::vector<std::uint8_t> messages;
    std::size_t sent;  // bytes already sent
    std::int32_t result;
  };
  // The kernel's end of a socket.
  struct Peer {
    platform::ScopedFd fd;
    std::size_t largest_buffer = 0;
    std::set<std::uint32_t> groups;
    std::optional<Dump> dump;
    // One for each datagram that the peer has not received yet.
    std::deque<Outcome> outcomes;
  };

  void Serve(Peer& peer);
  void Answer(const Request& request);
  void AnswerFamily(const Request& request);
  void AnswerStation(const Request& request);
  void StartDump(const Request& request);
  void ContinueDump(Peer& peer);
  // Returns the messages of a dump, concatenated.
  std::vector<std::uint8_t> ListMessages(const Request& request, const std::string& interface);
  void ReplyAndAcknowledge(const Request& request, std::span<const std::uint8_t> reply);
  void ReplyError(const Request& request, const Failure& failure);
  void Reply(const MessageHeader& header, std::span<const std::uint8_t> datagram);
  void PushToGroup(std::uint32_t group, std::span<const std::uint8_t> datagram,
                   const Outcome& outcome);
  void Push(Peer& peer, std::span<const std::uint8_t> datagram, const Outcome& outcome);
  std::optional<std::string> FindInterface(const platform::AttributeList& attributes) const;

  // By port.
  std::map<std::uint32_t, Peer> peers_;
  std::uint32_t next_port_ = 4711;
  std::map<std::string, std::uint16_t> families_ = {{"nl80211", kNl80211Family}};
  // nl80211's multicast groups, by name.
  std::map<std::string, std::uint32_t> groups_ = {{"config", kConfigGroup}, {"mlme", kMlmeGroup}};
  std::map<std::string, std::uint32_t> indexes_;
  std::map<std::string, std::vector<Station>> stations_;
  std::map<std::string, std::vector<MeshPath>> mesh_paths_;
  std::map<std::string, std::vector<MeshProxyPath>> mesh_proxy_paths_;

  bool is_silent_ = false;
  bool is_holding_ = false;
  bool is_dump_interrupted_ = false;
  bool loses_parts_ = false;
  bool acknowledges_first_ = false;
  std::optional<Failure> next_failure_;
  std::optional<DumpFailure> next_dump_failure_;
  int open_error_ = 0;
  int send_error_ = 0;

  std::vector<Request> requests_;
  std::size_t answered_ = 0;
  std::uint32_t last_port_ = 0;
  std::size_t datagram_count_ = 0;
  std::size_t receive_count_ = 0;
};

}  // namespace orvane::simulation

#endif  // SIMULATION_FAKE_KERNEL_H_
