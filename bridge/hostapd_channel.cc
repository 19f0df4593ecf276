#include "bridge/hostapd_channel.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "bridge/control_event.h"
#include "bridge/unix_address.h"
#include "platform/logging.h"

namespace orvane::bridge {
namespace {

constexpr std::size_t kLargestDatagram = 64 * 1024;
// After this many datagrams, other descriptors are served.
constexpr int kDatagramsPerWakeUp = 64;

}  // namespace

HostapdChannel::HostapdChannel(platform::Loop& loop, Callbacks callbacks)
    : loop_(loop),
      callbacks_(std::move(callbacks)),
      timeout_(loop),
      retry_(loop),
      buffer_(std::make_unique_for_overwrite<char[]>(kLargestDatagram)) {}

bool HostapdChannel::Open(const platform::FilePath& path) {
  const std::optional<UnixAddress> peer = UnixAddress::OfFile(path);
  if (!peer.has_value()) return false;
  fd_ = platform::ScopedFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  // hostapd answers to an address, so the socket needs one.
  const UnixAddress any_name;
  if (!fd_.is_valid() || !Bind(fd_.get(), any_name) || !Connect(fd_.get(), *peer)) return false;
  watch_ = loop_.WatchReadable(fd_.get(), this);
  CHECK(watch_ != nullptr);
  return true;
}

void HostapdChannel::Request(std::string command, AnswerCallback callback) {
  if (is_lost_) return;
  requests_.push_back({std::move(command), std::move(callback)});
  if (requests_.size() == 1) SendFirst();
}

void HostapdChannel::SendFirst() {
  if (requests_.empty() || is_first_sent_ || is_lost_) return;
  if (!timeout_.IsRunning()) timeout_.Start(kAnswerTimeout, [this] { OnTimeout(); });
  const std::string& command = requests_.front().command;
  const ssize_t sent = platform::RetryOnEintr(
      [&] { return send(fd_.get(), command.data(), command.size(), MSG_DONTWAIT | MSG_NOSIGNAL); });
  if (sent >= 0) {
    is_first_sent_ = true;
  } else if (errno == EAGAIN) {
    retry_.Start(kRetryDelay, [this] { SendFirst(); });
  } else {
    Lose();
  }
}

void HostapdChannel::SendOnly(std::string_view command) {
  send(fd_.get(), command.data(), command.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

void HostapdChannel::OnReadReady(int /*fd*/) {
  for (int i = 0; i < kDatagramsPerWakeUp; ++i) {
    if (!ReadOne()) return callbacks_.on_quiet();
  }
}

void HostapdChannel::ReadAll() {
  while (ReadOne()) {
  }
}

bool HostapdChannel::ReadOne() {
  const ssize_t length = platform::RetryOnEintr(
      [&] { return recv(fd_.get(), buffer_.get(), kLargestDatagram, MSG_DONTWAIT); });
  if (length < 0) {
    if (errno != EAGAIN) Lose();
    return false;
  }
  OnDatagram({buffer_.get(), static_cast<std::size_t>(length)});
  return true;
}

void HostapdChannel::OnDatagram(std::string_view datagram) {
  if (IsControlEvent(datagram)) {
    callbacks_.on_event(datagram);
    return;
  }
  if (!is_first_sent_) {
    ++stray_count_;
    LOG(WARNING) << "Unexpected answer of hostapd";
    return;
  }
  timeout_.Stop();
  is_first_sent_ = false;
  const AnswerCallback callback = std::move(requests_.front().callback);
  requests_.pop_front();
  callback(datagram);
  SendFirst();
}

// If the process was blocked, the answer may already be in the queue.
void HostapdChannel::OnTimeout() {
  ReadAll();
  if (!requests_.empty() && !timeout_.IsRunning()) Lose();
  callbacks_.on_quiet();
}

// Datagrams that hostapd sent earlier can still be read.
void HostapdChannel::Lose() {
  if (std::exchange(is_lost_, true)) return;
  watch_.reset();
  is_first_sent_ = false;
  timeout_.Stop();
  retry_.Stop();
  requests_.clear();
  callbacks_.on_lost();
}

}  // namespace orvane::bridge
