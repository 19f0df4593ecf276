#include "optimizer/hostapd_interface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "testbed/hostapd.h"
#include "testbed/log_capture.h"
#include "testbed/temporary_directory.h"

namespace orvane::ap {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::Pair;

class HostapdInterfaceTest : public ::testing::Test {
 protected:
  ~HostapdInterfaceTest() override { platform::SetVerboseLevel(0); }

  void Start() {
    interface_.Init();
    loop_.RunUntilIdle();
    EXPECT_THAT(hostapd_2400_.Receive(), Optional(std::string("ATTACH")));
    EXPECT_THAT(hostapd_5000_.Receive(), Optional(std::string("ATTACH")));
    EXPECT_TRUE(hostapd_2400_.Send("OK\n"));
    EXPECT_TRUE(hostapd_5000_.Send("OK\n"));
    loop_.RunUntilIdle();
  }

  HostapdInterface::EventCallback Journal(const std::string& listener) {
    return [this, listener](const std::string& interface_name, HostapdEventType kind,
                            std::string_view mac, HostapdAttributes attributes) {
      std::string entry = listener + ": " + interface_name + " " +
                          std::string(HostapdEventTypeName(kind)) + " " + std::string(mac);
      for (const std::string_view attribute : attributes) entry += " " + std::string(attribute);
      journal_.push_back(entry);
    };
  }

