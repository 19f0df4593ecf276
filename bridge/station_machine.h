#ifndef BRIDGE_STATION_MACHINE_H_
#define BRIDGE_STATION_MACHINE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "bridge/event_line.h"
#include "bridge/management_frame.h"
#include "bridge/moment.h"
#include "bridge/nl80211_event.h"
#include "bridge/station_info.h"
#include "common/mac_address.h"
#include "platform/time.h"

namespace orvane::bridge {

struct EventLine {
  LineKind kind;
  std::string text;
};

// What happened before a request of the station or before it was connected.
struct Background {
  std::optional<platform::TimeSpan> since_probe;
  std::optional<platform::TimeSpan> since_steering;
};

// What is known when a station is disconnected.
struct Departure {
  StationInfo info;        // the kernel's information, if the kernel still has it
  bool has_moved = false;  // the station has joined another interface since it was connected
  bool is_steered = false;
  bool has_accepted_transition = false;
};

// Combines the reports of hostapd and the kernel about one station on one interface into event
// lines.
//
// hostapd's control events drive it. A request opens an AUTH or ASSOC line, AP-STA-CONNECTED a
// CONNECT line, AP-STA-DISCONNECTED a DISCONNECT line. The kernel's messages are stored as evidence
// until a line uses them. A line waits for its evidence, within a limit. Lines are written in the
// order in which they were opened. Attributes that are unknown by then are omitted.
//
// It uses no clock and no descriptors. The caller reads the netlink socket before it passes on a
// control event, so that the kernel's earlier messages are known, and calls Settle when nothing is
// left to read.
class StationMachine {
 public:
  // Maximum time for the access point's answer, and for the station's next frame within an exchange
  // of several authentication frames.
  static constexpr platform::TimeSpan kAnswerWait = std::chrono::seconds(1);
  static constexpr platform::TimeSpan kExchangeWait = std::chrono::seconds(5);
  // Maximum time that a DISCONNECT line waits for the kernel's messages, and that any line waits
  // once a later line has been opened.
  static constexpr platform::TimeSpan kLateWait = std::chrono::milliseconds(200);
  // Maximum time from association to connection.
  static constexpr platform::TimeSpan kHandshakeWait = std::chrono::seconds(30);
  // Maximum time from a wrong passphrase to the next attempt of the same handshake. hostapd repeats
  // its message after one second.
  static constexpr platform::TimeSpan kRetryWait = std::chrono::seconds(3);
  // How long evidence is kept.
  static constexpr platform::TimeSpan kEvidenceLife = std::chrono::seconds(1);

  // Maximum number of pieces of evidence; the oldest is dropped first.
  static constexpr std::size_t kMostEvidence = 64;

  explicit StationMachine(ap::MacAddress mac) : mac_(std::move(mac)) {}

  // Events of hostapd.
  void OnAuthenticationRequest(const ManagementFrame& frame, const Background& background,
                               Moment now);
  void OnAssociationRequest(const Background& background, Moment now);
  void OnLeaveFrame(FrameKind kind, platform::MonotonicTime now);
  void OnConnected(const StationInfo& info, const Background& background, Moment now);
  void OnDisconnected(const Departure& departure, Moment now);
  void OnPskMismatch(platform::MonotonicTime now);

  // Returns whether a line waits for the signal of the frame that opened it.
  bool AwaitsSignal() const;
  // Sets the signal of the last frame; nothing if it is unknown.
  void OnSignal(std::optional<int> signal);

  // Messages of the kernel.
  void OnFrameSent(const FrameSent& sent, platform::MonotonicTime now);
  void OnEapolSent(EapolMessage message);
  void OnRemoved(const StationInfo& info, platform::MonotonicTime now);
  // The kernel has dropped messages. A later handshake message may be one of them.
  void OnLoss() { last_message_.reset(); }

  // Nothing is left to read. Appends the lines that are complete or due.
  void Settle(Moment now, std::vector<EventLine>* lines);

  // hostapd is gone. Appends all lines as they are.
  void Finish(std::vector<EventLine>* lines);

  // The latest time for the next Settle.
  std::optional<platform::MonotonicTime> NextDeadline() const;

  // Returns whether there is nothing to remember.
  bool IsIdle() const;

  // Nothing unless the station is connected.
  std::optional<platform::MonotonicTime> connected_at() const { return connected_at_; }

 private:
  // The access point's answer to a request.
  struct Answer {
    LineKind to;
    std::uint16_t status;
    bool is_acknowledged;
    bool is_final;  // false within an exchange of several frames
  };
  // The access point's frame that ends a connection.
  struct Notice {
    std::uint16_t reason;
    std::optional<EapolMessage> last_message;
  };
  using Removal = StationInfo;
  struct Evidence {
    std::variant<Answer, Notice, Removal> content;
    platform::MonotonicTime at;
  };

  // A line that is not written yet.
  struct Step {
    LineKind kind;
    LineAttributes attributes;
    platform::MonotonicTime deadline;
    bool awaits_answer = false;
    bool awaits_signal = false;
    bool awaits_notice = false;
    bool awaits_removal = false;
    bool has_moved = false;

    bool IsComplete() const {
      return !awaits_answer && !awaits_signal && !awaits_notice && !awaits_removal;
    }
  };

  struct Join {
    platform::MonotonicTime since;
    std::optional<platform::MonotonicTime> mismatch_at = std::nullopt;  // the last wrong passphrase
  };

  struct LeaveFrame {
    FrameKind kind;
    platform::MonotonicTime at;
  };

  bool IsRepetition(LineKind kind) const;
  void OpenRequest(LineKind kind, const Background& background, Moment now);
  void OpenStep(const Step& step, platform::MonotonicTime now);

  void AddEvidence(const std::variant<Answer, Notice, Removal>& content,
                   platform::MonotonicTime now);
  void TakeEvidence(platform::MonotonicTime now);
  void TakeAnswer(Step* step, platform::MonotonicTime now);
  void TakeLeave(Step* step);
  void ApplyAnswer(const Answer& answer, Step* step, platform::MonotonicTime now);
  static void ApplyNotice(const Notice& notice, Step* step);

  bool HasMismatch() const { return join_.has_value() && join_->mismatch_at.has_value(); }
  void CheckJoin(Moment now);
  std::optional<std::string_view> FindFailure();
  void FailJoin(std::string_view reason, Moment now);
  std::string_view ReasonOfLeaveFrame() const;

  void DropEvidence(platform::MonotonicTime now);
  void WriteFirstStep(std::vector<EventLine>* lines);

  ap::MacAddress mac_;
  std::deque<Step> steps_;
  std::deque<Evidence> evidence_;  // in order of arrival
  // The last message of the four-way handshake since the association.
  std::optional<EapolMessage> last_message_;
  // Set while the station is associated but not connected.
  std::optional<Join> join_;
  std::optional<platform::MonotonicTime> connected_at_;
  std::optional<LeaveFrame> leave_frame_;
};

}  // namespace orvane::bridge

#endif  // BRIDGE_STATION_MACHINE_H_
