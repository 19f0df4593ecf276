#include "platform/netlink/socket_transport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "platform/files.h"
#include "platform/netlink/kernel_transport.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/sd_event_loop.h"

namespace orvane::platform {
namespace {

class PairTransport : public SocketTransport {
 public:
  explicit PairTransport(ScopedFd fd) : fd_(std::move(fd)) {}
  bool Open() override { return true; }
  int fd() const override { return fd_.get(); }
  std::uint32_t port() const override { return 1; }

 private:
  ScopedFd fd_;
};

class SocketTransportTest : public testing::Test {
 protected:
  SocketTransportTest() {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds), 0);
    transport_ = std::make_unique<PairTransport>(ScopedFd(fds[0]));
    peer_ = ScopedFd(fds[1]);
  }

  ReceiveResult Receive() { return transport_->Receive(buffer_); }

  std::unique_ptr<PairTransport> transport_;
  ScopedFd peer_;
  std::array<std::uint8_t, 8> buffer_{};
};

TEST_F(SocketTransportTest, SendsAndReceivesWholeDatagrams) {
  const std::array<std::uint8_t, 3> request = {1, 2, 3};
  EXPECT_TRUE(transport_->Send(request));
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

TEST_F(SocketTransportTest, DropsWhatIsLargerThanTheBuffer) {
  ASSERT_EQ(send(peer_.get(), "abcdefghi", 9, 0), 9);
  EXPECT_EQ(Receive().status, ReceiveStatus::kTruncated);
  EXPECT_EQ(Receive().status, ReceiveStatus::kNothing);
}

TEST_F(SocketTransportTest, APeerThatIsGoneIsAFailure) {
  peer_ = ScopedFd();
  EXPECT_EQ(Receive().status, ReceiveStatus::kFailed);
  EXPECT_EQ(errno, ENOTCONN);
  EXPECT_FALSE(transport_->Send(std::array<std::uint8_t, 1>{1}));
  EXPECT_EQ(errno, EPIPE);
}

TEST_F(SocketTransportTest, ASendThatWouldBlockFails) {
  const std::array<std::uint8_t, 4096> request{};
  while (transport_->Send(request)) {
  }
  EXPECT_EQ(errno, EAGAIN);
}

TEST_F(SocketTransportTest, KnowsTheIndexesOfInterfaces) {
  EXPECT_EQ(transport_->GetInterfaceIndex(""), 0U);
  EXPECT_EQ(transport_->GetInterfaceIndex("no-such-if"), 0U);
  EXPECT_EQ(transport_->GetInterfaceIndex("lo"), 1U);
  EXPECT_EQ(transport_->GetInterfaceIndex("no-such-if-15ch"), 0U);
  EXPECT_EQ(transport_->GetInterfaceIndex("one-more-than-15"), 0U);
}

TEST(KernelTransportTest, DoesNothingUntilItIsOpen) {
  KernelTransport transport;
  EXPECT_EQ(transport.fd(), -1);
  EXPECT_EQ(transport.port(), 0U);
  std::array<std::uint8_t, 8> buffer{};
  EXPECT_FALSE(transport.Send(buffer));
  EXPECT_EQ(transport.Receive(buffer).status, ReceiveStatus::kFailed);
  EXPECT_EQ(transport.GetInterfaceIndex("lo"), 1U);
}

TEST(KernelTransportTest, DoesNotOpenWithoutADescriptor) {
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none = {.rlim_cur = 0, .rlim_max = limit.rlim_max};
  // A sanitizer needs descriptors itself when it meets a type for the first time.
  std::ignore = KernelTransport().Open();
  KernelTransport transport;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const bool is_open = transport.Open();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_FALSE(is_open);
  EXPECT_EQ(transport.fd(), -1);
}

TEST(KernelTransportTest, IsNonBlockingAndClosesOnExec) {
  KernelTransport transport;
  if (!transport.Open()) GTEST_SKIP() << "No generic netlink here";
  EXPECT_NE(fcntl(transport.fd(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(fcntl(transport.fd(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_NE(transport.port(), 0U);
  std::array<std::uint8_t, 8> buffer{};
  EXPECT_EQ(transport.Receive(buffer).status, ReceiveStatus::kNothing);
}

// The kernel gives to everybody up to net.core.rmem_max, and counts it double.
bool HasALongQueueAsNobody() {
  constexpr uid_t kNobody = 65534;
  const int most = std::stoi(ReadFileToString("/proc/sys/net/core/rmem_max").value());
  if (geteuid() == 0 && setuid(kNobody) != 0) return false;
  KernelTransport transport;
  if (!transport.Open()) return false;
  int size = 0;
  socklen_t length = sizeof(size);
  if (getsockopt(transport.fd(), SOL_SOCKET, SO_RCVBUF, &size, &length) != 0) return false;
  return size == 2 * std::min(most, KernelTransport::kQueueSize);
}

TEST(KernelTransportDeathTest, AsksForALongQueueWithoutPrivilegesToo) {
  if (!KernelTransport().Open()) GTEST_SKIP() << "No generic netlink here";
  // A sanitizer could not look for leaks as nobody.
  EXPECT_EXIT(_exit(HasALongQueueAsNobody() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(KernelTransportTest, IgnoresWhatOtherProcessesSend) {
  KernelTransport transport;
  KernelTransport stranger;
  if (!transport.Open() || !stranger.Open()) GTEST_SKIP() << "No generic netlink here";
  sockaddr_nl address = {};
  address.nl_family = AF_NETLINK;
  address.nl_pid = transport.port();
  if (sendto(stranger.fd(), "abcd", 4, 0, reinterpret_cast<sockaddr*>(&address), sizeof(address)) !=
      4) {
    GTEST_SKIP() << "Not allowed to send to another process";
  }
  std::array<std::uint8_t, 8> buffer{};
  EXPECT_EQ(transport.Receive(buffer).status, ReceiveStatus::kIgnored);
  EXPECT_EQ(transport.Receive(buffer).status, ReceiveStatus::kNothing);
}

TEST(KernelTransportTest, TheRealKernelKnowsItsFamilies) {
  NetlinkManager manager;
  if (!manager.Init()) GTEST_SKIP() << "No generic netlink here";
  EXPECT_EQ(manager.GetFamily("nlctrl"), GENL_ID_CTRL);
  EXPECT_EQ(manager.GetFamily("no-such-family"), 0);
}

// The second dump waits for the end of the first one, as the real kernel wants it.
TEST(KernelTransportTest, TheRealKernelDumpsItsFamilies) {
  SdEventLoop loop;
  NetlinkManager manager;
  if (!manager.Init()) GTEST_SKIP() << "No generic netlink here";
  manager.Start(loop);
  GenericNetlinkRequest request(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
  request.AddFlags(NLM_F_DUMP);
  int ends = 0;
  std::set<std::uint16_t> families[2];
  for (auto& ids : families) {
    manager.Send(
        request,
        [&ids](const GenericNetlinkMessage& message) {
          std::uint16_t id = 0;
          EXPECT_TRUE(message.const_attributes()->GetU16AttributeValue(CTRL_ATTR_FAMILY_ID, &id));
          ids.insert(id);
        },
        [](bool* /*remove_handlers*/) { ADD_FAILURE() << "A dump is not acknowledged"; },
        [&](NetlinkManager::AuxiliaryKind kind, const NetlinkMessage* message) {
          EXPECT_EQ(kind, NetlinkManager::AuxiliaryKind::kDone);
          EXPECT_TRUE(message != nullptr && message->IsDone());
          if (++ends == 2) loop.Quit(0);
        });
  }
  EXPECT_EQ(loop.Run(), 0);
  EXPECT_TRUE(families[0].contains(GENL_ID_CTRL));
  EXPECT_EQ(families[0], families[1]);
}

}  // namespace
}  // namespace orvane::platform
