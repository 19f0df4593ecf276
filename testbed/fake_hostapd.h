#ifndef TESTBED_FAKE_HOSTAPD_H_
#define TESTBED_FAKE_HOSTAPD_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files.h"

namespace orvane::ap {

// A directory of its own for a test, gone with everything in it at the end.
class TestDirectory {
 public:
  TestDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "wavelark-XXXXXX";
    path_ = mkdtemp(name.data());
  }
  TestDirectory(const TestDirectory&) = delete;
  TestDirectory& operator=(const TestDirectory&) = delete;
  ~TestDirectory() { std::filesystem::remove_all(path_); }

  const platform::FilePath& path() const { return path_; }

 private:
  platform::FilePath path_;
};

// hostapd's end of a control socket, on a real one. It answers only when it is told to.
class FakeHostapd {
 public:
  explicit FakeHostapd(const platform::FilePath& path)
      : path_(path), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.native().copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  }
  FakeHostapd(const FakeHostapd&) = delete;
  FakeHostapd& operator=(const FakeHostapd&) = delete;
  ~FakeHostapd() { unlink(path_.c_str()); }

  // The next datagram that has come in, if any. Remembers its sender.
  std::optional<std::string> Receive() {
    std::array<char, 4096> buffer;
    sockaddr_un sender = {};
    socklen_t sender_length = sizeof(sender);
    const ssize_t length = recvfrom(socket_.get(), buffer.data(), buffer.size(), 0,
                                    reinterpret_cast<sockaddr*>(&sender), &sender_length);
    if (length < 0) return std::nullopt;
    sender_ = sender;
    sender_length_ = sender_length;
    return std::string(buffer.data(), static_cast<std::size_t>(length));
  }

  // To the sender of the last datagram. Whether it could be sent.
  bool Send(std::string_view text) const {
    return sendto(socket_.get(), text.data(), text.size(), 0,
                  reinterpret_cast<const sockaddr*>(&sender_), sender_length_) >= 0;
  }

  // The name of the last sender's socket: all bytes of it, the leading zero of an abstract one too.
  std::string SenderName() const {
    return std::string(sender_.sun_path, sender_length_ - offsetof(sockaddr_un, sun_path));
  }

 private:
  platform::FilePath path_;
  platform::ScopedFd socket_;
  sockaddr_un sender_ = {};
  socklen_t sender_length_ = 0;
};

}  // namespace orvane::ap

#endif  // TESTBED_FAKE_HOSTAPD_H_
