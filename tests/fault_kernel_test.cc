// Steering on a kernel that answers wrongly, late or not at all.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "testbed/access_point.h"
#include "testbed/steering_access_point.h"

namespace orvane::testbed {
namespace {

using ::testing::IsEmpty;

constexpr char kAt2400[] = "wlan-2400mhz 02:00:00:00:00:01 -50";
constexpr char kAlsoAt2400[] = "wlan-2400mhz 02:00:00:00:00:02 -50";
constexpr char kAt5000[] = "wlan-5000mhz 02:00:00:00:00:03 -50";
constexpr char kFirst[] = "02:00:00:00:00:01 link_quality_metric 50 ";
constexpr char kSecond[] = "02:00:00:00:00:02 link_quality_metric 50 ";
constexpr char kThird[] = "02:00:00:00:00:03 link_quality_metric 50 ";

// Logged for each request to the kernel.
constexpr char kRequest[] = "Netlink request ";

// Marks a dump as interrupted.
constexpr char kMarked[] = "! interrupted";
constexpr char kMark[] = "A netlink dump was interrupted by a change and may be inconsistent";

class KernelFault : public SteeringAccessPointTest {
 protected:
  using Clock = std::chrono::steady_clock;

  // Starts with three stations that are polled.
  void Begin() {
    EndFault();
    WriteSalt(kSalt);
    ap_.Start();
    ExpectPolls({kThird});
  }

  void EndFault() { ap_.SetStations({kAt2400, kAlsoAt2400, kAt5000}); }

  void SetFault(const std::string& fault) {
    ap_.SetStations({kAt2400, kAlsoAt2400, kAt5000, "! " + fault});
    begin_ = Clock::now();
  }

  // Waits until each of the stations has been polled once more.
  void ExpectPolls(const std::vector<std::string>& stations) {
    std::map<std::string, std::size_t> before;
    for (const std::string& station : stations) before[station] = Polls(station);
    for (const auto& [station, polls] : before) ap_.ExpectLoggedWith(station, polls + 1);
  }

  std::size_t Polls(const std::string& station) { return ap_.LogTextsWith(station).size(); }

  // Expects the warning repeatedly, but at most once per poll of an interface.
  void ExpectWarnings(const std::string& text, std::size_t count) {
    ap_.ExpectLogged("WARNING", text, count);
    const std::size_t warnings = ap_.LogCount("WARNING", text);
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(Clock::now() - begin_).count();
    EXPECT_LE(warnings, 2 * static_cast<std::size_t>(seconds + 1));
  }

  // The daemon has run all the time and works as before.
  void ExpectAllAsBefore() {
    EndFault();
    ExpectPolls({kFirst, kSecond, kThird});
    ap_.Settle(ap_.wlan2400());
    EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
    ap_.ExpectQuickExit(SIGTERM);
  }

 private:
  Clock::time_point begin_;
};

// The stations of an interrupted dump count.
TEST_F(KernelFault, DumpIsInterrupted) {
  Begin();
  ap_.SetStations({kAt2400, kAlsoAt2400, kAt5000, kMarked});
  ap_.ExpectLoggedWith(kMark);
  ExpectPolls({kFirst, kSecond, kThird});
  ExpectAllAsBefore();
}

TEST_F(KernelFault, DumpIsRefused) {
  Begin();
  SetFault("failing 0 16");
  ExpectWarnings("Netlink error 16: Device or resource busy (16)", 4);
  ExpectAllAsBefore();
}

// Stations before the failure count.
TEST_F(KernelFault, InterfaceDisappearsDuringADump) {
  Begin();
  SetFault("failing 1 19");
  ExpectWarnings("Netlink error 19: No such device (19)", 1);
  const std::size_t polls = Polls(kSecond);
  ExpectPolls({kFirst, kThird});
  EXPECT_LE(Polls(kSecond), polls);
  ExpectAllAsBefore();
}

// The end of the dump arrives, so the poll continues with the other interface.
TEST_F(KernelFault, MessagesAreLost) {
  constexpr char kLost[] = "Netlink messages are lost: No buffer space available (105)";
  Begin();
  SetFault("losing");
  ExpectWarnings(kLost, 2);
  const std::size_t polls = Polls(kFirst) + Polls(kSecond) + Polls(kThird);
  ExpectWarnings(kLost, ap_.LogCount("WARNING", kLost) + 2);
  EXPECT_EQ(Polls(kFirst) + Polls(kSecond) + Polls(kThird), polls);
  EXPECT_THAT(ap_.LogTextsWith("Netlink error"), IsEmpty());
  ExpectAllAsBefore();
}

// Each request ends after five seconds, and no request waits for another one. Everything else
// continues.
TEST_F(KernelFault, KernelDoesNotAnswer) {
  constexpr char kTimeOut[] = "Netlink error 2: Netlink response timeout";
  Begin();
  const std::size_t answered = ap_.LogTextsWith(kRequest).size();
  SetFault("silent");
  EXPECT_TRUE(WaitUntil([&] {
    return ap_.LogTextsWith(kRequest).size() >= answered + ap_.LogCount("WARNING", kTimeOut) + 6;
  })) << "six requests without an answer";
  ExpectWarnings(kTimeOut, 1);
  ap_.Settle(ap_.wlan5000());
  ExpectAllAsBefore();
}

// The stations of one interface count as those of the other. They appear as new there in each pass,
// so they are never steered. Stations that are no longer reported are not polled.
TEST_F(KernelFault, IndexIsReused) {
  constexpr char kPoor[] = "wlan-5000mhz 02:00:00:00:00:03 -82";
  constexpr std::size_t kPollsInTwoSteerIntervals = 2 * 4;
  Begin();
  // Marked, so that each poll is visible, if only by the mark of its station.
  ap_.SetStations({kAt2400, kAlsoAt2400, kPoor, "! reusing wlan-2400mhz wlan-5000mhz", kMarked});
  ap_.ExpectLoggedWith(kMark, 2);
  const std::size_t polls = Polls(kFirst);
  ap_.ExpectLoggedWith(kMark, ap_.LogTextsWith(kMark).size() + kPollsInTwoSteerIntervals);
  EXPECT_EQ(Polls(kFirst), polls);
  EXPECT_THAT(ap_.LogTextsWith(" Steer Client "), IsEmpty());
  ap_.SetStations({kAt2400, kAlsoAt2400, kPoor});
  ap_.ExpectLoggedWith(" Steer Client 02:00:00:00:00:03 ");
  ExpectAllAsBefore();
}

TEST_F(KernelFault, InterfaceDisappearsAndReturns) {
  Begin();
  SetFault("reusing wlan-2400mhz nobody");
  ExpectWarnings("Unable to get stations on interface: wlan-2400mhz", 2);
  ExpectAllAsBefore();
}

}  // namespace
}  // namespace orvane::testbed
