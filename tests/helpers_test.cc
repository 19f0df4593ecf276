// The helpers of the other tests fail when they should.

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "testbed/access_point.h"
#include "testbed/control_socket.h"
#include "testbed/daemon_log.h"
#include "testbed/hostapd.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;

TEST(WaitUntilTest, ReturnsTheLastResultOfTheCondition) {
  int calls = 0;
  EXPECT_TRUE(WaitUntil([&] { return ++calls == 3; }));
  EXPECT_EQ(calls, 3);
  EXPECT_FALSE(WaitUntil([] { return false; }, milliseconds(10)));
}

TEST(ParseLogTest, SplitsWholeLinesAndKeepsOthersAsText) {
  const std::vector<LogLine> lines = ParseLog(
      "2026-01-02 03:04:05.678901 ERROR optimizer/a.cc:12] Send failed: [x] y\n"
      "no header] at all\n"
      "2026-01-02 03:04:05.678901 INFO optimizer/b.cc:3] cut sho");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].severity, "ERROR");
  EXPECT_EQ(lines[0].source, "optimizer/a.cc:12");
  EXPECT_EQ(lines[0].text, "Send failed: [x] y");
  EXPECT_EQ(lines[1].severity, "");
  EXPECT_EQ(lines[1].text, "no header] at all");
}

class HostapdHelperTest : public ::testing::Test {
 protected:
  HostapdHelperTest() {
    EXPECT_EQ(client_.Open(), std::nullopt);
    peer_.address.sun_family = AF_UNIX;
    hostapd_.path().native().copy(peer_.address.sun_path, sizeof(peer_.address.sun_path) - 1);
    peer_.length = sizeof(peer_.address);
  }

  void SendFromClient(std::string_view text) {
    EXPECT_EQ(client_.Send(peer_, text), ControlSocket::SendResult::kSent);
  }

  TemporaryDirectory directory_;
  Hostapd hostapd_{kWlan2400};
  ControlSocket client_{directory_.path() / "client"};
  PeerAddress peer_;
};

TEST_F(HostapdHelperTest, ExpectSilenceFailsOnACommand) {
  hostapd_.ExpectSilence(milliseconds(0));
  SendFromClient("PING");
  EXPECT_NONFATAL_FAILURE(hostapd_.ExpectSilence(milliseconds(0)), "unexpected PING");
}

TEST_F(HostapdHelperTest, ExpectCommandFailsOnAnotherCommandOrNone) {
  SendFromClient("PING");
  hostapd_.ExpectCommand("PING");
  SendFromClient("PING ");
  EXPECT_NONFATAL_FAILURE(hostapd_.ExpectCommand("PING"), "PING ");
  EXPECT_NONFATAL_FAILURE(hostapd_.ExpectCommand("PING", milliseconds(10)), "no PING");
}

TEST_F(HostapdHelperTest, IsTakenOnceTheClientHasRead) {
  SendFromClient("PING");
  hostapd_.ExpectCommand("PING");
  EXPECT_TRUE(hostapd_.IsTaken());
  hostapd_.Send("PONG");
  EXPECT_FALSE(hostapd_.IsTaken());
  ASSERT_TRUE(client_.Receive().has_value());
  EXPECT_TRUE(hostapd_.IsTaken());
}

TEST_F(HostapdHelperTest, FullQueueRefusesDatagrams) {
  FillQueue(kWlan2400);
  EXPECT_EQ(client_.Send(peer_, "PING"), ControlSocket::SendResult::kFull);
  ASSERT_TRUE(hostapd_.WaitForCommand(milliseconds(0)).has_value());
  SendFromClient("PING");
}

}  // namespace
}  // namespace orvane::testbed
