#include "bridge/monitor_set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::bridge {
namespace {

using platform::MonotonicTime;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kCapacity = 3;

UnixAddress Abstract(std::string_view name, std::size_t length = sizeof(sockaddr_un)) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  name.copy(address.sun_path + 1, sizeof(address.sun_path) - 1);
  return {address, static_cast<socklen_t>(length)};
}

const UnixAddress kDaemon = Abstract("1-wavelark-wlan0");
const UnixAddress kNextDaemon = Abstract("2-wavelark-wlan0");
const UnixAddress kOddDaemon = Abstract("x-wavelark-wlan0", 20);
const UnixAddress kOther = Abstract("wavelark-wlan0-cli");

class MonitorSetTest : public testing::Test {
 protected:
  void Push(std::string_view line) {
    monitors_.Push(line, now_);
    monitors_.Flush(now_);
  }
  bool Attach(const UnixAddress& monitor) {
    const bool is_attached = monitors_.Attach(monitor, now_);
    monitors_.Flush(now_);
    return is_attached;
  }
  std::vector<std::string>& Got(const UnixAddress& monitor) { return got_[monitor]; }

  SendResult Send(const UnixAddress& to, bool is_daemon, std::string_view line) {
    EXPECT_EQ(is_daemon, to == kDaemon || to == kNextDaemon || to == kOddDaemon);
    if (gone_.contains(to)) return SendResult::kGone;
    if (busy_.contains(to)) return SendResult::kBusy;
    got_[to].emplace_back(line);
    return SendResult::kSent;
  }

  std::set<UnixAddress> busy_;
  std::set<UnixAddress> gone_;
  std::map<UnixAddress, std::vector<std::string>> got_;
  MonotonicTime now_{seconds(1000)};
  MonitorSet monitors_{"wlan0", kCapacity,
                       [this](const UnixAddress& to, bool is_daemon, std::string_view line) {
                         return Send(to, is_daemon, line);
                       }};
};

TEST_F(MonitorSetTest, SendsLinesToAllMonitors) {
  EXPECT_TRUE(Attach(kDaemon));
  EXPECT_TRUE(Attach(kOther));
  Push("a");
  Push("b");
  EXPECT_THAT(Got(kDaemon), ElementsAre("a", "b"));
  EXPECT_THAT(Got(kOther), ElementsAre("a", "b"));
  EXPECT_EQ(monitors_.depth(), 0U);
}

TEST_F(MonitorSetTest, AttachesOnce) {
  EXPECT_TRUE(Attach(kOther));
  EXPECT_TRUE(Attach(kOther));
  Push("a");
  EXPECT_THAT(Got(kOther), ElementsAre("a"));
  EXPECT_EQ(monitors_.monitor_count(), 1U);
}

TEST_F(MonitorSetTest, DistinguishesAddressesByTheirLength) {
  const UnixAddress shorter = Abstract("wavelark-wlan0-cli", 30);
  EXPECT_TRUE(Attach(kOther));
  EXPECT_TRUE(Attach(shorter));
  EXPECT_EQ(monitors_.monitor_count(), 2U);
}

TEST_F(MonitorSetTest, KeepsLinesForABusyMonitor) {
  Attach(kOther);
  busy_ = {kOther};
  Push("a");
  Push("b");
  EXPECT_TRUE(monitors_.HasWaitingLines());
  busy_.clear();
  monitors_.Flush(now_);
  EXPECT_FALSE(monitors_.HasWaitingLines());
  EXPECT_THAT(Got(kOther), ElementsAre("a", "b"));
}

TEST_F(MonitorSetTest, DropsTheOldestLinesOfAFullQueue) {
  Attach(kOther);
  busy_ = {kOther};
  for (const char* line : {"a", "b", "c", "d", "e"}) Push(line);
  busy_.clear();
  monitors_.Flush(now_);
  EXPECT_THAT(Got(kOther), ElementsAre("c", "d", "e"));
  // The backlog for a daemon has the same limit.
  EXPECT_EQ(monitors_.depth(), 3U);
  EXPECT_EQ(monitors_.dropped_count(), 4U);
}

TEST_F(MonitorSetTest, SendsBeforeItDrops) {
  Attach(kDaemon);
  for (const char* line : {"a", "b", "c", "d", "e"}) monitors_.Push(line, now_);
  monitors_.Flush(now_);
  EXPECT_THAT(Got(kDaemon), ElementsAre("a", "b", "c", "d", "e"));
  EXPECT_EQ(monitors_.dropped_count(), 0U);
}

TEST_F(MonitorSetTest, GivesUndeliveredLinesToTheNextDaemon) {
  Attach(kDaemon);
  Push("a");
  busy_ = {kDaemon};
  Push("b");
  EXPECT_TRUE(monitors_.Detach(kDaemon, now_));
  Push("c");
  EXPECT_TRUE(Attach(kNextDaemon));
  Push("d");
  EXPECT_THAT(Got(kDaemon), ElementsAre("a"));
  EXPECT_THAT(Got(kNextDaemon), ElementsAre("b", "c", "d"));
}