  testbed::TemporaryDirectory directory_;
  testbed::Hostapd hostapd_2400_{directory_.path() / "wlan-2400mhz"};
  testbed::Hostapd hostapd_5000_{directory_.path() / "wlan-5000mhz"};
  platform::ManualLoop loop_;
  std::vector<std::string> journal_;
  std::vector<std::string> log_;
  platform::LogListener listener_{[this](platform::Severity severity, std::string_view text) {
    if (severity == platform::Severity::kVerbose) log_.emplace_back(text);
  }};
  HostapdInterface interface_{loop_, directory_.path()};
};

TEST_F(HostapdInterfaceTest, AttachesToExactlyTheTwoMainInterfaces) {
  std::map<std::string, testbed::Hostapd> others;
  for (const char* name :
       {"guest-2400mhz", "guest-5000mhz", "mesh-2400mhz", "mesh-5000mhz", "group-5000mhz"}) {
    others.try_emplace(name, directory_.path() / name);
  }
  Start();
  for (auto& [name, hostapd] : others) EXPECT_EQ(hostapd.Receive(), std::nullopt) << name;
}

TEST_F(HostapdInterfaceTest, EventsCarryTheirInterfaceAndReachEveryListenerInOrder) {
  interface_.AddEventCallback(Journal("first"));
  interface_.AddEventCallback(Journal("second"));
  Start();
  EXPECT_THAT(
      journal_,
      ElementsAre("first: wlan-2400mhz kHostapdStarted ", "second: wlan-2400mhz kHostapdStarted ",
                  "first: wlan-5000mhz kHostapdStarted ", "second: wlan-5000mhz kHostapdStarted "));
  journal_.clear();
  EXPECT_TRUE(hostapd_5000_.Send("<3>AP-STA-CONNECT 00:11:22:33:44:55 a:1 b:2"));
  loop_.RunUntilIdle();
  EXPECT_THAT(journal_,
              ElementsAre("first: wlan-5000mhz kStationConnect 00:11:22:33:44:55 a:1 b:2",
                          "second: wlan-5000mhz kStationConnect 00:11:22:33:44:55 a:1 b:2"));
}

TEST_F(HostapdInterfaceTest, EveryEventIsLoggedVerboselyAlsoWithoutListeners) {
  Start();
  EXPECT_THAT(log_, IsEmpty());
  platform::SetVerboseLevel(1);
  EXPECT_TRUE(hostapd_2400_.Send("<3>AP-STA-ASSOC-RESP aa:bb:cc:dd:ee:ff success:1"));
  EXPECT_TRUE(hostapd_2400_.Send("<3>AP-MONITOR-STA-INFO"));
  loop_.RunUntilIdle();
  EXPECT_THAT(log_, ElementsAre("Callback: 7 mac: aa:bb:cc:dd:ee:ff", "Callback: 12 mac: "));
}

TEST_F(HostapdInterfaceTest, EachVerboseLinePrecedesItsEvent) {
  interface_.AddEventCallback([](const std::string& interface_name, HostapdEventType,
                                 std::string_view,
                                 HostapdAttributes) { LOG(INFO) << interface_name; });
  const testbed::LogCapture log(1);
  interface_.Init();
  interface_.SendCommand("wlan-5000mhz", "PING");
  loop_.RunUntilIdle();
  using enum platform::Severity;
  EXPECT_THAT(log.lines(),
              ElementsAre(Pair(kVerbose, "wlan-5000mhz Send Command : PING"),
                          Pair(kError, "Send to hostapd failed: Bad file descriptor (9)"),
                          Pair(kVerbose, "Callback: 0 mac: "), Pair(kInfo, "wlan-2400mhz"),
                          Pair(kVerbose, "Callback: 0 mac: "), Pair(kInfo, "wlan-5000mhz")));
}

TEST_F(HostapdInterfaceTest, AListenerMayAddAnother) {
  interface_.AddEventCallback(
      [this](const std::string&, HostapdEventType kind, std::string_view, HostapdAttributes) {
        if (kind == HostapdEventType::kStationAuth) interface_.AddEventCallback(Journal("new"));
      });
  Start();
  EXPECT_TRUE(hostapd_2400_.Send("<3>AP-STA-AUTH m"));
  loop_.RunUntilIdle();
  EXPECT_THAT(journal_, ElementsAre("new: wlan-2400mhz kStationAuth m"));
}

TEST_F(HostapdInterfaceTest, ACommandGoesToItsInterfaceOnly) {
  Start();
  platform::SetVerboseLevel(1);
  interface_.SendCommand("wlan-5000mhz", "DISASSOCIATE 00:11:22:33:44:55 reason=5");
  EXPECT_THAT(hostapd_5000_.Receive(),
              Optional(std::string("DISASSOCIATE 00:11:22:33:44:55 reason=5")));
  EXPECT_EQ(hostapd_2400_.Receive(), std::nullopt);
  EXPECT_THAT(log_,
              ElementsAre("wlan-5000mhz Send Command : DISASSOCIATE 00:11:22:33:44:55 reason=5"));
}

TEST_F(HostapdInterfaceTest, ACommandForAnotherInterfaceIsOnlyLogged) {
  Start();
  platform::SetVerboseLevel(1);
  interface_.SendCommand("guest-5000mhz", "PING");
  EXPECT_THAT(log_, ElementsAre("guest-5000mhz Send Command : PING"));
  EXPECT_EQ(hostapd_2400_.Receive(), std::nullopt);
  EXPECT_EQ(hostapd_5000_.Receive(), std::nullopt);
}

TEST_F(HostapdInterfaceTest, ASecondInitReplacesTheMonitors) {
  Start();
  interface_.Init();
  loop_.RunUntilIdle();
  for (testbed::Hostapd* hostapd : {&hostapd_2400_, &hostapd_5000_}) {
    EXPECT_THAT(hostapd->Receive(), Optional(std::string("DETACH")));
    EXPECT_THAT(hostapd->Receive(), Optional(std::string("ATTACH")));
  }
}

TEST_F(HostapdInterfaceTest, ShutdownDetachesAndForgetsTheListeners) {
  interface_.AddEventCallback(Journal("listener"));
  Start();
  interface_.Shutdown();
  EXPECT_THAT(hostapd_2400_.Receive(), Optional(std::string("DETACH")));
  EXPECT_THAT(hostapd_5000_.Receive(), Optional(std::string("DETACH")));
  journal_.clear();
  interface_.SendCommand("wlan-2400mhz", "PING");
  EXPECT_EQ(hostapd_2400_.Receive(), std::nullopt);
  interface_.Init();
  loop_.RunUntilIdle();
  EXPECT_THAT(journal_, IsEmpty());
}

}  // namespace
}  // namespace orvane::ap
