#include "bridge/control_event.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <variant>

namespace orvane::bridge {
namespace {

constexpr std::string_view kAuthentication =
    "<3>AP-MGMT-FRAME-RECEIVED buf=b0003a010200000000000200000002000200000000001000000001000000";

template <typename Event>
std::optional<Event> Parse(std::string_view datagram) {
  const ControlEvent event = ParseControlEvent(datagram);
  const Event* wanted = std::get_if<Event>(&event);
  return wanted != nullptr ? std::optional(*wanted) : std::nullopt;
}

bool IsMalformed(std::string_view datagram) { return Parse<MalformedEvent>(datagram).has_value(); }
bool IsOther(std::string_view datagram) { return Parse<OtherEvent>(datagram).has_value(); }

TEST(ControlEventTest, DistinguishesEventsFromAnswers) {
  EXPECT_TRUE(IsControlEvent("<3>AP-STA-CONNECTED"));
  EXPECT_TRUE(IsControlEvent("<3>"));
  EXPECT_FALSE(IsControlEvent("<3"));
  EXPECT_FALSE(IsControlEvent("<12>AP-STA-CONNECTED"));
  EXPECT_FALSE(IsControlEvent("OK\n"));
  EXPECT_FALSE(IsControlEvent(""));
}

TEST(ControlEventTest, ReadsAReceivedFrame) {
  const auto received = Parse<FrameReceived>(kAuthentication);
  ASSERT_TRUE(received.has_value());
  EXPECT_EQ(received->frame.kind, FrameKind::kAuthentication);
  EXPECT_EQ(received->frame.source.ToString(), "02:00:00:00:02:00");
}

TEST(ControlEventTest, RejectsAMalformedFrame) {
  EXPECT_TRUE(IsMalformed(kAuthentication.substr(0, kAuthentication.size() - 2)));
  EXPECT_TRUE(IsMalformed(kAuthentication.substr(0, kAuthentication.size() - 1)));
  EXPECT_TRUE(IsMalformed("<3>AP-MGMT-FRAME-RECEIVED buf="));
  EXPECT_TRUE(IsMalformed("<3>AP-MGMT-FRAME-RECEIVED buf=zz"));
  EXPECT_TRUE(IsMalformed("<3>AP-MGMT-FRAME-RECEIVED"));
}

TEST(ControlEventTest, IgnoresAFrameOfAnotherKind) {
  EXPECT_TRUE(IsOther("<3>AP-MGMT-FRAME-RECEIVED buf=d000"));
}

TEST(ControlEventTest, ReadsAProbeRequest) {
  const auto probe = Parse<ProbeReceived>("<3>RX-PROBE-REQUEST sa=02:00:00:00:02:00 signal=-50");
  ASSERT_TRUE(probe.has_value());
  EXPECT_EQ(probe->station.ToString(), "02:00:00:00:02:00");
  EXPECT_EQ(probe->signal, -50);
}

TEST(ControlEventTest, OmitsAnInvalidSignal) {
  const std::string probe = "<3>RX-PROBE-REQUEST sa=02:00:00:00:02:00";
  for (const std::string_view signal :
       {"", " signal=", " signal=0", " signal=-129", " signal=128", " signal=-50dBm", " signal=x",
        " signal=99999999999999999999", " signal=--5", " signal=+5", " signal= -50"}) {
    const auto event = Parse<ProbeReceived>(probe + std::string(signal));
    ASSERT_TRUE(event.has_value()) << signal;
    EXPECT_EQ(event->signal, std::nullopt) << signal;
  }
  EXPECT_EQ(Parse<ProbeReceived>(probe + " signal=-128")->signal, -128);
  EXPECT_EQ(Parse<ProbeReceived>(probe + " signal=127")->signal, 127);
  EXPECT_EQ(Parse<ProbeReceived>(probe + " buf=00 signal=-3")->signal, -3);
}

TEST(ControlEventTest, RejectsAProbeWithoutAStation) {
  EXPECT_TRUE(IsMalformed("<3>RX-PROBE-REQUEST"));
  EXPECT_TRUE(IsMalformed("<3>RX-PROBE-REQUEST sa=02:00:00:00:02 signal=-50"));
}

TEST(ControlEventTest, ReadsTheEventsOfAStation) {
  EXPECT_EQ(Parse<StationConnected>("<3>AP-STA-CONNECTED 02:00:00:00:02:00 keyid=a vlanid=3")
                ->station.ToString(),
            "02:00:00:00:02:00");
  EXPECT_EQ(
      Parse<StationDisconnected>("<3>AP-STA-DISCONNECTED 02:00:00:00:02:00\n")->station.ToString(),
      "02:00:00:00:02:00");
  EXPECT_EQ(
      Parse<PskMismatch>("<3>AP-STA-POSSIBLE-PSK-MISMATCH 02:00:00:00:02:00")->station.ToString(),
      "02:00:00:00:02:00");
}

TEST(ControlEventTest, RejectsAnEventWithoutAStation) {
  for (const std::string name :
       {"AP-STA-CONNECTED", "AP-STA-DISCONNECTED", "AP-STA-POSSIBLE-PSK-MISMATCH"}) {
    EXPECT_TRUE(IsMalformed("<3>" + name)) << name;
    EXPECT_TRUE(IsMalformed("<3>" + name + " nobody")) << name;
  }
}

TEST(ControlEventTest, ReadsAnAnswerToARequestToMove) {
  const auto accepted = Parse<TransitionAnswered>(
      "<3>BSS-TM-RESP 02:00:00:00:02:00 dialog_token=1 status_code=0 "
      "bss_termination_delay=0 target_bssid=02:00:00:00:01:00");
  ASSERT_TRUE(accepted.has_value());
  EXPECT_TRUE(accepted->is_accepted);
  EXPECT_FALSE(
      Parse<TransitionAnswered>("<3>BSS-TM-RESP 02:00:00:00:02:00 status_code=7")->is_accepted);
  EXPECT_TRUE(IsMalformed("<3>BSS-TM-RESP 02:00:00:00:02:00 status_code=none"));
  EXPECT_TRUE(IsMalformed("<3>BSS-TM-RESP 02:00:00:00:02:00"));
  EXPECT_TRUE(IsMalformed("<3>BSS-TM-RESP status_code=0"));
}

TEST(ControlEventTest, IgnoresOtherEvents) {
  EXPECT_TRUE(IsOther("<3>EAPOL-4WAY-HS-COMPLETED 02:00:00:00:02:00"));
  EXPECT_TRUE(IsOther("<3>AP-STA-CONNECT 02:00:00:00:02:00"));
  EXPECT_TRUE(IsOther("<3>"));
  EXPECT_TRUE(IsOther("OK\n"));
  EXPECT_TRUE(IsOther(""));
}

}  // namespace
}  // namespace orvane::bridge