TEST_F(MonitorSetTest, DetectsADeadDaemonWhenAnotherAttaches) {
  Attach(kDaemon);
  busy_ = {kDaemon};
  Push("a");
  gone_ = {kDaemon};
  Attach(kNextDaemon);
  EXPECT_THAT(Got(kNextDaemon), ElementsAre("a"));
  EXPECT_EQ(monitors_.monitor_count(), 1U);
}

TEST_F(MonitorSetTest, KeepsTheLineThatADeadDaemonDidNotGet) {
  Attach(kDaemon);
  gone_ = {kDaemon};
  Push("a");
  EXPECT_EQ(monitors_.monitor_count(), 0U);
  Attach(kNextDaemon);
  EXPECT_THAT(Got(kNextDaemon), ElementsAre("a"));
}

TEST_F(MonitorSetTest, KeepsNoLinesForOtherMonitors) {
  Attach(kDaemon);
  Attach(kOther);
  busy_ = {kOther};
  Push("a");
  monitors_.Detach(kOther, now_);
  busy_.clear();
  Attach(kOther);
  EXPECT_THAT(Got(kOther), IsEmpty());
  EXPECT_EQ(monitors_.depth(), 0U);
}

TEST_F(MonitorSetTest, KeepsNoLinesThatAnotherDaemonGot) {
  Attach(kDaemon);
  Attach(kNextDaemon);
  busy_ = {kDaemon};
  Push("a");
  gone_ = {kDaemon};
  monitors_.Flush(now_);
  EXPECT_THAT(Got(kNextDaemon), ElementsAre("a"));
  EXPECT_EQ(monitors_.depth(), 0U);
}

TEST_F(MonitorSetTest, DropsExpiredLines) {
  Push("a");
  now_ += seconds(30);
  Push("b");
  now_ += MonitorSet::kBacklogLife - seconds(29);
  Attach(kDaemon);
  EXPECT_THAT(Got(kDaemon), ElementsAre("b"));
  EXPECT_EQ(monitors_.expired_count(), 1U);
}

// The daemon hung for long. Its lines expire only when no daemon comes.
TEST_F(MonitorSetTest, KeepsOldLinesOfADetachedDaemon) {
  Attach(kDaemon);
  busy_ = {kDaemon};
  Push("a");
  now_ += 2 * MonitorSet::kBacklogLife;
  Push("b");
  monitors_.Detach(kDaemon, now_);
  now_ += MonitorSet::kBacklogLife;
  Attach(kNextDaemon);
  EXPECT_THAT(Got(kNextDaemon), ElementsAre("a", "b"));
  EXPECT_EQ(monitors_.expired_count(), 0U);
}

TEST_F(MonitorSetTest, DropsExpiredLinesWithoutADaemon) {
  Push("a");
  now_ += MonitorSet::kBacklogLife + seconds(1);
  monitors_.Flush(now_);
  EXPECT_EQ(monitors_.depth(), 0U);
  EXPECT_EQ(monitors_.expired_count(), 1U);
}

TEST_F(MonitorSetTest, KeepsTheDaemonsLinesWhenAllAreDetached) {
  Attach(kDaemon);
  Attach(kOther);
  busy_ = {kDaemon, kOther};
  Push("a");
  monitors_.DetachAll(now_);
  EXPECT_EQ(monitors_.monitor_count(), 0U);
  EXPECT_EQ(monitors_.depth(), 1U);
  Attach(kNextDaemon);
  EXPECT_THAT(Got(kNextDaemon), ElementsAre("a"));
}

TEST_F(MonitorSetTest, DetachesOnlyAttachedMonitors) {
  EXPECT_FALSE(monitors_.Detach(kOther, now_));
  Attach(kOther);
  EXPECT_TRUE(monitors_.Detach(kOther, now_));
  EXPECT_FALSE(monitors_.Detach(kOther, now_));
}

TEST_F(MonitorSetTest, LimitsTheNumberOfMonitors) {
  for (std::size_t i = 0; i < MonitorSet::kMostMonitors; ++i) {
    EXPECT_TRUE(Attach(Abstract("client " + std::to_string(i))));
  }
  EXPECT_FALSE(Attach(kOther));
  EXPECT_TRUE(Attach(Abstract("client 0")));
}

// One name belongs to another interface, one client only resembles the daemon.
TEST_F(MonitorSetTest, IdentifiesTheDaemonByTheSuffixOfItsName) {
  Push("a");
  Attach(Abstract("1-wavelark-wlan1"));
  Attach(Abstract("1-wavelark-wlan0x"));
  EXPECT_EQ(monitors_.depth(), 1U);
  Attach(kOddDaemon);
  EXPECT_EQ(monitors_.depth(), 0U);
}

}  // namespace
}  // namespace orvane::bridge
