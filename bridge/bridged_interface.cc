#include "bridge/bridged_interface.h"

#include <algorithm>
#include <utility>

#include "bridge/control_text.h"
#include "platform/logging.h"

namespace orvane::bridge {
namespace {

constexpr std::string_view kOk = "OK\n";
constexpr std::string_view kFail = "FAIL\n";
constexpr std::string_view kPong = "PONG\n";

constexpr std::string_view kAttach = "ATTACH";
constexpr std::string_view kDetach = "DETACH";
constexpr std::string_view kPing = "PING";
constexpr std::string_view kDisassociate = "DISASSOCIATE";

constexpr char kTrackedStations[] = "TRACK_STA_LIST";

// The daemon logs and drops all other lines of a stock hostapd.
bool IsPassedOn(const ControlEvent& event) {
  return std::holds_alternative<StationConnected>(event) ||
         std::holds_alternative<StationDisconnected>(event);
}

// Returns whether hostapd has just stored the signal of a frame that opens a line.
bool IsRequest(const ControlEvent& event) {
  const auto* received = std::get_if<FrameReceived>(&event);
  return received != nullptr && (received->frame.kind == FrameKind::kAuthentication ||
                                 received->frame.kind == FrameKind::kAssociationRequest);
}

}  // namespace

BridgedInterface::BridgedInterface(platform::Loop& loop, SharedMemory* shared, Settings settings,
                                   Callbacks callbacks)
    : loop_(loop),
      settings_(std::move(settings)),
      callbacks_(std::move(callbacks)),
      tracker_(shared, callbacks_.read_station),
      monitors_(settings_.names.served, settings_.queue_lines,
                [this](const UnixAddress& to, bool is_daemon, std::string_view line) {
                  return SendLine(to, is_daemon, line);
                }),
      serve_timer_(loop),
      alarm_(loop),
      retry_timer_(loop),
      link_(loop, settings_.hostapd_directory / settings_.names.hostapd,
            {.on_up = [this] { OnUp(); },
             .on_down = [this] { OnDown(); },
             .on_event = [this](std::string_view line) { OnEvent(line); },
             .on_quiet = [this] { OnQuiet(); }}) {
  counts_.interface = settings_.names.served;
}

Moment BridgedInterface::Now() const { return {loop_.MonotonicNow(), loop_.Now()}; }

// --- hostapd ---

void BridgedInterface::OnUp() {
  ++counts_.attaches;
  is_asking_for_signal_ = false;
  has_logged_unreadable_ = false;
  callbacks_.on_hostapd_up();
  if (socket_ != nullptr) StopServing();
  platform::TimeSpan delay = platform::TimeSpan::zero();
  if (absent_since_.has_value()) delay = *absent_since_ + kLeastAbsence - loop_.MonotonicNow();
  serve_timer_.Start(delay, [this] { KeepServing(); });
}

// Another process may delete the socket's file, for example one that cleans directories.
void BridgedInterface::KeepServing() {
  platform::TimeSpan delay = kServeInterval;
  if (socket_ == nullptr) {
    Serve();
  } else if (!socket_->IsAtPath()) {
    LOG(WARNING) << "Another process has removed the socket of " << settings_.names.served;
    StopServing();
    delay = kLeastAbsence;
  }
  serve_timer_.Start(delay, [this] { KeepServing(); });
}

void BridgedInterface::Serve() {
  const platform::FilePath path = settings_.served_directory / settings_.names.served;
  socket_ = ServedSocket::Create(loop_, path,
                                 [this](const UnixAddress& sender, std::string_view datagram) {
                                   OnDatagram(sender, datagram);
                                 });
  if (socket_ == nullptr) PLOG(ERROR) << "Failed to serve " << path.native();
}

void BridgedInterface::StopServing() {
  monitors_.DetachAll(loop_.MonotonicNow());
  socket_.reset();
  absent_since_ = loop_.MonotonicNow();
}

void BridgedInterface::OnDown() {
  tracker_.Reset();
  Settle();
  StopServingWhenRead(loop_.MonotonicNow() + kLastReadWait);
}

// A client closes its own socket when the served one disappears, and loses what it has not read.
void BridgedInterface::StopServingWhenRead(platform::MonotonicTime deadline) {
  FlushMonitors();
  const bool is_read = socket_ == nullptr || (socket_->IsRead() && !monitors_.HasWaitingLines());
  if (is_read || loop_.MonotonicNow() >= deadline) {
    serve_timer_.Stop();
    return StopServing();
  }
  serve_timer_.Start(kRetryDelay, [this, deadline] { StopServingWhenRead(deadline); });
}

// The kernel's messages from before this line have arrived by now, and are read first.
void BridgedInterface::OnEvent(std::string_view line) {
  callbacks_.read_kernel();
  VLOG(1) << settings_.names.served << " from hostapd: " << line;
  const ControlEvent event = ParseControlEvent(line);
  ++counts_.events.at(event.index());
  if (std::holds_alternative<MalformedEvent>(event)) LogUnreadable(line);
  if (IsPassedOn(event)) Push(line, kPassedOn);
  tracker_.OnControlEvent(event, Now());
  if (IsRequest(event)) AskForSignal();
  // A reload disconnects all stations before it resets the settings.
  if (std::holds_alternative<StationDisconnected>(event)) link_.RenewSettings();
}

// Any radio in range can send such frames, so only the first one of each hostapd is logged.
void BridgedInterface::LogUnreadable(std::string_view line) {
  if (std::exchange(has_logged_unreadable_, true)) return;
  LOG(WARNING) << "Unreadable event of hostapd: " << line;
}

// One answer serves all frames before it. hostapd reports a frame before it answers a later
// command, so a pending answer includes the signals of all frames that were read.
void BridgedInterface::AskForSignal() {
  if (std::exchange(is_asking_for_signal_, true)) return;
  link_.Ask(kTrackedStations, [this](std::string_view answer) {
    is_asking_for_signal_ = false;
    tracker_.OnTrackedStations(ParseTrackedStations(answer));
  });
}

// The message may have been read on behalf of another interface, which settles only its own lines.
void BridgedInterface::OnNl80211Event(const Nl80211Event& event) {
  tracker_.OnNl80211Event(event, Now());
  alarm_.Start(platform::TimeSpan::zero(), [this] { ReadAndSettle(); });
}

void BridgedInterface::Pump() {
  link_.ReadEvents();
  Settle();
}

// The kernel has been read before each event, but not after an answer.
void BridgedInterface::OnQuiet() {
  if (tracker_.NextDeadline().has_value()) return ReadAndSettle();
  Settle();
}

// --- Lines ---

// Lines must not be settled before everything is read. hostapd is read last, because it reports a
// request before the kernel reports the answer.
void BridgedInterface::ReadAndSettle() {
  callbacks_.read_kernel();
  Pump();
}

void BridgedInterface::Settle() {
  tracker_.Settle(Now());
  for (const EventLine& line : tracker_.TakeLines()) {
    Push(line.text, static_cast<std::size_t>(line.kind));
  }
  FlushMonitors();
  SetAlarm();
}

void BridgedInterface::Push(std::string_view line, std::size_t kind) {
  VLOG(1) << settings_.names.served << " writes: " << line;
  ++counts_.lines.at(kind);
  monitors_.Push(line, loop_.MonotonicNow());
}

SendResult BridgedInterface::SendLine(const UnixAddress& to, bool is_daemon,
                                      std::string_view line) {
  if (socket_ == nullptr) return SendResult::kGone;
  return socket_->Send(
      to, is_daemon ? ServedSocket::Share::kDaemonLine : ServedSocket::Share::kOtherLine, line);
}

void BridgedInterface::FlushMonitors() {
  monitors_.Flush(loop_.MonotonicNow());
  if (monitors_.HasWaitingLines() && !retry_timer_.IsRunning()) RetryLater(kRetryDelay);
}

void BridgedInterface::RetryLater(platform::TimeSpan delay) {
  retry_timer_.Start(delay, [this, delay] {
    const std::size_t depth = monitors_.depth();
    monitors_.Flush(loop_.MonotonicNow());
    if (!monitors_.HasWaitingLines()) return;
    const bool has_progress = monitors_.depth() < depth;
    RetryLater(has_progress ? kRetryDelay : std::min(2 * delay, kLongestRetryDelay));
  });
}

void BridgedInterface::SetAlarm() {
  const auto deadline = tracker_.NextDeadline();
  if (!deadline.has_value()) return alarm_.Stop();
  alarm_.Start(*deadline - loop_.MonotonicNow(), [this] { ReadAndSettle(); });
}

// --- Clients ---

void BridgedInterface::OnDatagram(const UnixAddress& sender, std::string_view datagram) {
  if (sender.IsUnnamed()) {
    ++counts_.refused_commands;
    return;
  }
  std::string_view rest = datagram;
  const std::string_view word = TakeUntil(&rest, ' ');
  if (word == kAttach) {
    const bool is_attached = monitors_.Attach(sender, loop_.MonotonicNow());
    VLOG(1) << settings_.names.served << (is_attached ? " attaches " : " refuses ")
            << sender.Name();
    Answer(sender, is_attached ? kOk : kFail);
    FlushMonitors();
  } else if (word == kDetach) {
    Answer(sender, monitors_.Detach(sender, loop_.MonotonicNow()) ? kOk : kFail);
  } else if (datagram == kPing) {
    Answer(sender, kPong);
  } else {
    ForwardCommand(sender, datagram);
  }
}

void BridgedInterface::ForwardCommand(const UnixAddress& sender, std::string_view command) {
  if (!link_.is_up() || command.size() > ServedSocket::kLongestCommand ||
      link_.forwarded_count() >= kMostCommands) {
    ++counts_.refused_commands;
    Answer(sender, kFail);
    return;
  }
  ++counts_.commands;
  NoteSteering(command);
  link_.Forward(std::string(command),
                [this, sender](std::string_view answer) { Answer(sender, answer); });
}

void BridgedInterface::NoteSteering(std::string_view command) {
  ap::MacAddress station;
  if (TakeUntil(&command, ' ') == kDisassociate &&
      ap::MacAddress::ParseFromString(TakeUntil(&command, ' '), &station)) {
    tracker_.OnSteered(station, Now());
  }
}

void BridgedInterface::Answer(const UnixAddress& client, std::string_view answer) {
  if (socket_ != nullptr &&
      socket_->Send(client, ServedSocket::Share::kAnswer, answer) == SendResult::kSent)
    return;
  ++counts_.lost_answers;
}

InterfaceCounters BridgedInterface::counters() {
  FlushMonitors();
  InterfaceCounters counters = counts_;
  counters.dropped_lines = monitors_.dropped_count();
  counters.expired_lines = monitors_.expired_count();
  counters.ignored_events = tracker_.ignored_count();
  counters.stray_answers = link_.stray_count();
  counters.is_attached = link_.is_up();
  counters.waiting_lines = monitors_.depth();
  counters.monitors = monitors_.monitor_count();
  counters.stations = tracker_.station_count();
  return counters;
}

}  // namespace orvane::bridge
