#include "optimizer/hostapd_monitor.h"

#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <utility>

#include "platform/logging.h"

namespace orvane::ap {
namespace {

constexpr std::string_view kAttachCommand = "ATTACH";
constexpr std::string_view kDetachCommand = "DETACH";
constexpr std::string_view kOkAnswer = "OK\n";

// Both addresses are passed with full size, regardless of the name's length: the trailing zeros of
// an abstract name are part of it.
sockaddr_un EmptyAddress() {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  return address;
}

void LogLostCommand(int error_number) {
  errno = error_number;
  PLOG(ERROR) << "Send to hostapd failed";
}

const sockaddr* AsGeneric(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

HostapdMonitorImpl::HostapdMonitorImpl(platform::Loop& loop,
                                       std::unique_ptr<platform::Sockets> sockets,
                                       HostapdLineCallback event_callback, std::string owner_tag,
                                       const platform::FilePath& control_directory,
                                       std::string interface_name)
    : loop_(loop),
      sockets_(std::move(sockets)),
      event_callback_(std::move(event_callback)),
      socket_path_(control_directory / interface_name),
      attach_timeout_(loop),
      attach_callback_(loop),
      interface_name_(std::move(interface_name)),
      owner_tag_(std::move(owner_tag)),
      socket_watcher_(
          loop, socket_path_,
          platform::BindWeak(weak_ptr_factory_.GetWeakPtr(), &HostapdMonitorImpl::CheckSocket)) {}

HostapdMonitorImpl::~HostapdMonitorImpl() { CloseSocket(); }

void HostapdMonitorImpl::Initialize() {
  CHECK(!started_);
  loop_.PostTask(
      platform::BindWeak(weak_ptr_factory_.GetWeakPtr(), &HostapdMonitorImpl::CheckSocket));
  started_ = true;
}

bool HostapdMonitorImpl::SendCommand(const char* data, std::size_t length) {
  const std::string_view command(data, length);
  return writer_ != nullptr ? writer_->Send(command) : SendNow(command);
}

bool HostapdMonitorImpl::SendNow(std::string_view command) {
  if (sockets_->Send(hostapd_socket_, command.data(), command.size(), 0) >= 0) return true;
  LogLostCommand(errno);
  return false;
}

// The socket's path is watched from construction on, but the monitor starts in Initialize.
void HostapdMonitorImpl::CheckSocket() {
  if (!started_) return;
  if (platform::PathExists(socket_path_)) {
    ResetAttachCallback(0);
  } else {
    CloseSocket();
  }
}

void HostapdMonitorImpl::ResetAttachCallback(int delay_ms) {
  attach_callback_.Start(
      std::chrono::milliseconds(delay_ms),
      platform::BindWeak(weak_ptr_factory_.GetWeakPtr(), &HostapdMonitorImpl::Attach));
}

void HostapdMonitorImpl::Attach() {
  if (attached_) {
    LOG(WARNING) << "Already attached, resetting state.";
    CloseSocket();
    ResetAttachCallback(kRetryDelayMs);
    return;
  }
  if (!TryAttach()) {
    LOG(WARNING) << "Could not attach to hostapd";
    CloseSocket();
    ResetAttachCallback(kRetryDelayMs);
    return;
  }
  // Sent before the answer: notifies the services that hostapd is available (again).
  event_callback_(HostapdEventType::kHostapdStarted, std::string_view(), HostapdAttributes());
  attach_timeout_.Start(kAttachTimeout, platform::BindWeak(weak_ptr_factory_.GetWeakPtr(),
                                                           &HostapdMonitorImpl::OnAttachTimeout));
}

// Bypasses the queue of commands: kHostapdStarted must follow only if ATTACH was sent.
bool HostapdMonitorImpl::TryAttach() { return OpenSocket() && SendNow(kAttachCommand); }

void HostapdMonitorImpl::OnAttachTimeout() {
  // If the process was blocked, the answer may already be in the queue.
  const platform::WeakPtr<HostapdMonitorImpl> alive = weak_ptr_factory_.GetWeakPtr();
  if (read_handler_ != nullptr) read_handler_->ReadNow();
  if (!alive || attached_) return;
  CloseSocket();
  ResetAttachCallback(kRetryDelayMs);
}

// On failure the descriptor stays in `hostapd_socket_`, and CloseSocket closes it.
bool HostapdMonitorImpl::OpenSocket() {
  CHECK(kInvalidSocket == hostapd_socket_);
  hostapd_socket_ = sockets_->Socket(AF_UNIX, SOCK_DGRAM, 0);
  if (hostapd_socket_ < 0) {
    PLOG(ERROR) << "Failed to open hostapd socket";
    return false;
  }
  if (!BindSocket() || !ConnectSocket()) return false;
  writer_ = std::make_unique<platform::DatagramWriter>(loop_, *sockets_, hostapd_socket_,
                                                       &LogLostCommand);
  read_handler_ = std::make_unique<platform::DatagramReader>(
      loop_, hostapd_socket_,
      [this](std::span<const std::uint8_t> datagram) { OnReadData(datagram); },
      [this](std::string_view error) { OnReadError(error); });
  return true;
}

bool HostapdMonitorImpl::BindSocket() {
  sockaddr_un address = EmptyAddress();
  std::snprintf(address.sun_path + 1, sizeof(address.sun_path) - 1, "%d-%s-%s",
                static_cast<int>(getpid()), owner_tag_.c_str(), interface_name_.c_str());
  if (sockets_->Bind(hostapd_socket_, AsGeneric(address), sizeof(address)) < 0) {
    PLOG(ERROR) << "Failed to bind to local socket";
    return false;
  }
  return true;
}

bool HostapdMonitorImpl::ConnectSocket() {
  sockaddr_un address = EmptyAddress();
  std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", socket_path_.c_str());
  if (sockets_->Connect(hostapd_socket_, AsGeneric(address), sizeof(address)) < 0) {
    PLOG(ERROR) << "Failed to connect";
    return false;
  }
  return true;
}

void HostapdMonitorImpl::CloseSocket() {
  if (hostapd_socket_ == kInvalidSocket) return;
  writer_.reset();
  if (attached_) {
    SendNow(kDetachCommand);
    attached_ = false;
  }
  read_handler_.reset();
  sockets_->Close(hostapd_socket_);
  hostapd_socket_ = kInvalidSocket;
}

void HostapdMonitorImpl::OnReadData(std::span<const std::uint8_t> datagram) {
  const std::string_view text(reinterpret_cast<const char*>(datagram.data()), datagram.size());
  if (text == kOkAnswer) {
    attach_timeout_.Stop();
    attached_ = true;
    return;
  }
  parser_.Parse(text, event_callback_);
}

void HostapdMonitorImpl::OnReadError(std::string_view error) {
  LOG(FATAL) << "Hostapd Socket read returns error: " << error;
}

}  // namespace orvane::ap
