#include "bridge/hostapd_link.h"

#include <cerrno>
#include <utility>

#include "platform/logging.h"

namespace orvane::bridge {
namespace {

constexpr std::string_view kOk = "OK\n";

// A hostapd that can't report probe requests rejects the first command.
constexpr char kAttachWithProbes[] = "ATTACH probe_rx_events=1";
constexpr char kAttach[] = "ATTACH";
constexpr char kDetach[] = "DETACH";
constexpr char kPing[] = "PING";

// Settings that the bridge needs, whatever hostapd's configuration has.
constexpr const char* kSettings[] = {"SET notify_mgmt_frames 1", "SET track_sta_max_num 100"};

}  // namespace

HostapdLink::HostapdLink(platform::Loop& loop, platform::FilePath socket_path, Callbacks callbacks)
    : loop_(loop),
      socket_path_(std::move(socket_path)),
      callbacks_(std::move(callbacks)),
      look_timer_(loop) {
  look_timer_.Start(platform::TimeSpan::zero(), [this] { Look(); });
}

HostapdLink::~HostapdLink() {
  if (is_attached_) events_->SendOnly(kDetach);
}

void HostapdLink::Look() {
  look_timer_.Start(kLookInterval, [this] { Look(); });
  if (events_ == nullptr) {
    Connect();
  } else if (Identify(socket_path_) != identity_) {
    GoDown();
  } else if (++looks_ % kLooksPerRenewal == 0 && is_up_ && events_->waiting_count() == 0) {
    RenewSettings();
    events_->Request(kPing, [](std::string_view) {});
  }
}

void HostapdLink::Connect() {
  identity_ = Identify(socket_path_);
  if (!identity_.has_value()) return LogConnectError(errno);
  events_ = OpenChannel({.on_event = callbacks_.on_event,
                         .on_quiet = callbacks_.on_quiet,
                         .on_lost = [this] { GoDownSoon(); }});
  commands_ = OpenChannel({.on_event = [](std::string_view) {},
                           .on_quiet = [] {},
                           .on_lost = [this] { GoDownSoon(); }});
  if (events_ == nullptr || commands_ == nullptr) {
    const int error = errno;
    Close();
    return LogConnectError(error);
  }
  connect_error_ = 0;
  Attach(kAttachWithProbes, /*is_last_try=*/false);
}

// An absent hostapd is not an error. A killed one leaves its socket behind.
void HostapdLink::LogConnectError(int error) {
  const bool is_new = std::exchange(connect_error_, error) != error;
  if (!is_new || error == ENOENT || error == ECONNREFUSED) return;
  errno = error;
  PLOG(WARNING) << "Failed to connect to hostapd at " << socket_path_.native();
}

std::unique_ptr<HostapdChannel> HostapdLink::OpenChannel(HostapdChannel::Callbacks callbacks) {
  auto channel = std::make_unique<HostapdChannel>(loop_, std::move(callbacks));
  return channel->Open(socket_path_) ? std::move(channel) : nullptr;
}

void HostapdLink::Attach(const std::string& command, bool is_last_try) {
  events_->Request(command, [this, is_last_try](std::string_view answer) {
    if (answer == kOk) {
      is_attached_ = true;
      if (is_last_try) {
        LOG(INFO) << "hostapd at " << socket_path_.native() << " does not report probe requests";
      }
      Prepare();
    } else if (!is_last_try) {
      Attach(kAttach, /*is_last_try=*/true);
    } else {
      LogRefusal();
      GoDownSoon();
    }
  });
}

void HostapdLink::LogRefusal() {
  if (std::exchange(is_refusal_logged_, true)) return;
  LOG(WARNING) << "hostapd at " << socket_path_.native() << " refuses to report events";
}

void HostapdLink::Prepare() {
  for (const char* command : kSettings) {
    events_->Request(command, [this, command](std::string_view answer) {
      if (answer == kOk) return accepted_settings_.push_back(command);
      LOG(INFO) << "hostapd at " << socket_path_.native() << " does not support: " << command;
    });
  }
  events_->Request(kPing, [this](std::string_view) { GoUp(); });
}

// A command without an answer is processed after everything that hostapd has reported so far.
void HostapdLink::RenewSettings() {
  if (!is_up_ || accepted_settings_.empty() || std::exchange(is_renewing_, true)) return;
  for (const char* command : accepted_settings_) {
    const bool is_first = command == accepted_settings_.front();
    events_->Request(command, [this, is_first](std::string_view) {
      if (is_first) is_renewing_ = false;
    });
  }
}

void HostapdLink::GoUp() {
  LOG(INFO) << "Attached to hostapd at " << socket_path_.native();
  is_up_ = true;
  is_refusal_logged_ = false;
  callbacks_.on_up();
}

// A channel must not be destroyed while it runs a callback.
void HostapdLink::GoDownSoon() {
  loop_.PostTask(platform::BindWeak(weak_ptr_factory_.GetWeakPtr(), &HostapdLink::GoDown));
}

void HostapdLink::GoDown() {
  if (events_ == nullptr) return;
  // Read hostapd's last events.
  events_->ReadAll();
  callbacks_.on_quiet();
  Close();
  if (!std::exchange(is_up_, false)) return;
  LOG(WARNING) << "hostapd at " << socket_path_.native() << " is gone, or does not answer";
  callbacks_.on_down();
}

void HostapdLink::Close() {
  stray_count_ = stray_count();
  events_.reset();
  commands_.reset();
  is_attached_ = false;
  accepted_settings_.clear();
  is_renewing_ = false;
  weak_ptr_factory_.InvalidateWeakPtrs();
}

void HostapdLink::ReadEvents() {
  if (events_ != nullptr) events_->ReadAll();
}

void HostapdLink::Ask(std::string command, HostapdChannel::AnswerCallback callback) {
  if (is_up_) events_->Request(std::move(command), std::move(callback));
}

void HostapdLink::Forward(std::string command, HostapdChannel::AnswerCallback callback) {
  if (is_up_) commands_->Request(std::move(command), std::move(callback));
}

std::size_t HostapdLink::forwarded_count() const {
  return commands_ != nullptr ? commands_->waiting_count() : 0;
}

std::uint64_t HostapdLink::stray_count() const {
  std::uint64_t count = stray_count_;
  if (events_ != nullptr) count += events_->stray_count();
  if (commands_ != nullptr) count += commands_->stray_count();
  return count;
}

}  // namespace orvane::bridge
