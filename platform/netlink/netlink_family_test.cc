#include "platform/netlink/netlink_family.h"

#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/files.h"
#include "platform/netlink/generic_netlink_request.h"
#include "simulation/fake_kernel.h"
#include "simulation/message_builder.h"

namespace orvane::platform {
namespace {

using simulation::AttributeBuilder;
using simulation::FakeKernel;
using simulation::MakeGenericMessage;

using namespace std::chrono_literals;

class NetlinkFamilyTest : public testing::Test {
 protected:
  std::uint16_t Resolve(const std::string& name = "nl80211") {
    return ResolveFamily(*socket_, name);
  }

  FakeKernel kernel_;
  std::unique_ptr<NetlinkSocket> socket_ = kernel_.OpenSocket();
};

TEST_F(NetlinkFamilyTest, IsResolved) {
  EXPECT_EQ(Resolve(), FakeKernel::kNl80211Family);
  EXPECT_EQ(kernel_.requests().back().header.port, socket_->port());
}

TEST_F(NetlinkFamilyTest, MayBeAcknowledgedFirst) {
  kernel_.SetAcknowledgeFirst(true);
  EXPECT_EQ(Resolve(), FakeKernel::kNl80211Family);
}

TEST_F(NetlinkFamilyTest, IsZeroIfUnknown) {
  EXPECT_EQ(Resolve("nl80212"), 0);
  EXPECT_EQ(Resolve(""), 0);
  EXPECT_EQ(Resolve(std::string(300, 'x')), 0);
}

TEST_F(NetlinkFamilyTest, IsZeroIfTheKernelIsSilent) {
  kernel_.SetSilent(true);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Resolve(), 0);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, kFamilyDeadline);
  EXPECT_LT(waited, kFamilyDeadline + 5s);
}

TEST_F(NetlinkFamilyTest, IsZeroIfTheQuestionCannotBeSent) {
  socket_->Send(GenericNetlinkRequest(0, 0).bytes());
  kernel_.Deliver(MakeGenericMessage({GENL_ID_CTRL, 0, 1, socket_->port()}, CTRL_CMD_NEWFAMILY,
                                     AttributeBuilder().U16(CTRL_ATTR_FAMILY_ID, 99)));
  kernel_.FailSends(ENOBUFS);
  EXPECT_EQ(Resolve(), 0) << "no answer is awaited";
}

// It is always readable, and every attempt to receive has the same outcome.
class StubSocket : public NetlinkSocket {
 public:
  explicit StubSocket(ReceiveStatus status) : status_(status) {}
  int fd() const override { return fd_.get(); }
  std::uint32_t port() const override { return 1; }
  bool Send(std::span<const std::uint8_t> /*datagram*/) override { return true; }
  ReceiveResult Receive(std::span<std::uint8_t> /*buffer*/) override {
    ++receive_count_;
    return {status_};
  }

  int receive_count() const { return receive_count_; }

 private:
  ReceiveStatus status_;
  int receive_count_ = 0;
  ScopedFd fd_{eventfd(1, EFD_CLOEXEC)};
};

TEST_F(NetlinkFamilyTest, ForeignMessagesDoNotPutTheDeadlineOff) {
  StubSocket socket(ReceiveStatus::kIgnored);
  EXPECT_EQ(ResolveFamily(socket, "nl80211"), 0);
}

TEST_F(NetlinkFamilyTest, IsZeroIfTheSocketBreaks) {
  StubSocket socket(ReceiveStatus::kFailed);
  EXPECT_EQ(ResolveFamily(socket, "nl80211"), 0);
  EXPECT_EQ(socket.receive_count(), 1);
}

// All of these precede the answer.
TEST_F(NetlinkFamilyTest, ForeignMessagesAreIgnored) {
  socket_->Send(GenericNetlinkRequest(0, 0).bytes());
  const std::uint32_t port = socket_->port();
  const auto reply = [](std::uint16_t type, std::uint32_t sequence, std::uint32_t to) {
    return MakeGenericMessage({type, 0, sequence, to}, CTRL_CMD_NEWFAMILY,
                              AttributeBuilder().U16(CTRL_ATTR_FAMILY_ID, 99));
  };
  kernel_.Deliver(reply(GENL_ID_CTRL, 2, port));
  kernel_.Deliver(reply(GENL_ID_CTRL, 1, port + 1));
  kernel_.Deliver(reply(GENL_ID_CTRL + 1, 1, port));
  kernel_.DeliverFailure(ReceiveStatus::kTruncated, 0);
  EXPECT_EQ(Resolve(), FakeKernel::kNl80211Family);
}

TEST_F(NetlinkFamilyTest, IsZeroIfTheAnswerHasNoId) {
  kernel_.SetSilent(true);
  socket_->Send(GenericNetlinkRequest(0, 0).bytes());
  kernel_.Deliver(MakeGenericMessage({GENL_ID_CTRL, 0, 1, socket_->port()}, CTRL_CMD_NEWFAMILY,
                                     AttributeBuilder().Text(CTRL_ATTR_FAMILY_NAME, "nl80211")));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Resolve(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, kFamilyDeadline) << "it has an answer";
}

}  // namespace
}  // namespace orvane::platform
