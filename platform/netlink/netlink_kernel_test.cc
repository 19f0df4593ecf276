#include "platform/netlink/netlink_kernel.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "platform/files.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/netlink/netlink_message.h"
#include "platform/sd_event_loop.h"
#include "simulation/fake_kernel.h"

namespace orvane::platform {
namespace {

using simulation::FakeKernel;

TEST(NetlinkKernelTest, KnowsTheIndexesOfInterfaces) {
  NetlinkKernel kernel;
  EXPECT_EQ(kernel.GetInterfaceIndex(""), 0U);
  EXPECT_EQ(kernel.GetInterfaceIndex("no-such-if"), 0U);
  EXPECT_EQ(kernel.GetInterfaceIndex("lo"), 1U);
  EXPECT_EQ(kernel.GetInterfaceIndex("no-such-if-15ch"), 0U);
  EXPECT_EQ(kernel.GetInterfaceIndex("one-more-than-15"), 0U);
}

TEST(NetlinkKernelTest, OpensNoSocketWithoutADescriptor) {
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none = {.rlim_cur = 0, .rlim_max = limit.rlim_max};
  // A sanitizer needs descriptors itself when it checks a type for the first time.
  std::ignore = NetlinkKernel().OpenSocket();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const std::unique_ptr<NetlinkSocket> socket = NetlinkKernel().OpenSocket();
  const int error_number = errno;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(socket, nullptr);
  EXPECT_EQ(error_number, EMFILE);
}

class RealSocketTest : public testing::Test {
 protected:
  void SetUp() override {
    if (socket_ == nullptr) GTEST_SKIP() << "No generic netlink here";
  }

