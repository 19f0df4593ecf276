#include "testbed/hostapd.h"

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>

namespace orvane::testbed {

using std::chrono::milliseconds;

platform::FilePath ControlSocketPath(const platform::FilePath& socket) {
  return kControlDirectory / socket;
}

void LeaveSocketFile(const std::string& interface) {
  Hostapd::Kill(std::make_unique<Hostapd>(interface));
}

void FillQueue(const std::string& interface) {
  const platform::ScopedFd client(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const sockaddr_un address = UnixAddress(ControlSocketPath(interface).native());
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  ASSERT_EQ(connect(client.get(), generic, sizeof(address)), 0);
  while (send(client.get(), "PING", 4, 0) == 4) {
  }
  ASSERT_EQ(errno, EAGAIN);
}

Hostapd::Hostapd(const platform::FilePath& socket)
    : path_(ControlSocketPath(socket)), socket_(path_) {
  std::filesystem::create_directories(path_.parent_path());
  const Failure failure = socket_.Open();
  EXPECT_FALSE(failure.has_value()) << *failure;
}

void Hostapd::Kill(std::unique_ptr<Hostapd> hostapd) {
  const platform::FilePath path = hostapd->path();
  const platform::FilePath aside = path.native() + ".aside";
  std::filesystem::rename(path, aside);
  hostapd.reset();  // removes its file only at its original path
  std::filesystem::rename(aside, path);
}

std::optional<std::string> Hostapd::Receive() {
  std::optional<Command> command = socket_.Receive();
  if (!command.has_value()) return std::nullopt;
  sender_ = command->sender;
  return std::move(command->text);
}

std::optional<Hostapd::Received> Hostapd::WaitForCommand(milliseconds timeout) {
  pollfd watched = {.fd = socket_.fd(), .events = POLLIN, .revents = 0};
  if (poll(&watched, 1, static_cast<int>(timeout.count())) <= 0) return std::nullopt;
  const Clock::time_point now = Clock::now();
  std::optional<std::string> text = Receive();
  if (!text.has_value()) return std::nullopt;
  return Received{std::move(*text), now};
}

Hostapd::Clock::time_point Hostapd::ExpectCommand(std::string_view command, milliseconds timeout) {
  const std::optional<Received> received = WaitForCommand(timeout);
  EXPECT_TRUE(received.has_value()) << "no " << command << " on " << path_;
  if (!received.has_value()) return Clock::now();
  EXPECT_EQ(received->text, command) << "on " << path_;
  return received->time;
}

void Hostapd::ExpectSilence(milliseconds time) {
  const std::optional<Received> received = WaitForCommand(time);
  EXPECT_FALSE(received.has_value()) << "unexpected " << received->text << " on " << path_;
}

bool Hostapd::Send(std::string_view text) {
  const Clock::time_point deadline = Clock::now() + kPatience;
  ControlSocket::SendResult result;
  do {
    result = TrySend(text);
  } while (result == ControlSocket::SendResult::kFull && Clock::now() < deadline);
  EXPECT_EQ(result, ControlSocket::SendResult::kSent) << "to " << sender_.Text();
  return result == ControlSocket::SendResult::kSent;
}

ControlSocket::SendResult Hostapd::TrySend(std::string_view text) {
  return socket_.Send(sender_, text);
}

bool Hostapd::IsTaken() const {
  int waiting = 0;
  return ioctl(socket_.fd(), SIOCOUTQ, &waiting) == 0 && waiting == 0;
}

Hostapd::Clock::time_point Hostapd::Attach() {
  Clock::time_point time;
  do {
    time = ExpectCommand("ATTACH");
    // A slow test may have missed an attempt. The daemon waits for the answer to the last one, or
    // makes another one soon.
    while (Receive().has_value()) {
    }
  } while (TrySend("OK\n") != ControlSocket::SendResult::kSent && !::testing::Test::HasFailure());
  return time;
}

}  // namespace orvane::testbed
