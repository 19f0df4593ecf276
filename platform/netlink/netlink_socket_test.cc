#include "platform/netlink/netlink_socket.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <utility>

#include "platform/files.h"

namespace orvane::platform {
namespace {

class PairSocket : public NetlinkSocket {
 public:
  explicit PairSocket(ScopedFd fd) : fd_(std::move(fd)) {}
  int fd() const override { return fd_.get(); }
  std::uint32_t port() const override { return 1; }

 private:
  ScopedFd fd_;
};

class NetlinkSocketTest : public testing::Test {
 protected:
  NetlinkSocketTest() {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds), 0);
    socket_ = std::make_unique<PairSocket>(ScopedFd(fds[0]));
    peer_ = ScopedFd(fds[1]);
  }

  ReceiveResult Receive() { return socket_->Receive(buffer_); }

  std::unique_ptr<PairSocket> socket_;
  ScopedFd peer_;
  std::array<std::uint8_t, 8> buffer_{};
};

TEST_F(NetlinkSocketTest, SendsAndReceivesWholeDatagrams) {
  const std::array<std::uint8_t, 3> request = {1, 2, 3};
  EXPECT_TRUE(socket_->Send(request));
  std::array<std::uint8_t, 8> seen{};
  EXPECT_EQ(recv(peer_.get(), seen.data(), seen.size(), 0), 3);
  EXPECT_EQ(seen[2], 3);

  EXPECT_EQ(Receive().status, ReceiveStatus::kNothing);
  ASSERT_EQ(send(peer_.get(), "abcdefgh", 8, 0), 8);
  const ReceiveResult result = Receive();
  EXPECT_EQ(result.status, ReceiveStatus::kDatagram);
  EXPECT_EQ(result.length, 8U);
  EXPECT_EQ(buffer_[7], 'h');
}

TEST_F(NetlinkSocketTest, DropsWhatIsLargerThanTheBuffer) {
  ASSERT_EQ(send(peer_.get(), "abcdefghi", 9, 0), 9);
  EXPECT_EQ(Receive().status, ReceiveStatus::kTruncated);
  EXPECT_EQ(Receive().status, ReceiveStatus::kNothing);
}

TEST_F(NetlinkSocketTest, APeerThatIsGoneIsAFailure) {
  peer_ = ScopedFd();
  EXPECT_EQ(Receive().status, ReceiveStatus::kFailed);
  EXPECT_EQ(errno, ENOTCONN);
  EXPECT_FALSE(socket_->Send(std::array<std::uint8_t, 1>{1}));
  EXPECT_EQ(errno, EPIPE);
}

TEST_F(NetlinkSocketTest, ASendThatWouldBlockFails) {
  const std::array<std::uint8_t, 4096> request{};
  while (socket_->Send(request)) {
  }
  EXPECT_EQ(errno, EAGAIN);
}

}  // namespace
}  // namespace orvane::platform