  std::unique_ptr<NetlinkSocket> socket_ = NetlinkKernel().OpenSocket();
  std::array<std::uint8_t, 8> buffer_{};
};
using RealSocketDeathTest = RealSocketTest;

TEST_F(RealSocketTest, IsNonBlockingAndClosesOnExec) {
  EXPECT_NE(fcntl(socket_->fd(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(fcntl(socket_->fd(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_NE(socket_->port(), 0U);
  EXPECT_EQ(socket_->Receive(buffer_).status, ReceiveStatus::kNothing);
}

// Without privileges the kernel allows net.core.rmem_max, and doubles it.
bool HasALongQueueAsNobody() {
  constexpr uid_t kNobody = 65534;
  const int most = std::stoi(ReadFileToString("/proc/sys/net/core/rmem_max").value());
  if (geteuid() == 0 && setuid(kNobody) != 0) return false;
  const std::unique_ptr<NetlinkSocket> socket = NetlinkKernel().OpenSocket();
  if (socket == nullptr) return false;
  int size = 0;
  socklen_t length = sizeof(size);
  if (getsockopt(socket->fd(), SOL_SOCKET, SO_RCVBUF, &size, &length) != 0) return false;
  return size == 2 * std::min(most, NetlinkKernel::kQueueSize);
}

TEST_F(RealSocketDeathTest, AsksForALongQueueWithoutPrivilegesToo) {
  // LeakSanitizer can't run as nobody.
  EXPECT_EXIT(_exit(HasALongQueueAsNobody() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(RealSocketTest, IgnoresDatagramsOfOtherProcesses) {
  const std::unique_ptr<NetlinkSocket> stranger = NetlinkKernel().OpenSocket();
  sockaddr_nl address = {};
  address.nl_family = AF_NETLINK;
  address.nl_pid = socket_->port();
  if (sendto(stranger->fd(), "abcd", 4, 0, reinterpret_cast<sockaddr*>(&address),
             sizeof(address)) != 4) {
    GTEST_SKIP() << "Not allowed to send to another process";
  }
  EXPECT_EQ(socket_->Receive(buffer_).status, ReceiveStatus::kIgnored);
  EXPECT_EQ(socket_->Receive(buffer_).status, ReceiveStatus::kNothing);
}

TEST_F(RealSocketTest, TheManagerResolvesFamilies) {
  NetlinkKernel kernel;
  NetlinkManager manager(kernel);
  EXPECT_EQ(manager.GetFamily("nlctrl"), GENL_ID_CTRL);
  EXPECT_EQ(manager.GetFamily("no-such-family"), 0);
}

TEST_F(RealSocketTest, TheManagerRunsDumpsThatOverlap) {
  SdEventLoop loop;
  NetlinkKernel kernel;
  NetlinkManager manager(kernel);
  manager.Start(loop);
  GenericNetlinkRequest request(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
  request.AddFlags(NLM_F_DUMP);
  int ends = 0;
  std::set<std::uint16_t> families[2];
  for (auto& ids : families) {
    manager.Send(
        request,
        {.on_message =
             [&ids](const GenericNetlinkMessage& message) {
               const auto id = message.const_attributes()->Get<std::uint16_t>(CTRL_ATTR_FAMILY_ID);
               ASSERT_TRUE(id.has_value());
               ids.insert(*id);
             },
         .on_acknowledgement =
             [](bool* /*remove_handlers*/) { ADD_FAILURE() << "A dump is not acknowledged"; },
         .on_auxiliary =
             [&](AuxiliaryKind kind, const NetlinkMessage* message) {
               EXPECT_EQ(kind, AuxiliaryKind::kDone);
               EXPECT_TRUE(message != nullptr && message->IsDone());
               if (++ends == 2) loop.Quit(0);
             }});
  }
  EXPECT_EQ(loop.Run(), 0);
  EXPECT_TRUE(families[0].contains(GENL_ID_CTRL));
  EXPECT_EQ(families[0], families[1]);
}

// --- One dump per socket, on the real and the simulated kernel ---

struct DumpOutcome {
  std::vector<std::int32_t> errors;
  int dones = 0;
};

class OneDumpPerSocket {
 public:
  OneDumpPerSocket(NetlinkKernel& kernel, const GenericNetlinkRequest& dump)
      : sockets_{kernel.OpenSocket(), kernel.OpenSocket()}, dump_(dump) {}

  void Send(int socket, std::uint32_t sequence) {
    GenericNetlinkRequest request = dump_;
    request.SetSender(sockets_[socket]->port(), sequence);
    EXPECT_TRUE(sockets_[socket]->Send(request.bytes()));
  }

  DumpOutcome Receive(int socket) {
    DumpOutcome outcome;
    std::vector<std::uint8_t> buffer(64 * 1024);
    for (;;) {
      const ReceiveResult result = sockets_[socket]->Receive(buffer);
      if (result.status != ReceiveStatus::kDatagram) return outcome;
      std::span<const std::uint8_t> bytes(buffer.data(), result.length);
      while (const auto message = NetlinkMessage::TakeFrom(&bytes)) {
        if (message->IsError()) outcome.errors.push_back(message->GetErrno());
        if (message->IsDone()) ++outcome.dones;
      }
    }
  }

 private:
  std::array<std::unique_ptr<NetlinkSocket>, 2> sockets_;
  GenericNetlinkRequest dump_;
};

void ExpectOneDumpPerSocket(OneDumpPerSocket dumps) {
  dumps.Send(0, 1);
  dumps.Send(0, 2);
  dumps.Send(1, 1);
  const DumpOutcome first = dumps.Receive(0);
  EXPECT_THAT(first.errors, testing::ElementsAre(EBUSY));
  EXPECT_EQ(first.dones, 1);
  const DumpOutcome other = dumps.Receive(1);
  EXPECT_THAT(other.errors, testing::IsEmpty());
  EXPECT_EQ(other.dones, 1);
  dumps.Send(0, 3);
  EXPECT_EQ(dumps.Receive(0).dones, 1) << "the socket is free again";
}

TEST_F(RealSocketTest, RunsOneDumpAtATime) {
  NetlinkKernel kernel;
  GenericNetlinkRequest dump(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
  dump.AddFlags(NLM_F_DUMP);
  ExpectOneDumpPerSocket(OneDumpPerSocket(kernel, dump));
}

TEST(FakeSocketTest, RunsOneDumpAtATime) {
  FakeKernel kernel;
  kernel.AddInterface("wlan0", 1);
  kernel.Stations("wlan0").emplace_back();
  GenericNetlinkRequest dump(FakeKernel::kNl80211Family, NL80211_CMD_GET_STATION);
  EXPECT_TRUE(dump.attributes().SetU32AttributeValue(NL80211_ATTR_IFINDEX, 1));
  dump.AddFlags(NLM_F_DUMP);
  ExpectOneDumpPerSocket(OneDumpPerSocket(kernel, dump));
}

}  // namespace
}  // namespace orvane::platform
