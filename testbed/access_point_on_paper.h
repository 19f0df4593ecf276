#ifndef TESTBED_ACCESS_POINT_ON_PAPER_H_
#define TESTBED_ACCESS_POINT_ON_PAPER_H_

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bridge/station_tracker.h"

namespace orvane::bridge {

// Drives the station tracker of one interface: stations send requests, the access point answers,
// time passes. Returns the tracker's lines without priority, time and repeated address:
// "AP-STA-AUTH 02:00:00:00:02:00 success:1".
class AccessPointOnPaper {
 public:
  static constexpr std::string_view kStation = "02:00:00:00:02:00";

  explicit AccessPointOnPaper(SharedMemory* shared)
      : tracker_(shared, [this](const ap::MacAddress&) { return known_; }) {}

  StationTracker& tracker() { return tracker_; }

  // Sets the kernel's information about stations.
  void KernelKnows(const StationInfo& info) { known_ = info; }

  // --- Frames of stations, as hostapd reports them ---

  void Probe(std::optional<int> signal) {
    tracker_.OnControlEvent(ProbeReceived{mac_, signal}, now_);
  }
  void RequestAuthentication(std::uint16_t transaction = 1, std::uint16_t algorithm = 0) {
    Receive({FrameKind::kAuthentication, {}, {}, 0, algorithm, transaction});
  }
  void RequestAssociation() { Receive({FrameKind::kAssociationRequest, {}, {}, 0, 0, 0}); }
  void Leave(FrameKind kind) { Receive({kind, {}, {}, 3, 0, 0}); }

  // --- Messages of the kernel ---

  void AnswerAuthentication(std::uint16_t status = 0, std::uint16_t transaction = 2,
                            std::uint16_t algorithm = 0) {
    Send({FrameKind::kAuthentication, {}, {}, status, algorithm, transaction});
  }
  void AnswerAssociation(std::uint16_t status = 0) {
    Send({FrameKind::kAssociationResponse, {}, {}, status, 0, 0});
  }
  void SendOff(FrameKind kind, std::uint16_t reason) { Send({kind, {}, {}, reason, 0, 0}); }
  void SendMessage(EapolMessage message) { Report(EapolSent{mac_, message}); }
  void Remove(const StationInfo& info = {}) { Report(StationRemoved{mac_, info}); }
  // Sets whether stations acknowledge later frames.
  void Acknowledge(bool is_acknowledged) { is_acknowledged_ = is_acknowledged; }

  // --- Other reports of hostapd ---

  void Connect() { tracker_.OnControlEvent(StationConnected{mac_}, now_); }
  void Disconnect() { tracker_.OnControlEvent(StationDisconnected{mac_}, now_); }
  void SuspectPassphrase() { tracker_.OnControlEvent(PskMismatch{mac_}, now_); }
  void AnswerTransition(bool is_accepted) {
    tracker_.OnControlEvent(TransitionAnswered{mac_, is_accepted}, now_);
  }
  void TellSignal(int signal) {
    const TrackedStation tracked = {mac_, signal};
    tracker_.OnTrackedStations({&tracked, 1});
  }
  void TellNoSignal() { tracker_.OnTrackedStations({}); }

  void Steer() { tracker_.OnSteered(mac_, now_); }

  // --- Time, and another station ---

  void Pass(platform::TimeSpan span) {
    tracker_.Settle(now_);
    const platform::MonotonicTime end = now_.monotonic + span;
    while (tracker_.NextDeadline().has_value() && *tracker_.NextDeadline() <= end) {
      MoveTo(*tracker_.NextDeadline());
      tracker_.Settle(now_);
    }
    MoveTo(end);
  }
  void SetClock(platform::WallTime wall) { now_.wall = wall; }
  void Now(std::string_view station) { mac_ = ap::MacAddress(station); }
  Moment now() const { return now_; }

  // Successful requests with their answers, and a whole join.
  void Authenticate() {
    RequestAuthentication();
    TellNoSignal();
    AnswerAuthentication();
  }
  void Associate() {
    RequestAssociation();
    TellNoSignal();
    AnswerAssociation();
  }
  void Join() {
    Authenticate();
    Associate();
    SendMessage(EapolMessage::kPairwise1);
    SendMessage(EapolMessage::kPairwise3);
    Connect();
    TakeLines();
  }

  // Settles, and returns the lines since the last call.
  std::vector<std::string> TakeLines() {
    tracker_.Settle(now_);
    return TakeWrittenLines();
  }
  std::vector<std::string> TakeWrittenLines() {
    std::vector<std::string> lines;
    for (const EventLine& line : tracker_.TakeLines()) lines.push_back(Shorten(line.text));
    return lines;
  }

  // Returns the "NAME station attributes" of a line.
  static std::string Shorten(std::string line) {
    line.erase(0, 3);
    Cut(" timestamp:", &line);
    Cut(" client_mac:", &line);
    return line;
  }

 private:
  static void Cut(std::string_view name, std::string* line) {
    const std::size_t begin = line->find(name);
    if (begin == std::string::npos) return;
    const std::size_t end = std::min(line->find(' ', begin + 1), line->size());
    line->erase(begin, end - begin);
  }

  void Receive(ManagementFrame frame) {
    frame.source = mac_;
    tracker_.OnControlEvent(FrameReceived{frame}, now_);
  }
  void Send(ManagementFrame frame) {
    frame.destination = mac_;
    Report(FrameSent{frame, is_acknowledged_});
  }
  template <typename Content>
  void Report(const Content& content) {
    tracker_.OnNl80211Event({1, content}, now_);
  }
  void MoveTo(platform::MonotonicTime moment) {
    now_.wall += moment - now_.monotonic;
    now_.monotonic = moment;
  }

  StationInfo known_;
  StationTracker tracker_;
  ap::MacAddress mac_{kStation};
  Moment now_ = {platform::MonotonicTime(std::chrono::hours(1)),
                 platform::WallTime(std::chrono::seconds(1'700'000'000))};
  bool is_acknowledged_ = true;
};

}  // namespace orvane::bridge

#endif  // TESTBED_ACCESS_POINT_ON_PAPER_H_
