#include "bridge/counters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace orvane::bridge {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

Counters Example() {
  Counters counters;
  InterfaceCounters& interface = counters.interfaces.emplace_back();
  interface.interface = "wlan-2400mhz";
  interface.events[ControlEvent(ProbeReceived()).index()] = 3;
  interface.events[ControlEvent(MalformedEvent()).index()] = 1;
  interface.lines[static_cast<std::size_t>(LineKind::kProbe)] = 3;
  interface.lines[kPassedOn] = 2;
  interface.dropped_lines = 7;
  interface.is_attached = true;
  counters.interfaces.emplace_back().interface = "wlan-5000mhz";
  counters.netlink_messages = 10;
  counters.netlink_losses = 4;
  return counters;
}

TEST(CountersTest, AreWrittenAsMetrics) {
  const std::string text = FormatMetrics(Example());
  EXPECT_THAT(text, StartsWith("# HELP ap_wavelark_bridge_events_total Events of hostapd.\n"
                               "# TYPE ap_wavelark_bridge_events_total counter\n"
                               "ap_wavelark_bridge_events_total{interface=\"wlan-2400mhz\","
                               "kind=\"other\"} 0\n"));
  EXPECT_THAT(text, HasSubstr("\n# TYPE ap_wavelark_bridge_attached gauge\n"));
  for (const std::string line :
       {"events_total{interface=\"wlan-2400mhz\",kind=\"probe_request\"} 3\n",
        "events_total{interface=\"wlan-2400mhz\",kind=\"malformed\"} 1\n",
        "lines_total{interface=\"wlan-2400mhz\",kind=\"probe_request\"} 3\n",
        "lines_total{interface=\"wlan-2400mhz\",kind=\"passed_on\"} 2\n",
        "lines_total{interface=\"wlan-5000mhz\",kind=\"passed_on\"} 0\n",
        "dropped_lines_total{interface=\"wlan-2400mhz\"} 7\n",
        "attached{interface=\"wlan-2400mhz\"} 1\n", "attached{interface=\"wlan-5000mhz\"} 0\n",
        "netlink_messages_total 10\n", "netlink_losses_total 4\n"}) {
    EXPECT_THAT(text, HasSubstr("ap_wavelark_bridge_" + line));
  }
}

// The command line accepts quotes in the name of an interface.
TEST(CountersTest, EscapeTheNameOfAnInterface) {
  Counters counters;
  counters.interfaces.emplace_back().interface = "a\"b";
  EXPECT_THAT(FormatMetrics(counters),
              HasSubstr(R"(ap_wavelark_bridge_attached{interface="a\"b"} 0)"));
}

TEST(CountersTest, AreWrittenToTheLog) {
  EXPECT_THAT(
      FormatForLog(Example()),
      ElementsAre(
          "wlan-2400mhz: 4 events in (other 0, malformed 1, frame 0, probe_request 3, "
          "connected 0, disconnected 0, psk_mismatch 0, transition_answer 0), "
          "5 lines out (auth 0, assoc 0, connect 0, disconnect 0, probe_request 3, passed_on 2), "
          "dropped_lines 7, expired_lines 0, ignored_events 0, "
          "stray_answers 0, commands 0, refused_commands 0, lost_answers 0, attaches 0, "
          "attached 1, waiting_lines 0, monitors 0, stations 0",
          StartsWith("wlan-5000mhz: 0 events in"), "nl80211: 10 messages, 4 losses"));
}

TEST(CountersTest, NameEveryKind) {
  Counters counters;
  InterfaceCounters& interface = counters.interfaces.emplace_back();
  interface.lines[static_cast<std::size_t>(LineKind::kAuthentication)] = 1;
  interface.lines[static_cast<std::size_t>(LineKind::kDisconnect)] = 2;
  interface.events[ControlEvent(OtherEvent()).index()] = 3;
  interface.events[ControlEvent(FrameReceived()).index()] = 4;
  interface.events[ControlEvent(StationConnected()).index()] = 5;
  interface.events[ControlEvent(StationDisconnected()).index()] = 6;
  interface.events[ControlEvent(PskMismatch()).index()] = 7;
  interface.events[ControlEvent(TransitionAnswered()).index()] = 8;
  const std::string text = FormatMetrics(counters);
  for (const char* kind :
       {"auth\"} 1", "disconnect\"} 2", "other\"} 3", "frame\"} 4", "connected\"} 5",
        "disconnected\"} 6", "psk_mismatch\"} 7", "transition_answer\"} 8"}) {
    EXPECT_THAT(text, HasSubstr("kind=\"" + std::string(kind)));
  }
}

}  // namespace
}  // namespace orvane::bridge
