#include "testbed/hostapd.h"

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>

namespace orvane::ap {

using std::chrono::milliseconds;

platform::FilePath ControlSocketPath(const std::string& interface) {
  return platform::FilePath(kControlDirectory) / interface;
}

void LeaveSocketFile(const std::string& interface) {
  Hostapd::Kill(std::make_unique<Hostapd>(interface));
}

void FillQueue(const std::string& interface) {
  const platform::FilePath path = ControlSocketPath(interface);
  const platform::ScopedFd client(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.native().copy(address.sun_path, sizeof(address.sun_path) - 1);
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  ASSERT_EQ(connect(client.get(), generic, sizeof(address)), 0);
  while (send(client.get(), "PING", 4, 0) == 4) {
  }
  ASSERT_EQ(errno, EAGAIN);
}

Hostapd::Hostapd(const std::string& interface)
    : path_(ControlSocketPath(interface)), socket_(path_) {
  std::filesystem::create_directories(kControlDirectory);
  const lab::Failure failure = socket_.Open();
  EXPECT_FALSE(failure.has_value()) << *failure;
}

void Hostapd::Kill(std::unique_ptr<Hostapd> hostapd) {
  const platform::FilePath path = hostapd->path();
  const platform::FilePath aside = path.native() + ".aside";
  std::filesystem::rename(path, aside);
  hostapd.reset();  // which removes its file only where it finds it
  std::filesystem::rename(aside, path);
}

std::optional<Hostapd::Received> Hostapd::Receive(milliseconds timeout) {
  pollfd watched = {.fd = socket_.fd(), .events = POLLIN, .revents = 0};
  if (poll(&watched, 1, static_cast<int>(timeout.count())) <= 0) return std::nullopt;
  const Clock::time_point now = Clock::now();
  const std::optional<lab::Command> command = socket_.Receive();
  if (!command.has_value()) return std::nullopt;
  sender_ = command->sender;
  return Received{command->text, now};
}

Hostapd::Clock::time_point Hostapd::ExpectCommand(std::string_view command, milliseconds timeout) {
  const std::optional<Received> received = Receive(timeout);
  EXPECT_TRUE(received.has_value()) << "no " << command << " on " << path_;
  if (!received.has_value()) return Clock::now();
  EXPECT_EQ(received->text, command) << "on " << path_;
  return received->time;
}

void Hostapd::ExpectSilence(milliseconds time) {
  const std::optional<Received> received = Receive(time);
  EXPECT_FALSE(received.has_value()) << "unexpected " << received->text << " on " << path_;
}

void Hostapd::Send(std::string_view text) {
  const Clock::time_point deadline = Clock::now() + kPatience;
  lab::ControlSocket::SendResult result;
  do {
    result = TrySend(text);
  } while (result == lab::ControlSocket::SendResult::kFull && Clock::now() < deadline);
  EXPECT_EQ(result, lab::ControlSocket::SendResult::kSent) << "to " << sender_.Text();
}

lab::ControlSocket::SendResult Hostapd::TrySend(std::string_view text) {
  return socket_.Send(sender_, text);
}

bool Hostapd::IsTaken() const {
  int waiting = 0;
  return ioctl(socket_.fd(), SIOCOUTQ, &waiting) == 0 && waiting == 0;
}

Hostapd::Clock::time_point Hostapd::Attach() {
  const Clock::time_point time = ExpectCommand("ATTACH");
  Send("OK\n");
  return time;
}

}  // namespace orvane::ap
