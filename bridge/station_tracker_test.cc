#include "bridge/station_tracker.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/access_point_on_paper.h"

namespace orvane::bridge {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr auto kDeauthentication = FrameKind::kDeauthentication;
constexpr auto kDisassociation = FrameKind::kDisassociation;

// A line of the default station.
std::string Line(std::string_view name, std::string_view attributes) {
  std::string line = std::string(name) + " 02:00:00:00:02:00";
  if (!attributes.empty()) line.append(" ").append(attributes);
  return line;
}
std::string Auth(std::string_view attributes) { return Line("AP-STA-AUTH", attributes); }
std::string Assoc(std::string_view attributes) { return Line("AP-STA-ASSOC", attributes); }
std::string Connect(std::string_view attributes) { return Line("AP-STA-CONNECT", attributes); }
std::string Disconnect(std::string_view attributes) {
  return Line("AP-STA-DISCONNECT", attributes);
}

constexpr std::string_view kAccepted = "success:1 frame_status:0";

class StationTrackerTest : public testing::Test {
 protected:
  SharedMemory shared_;
  AccessPointOnPaper ap_{&shared_};
};

TEST_F(StationTrackerTest, WritesAVisitInOrder) {
  ap_.Authenticate();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted)));
  ap_.Associate();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Assoc(kAccepted)));
  ap_.Connect();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Connect("success:1")));
  ap_.Leave(kDeauthentication);
  ap_.Remove();
  ap_.Disconnect();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:deauth_cli")));
  ap_.Pass(seconds(2));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
}

TEST_F(StationTrackerTest, HasTimeAndAddress) {
  ap_.RequestAuthentication();
  ap_.TellSignal(-61);
  ap_.AnswerAuthentication();
  ap_.tracker().Settle(ap_.now());
  const std::vector<EventLine> lines = ap_.tracker().TakeLines();
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].kind, LineKind::kAuthentication);
  EXPECT_EQ(lines[0].text,
            "<3>AP-STA-AUTH 02:00:00:00:02:00 timestamp:1700000000000 "
            "client_mac:02:00:00:00:02:00 success:1 frame_status:0 frame_rssi:-61");
}

// --- Requests and answers ---

TEST_F(StationTrackerTest, AcceptsAnAnswerThatIsReadFirst) {
  ap_.AnswerAuthentication();
  ap_.RequestAuthentication();
  ap_.TellNoSignal();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted)));
}

TEST_F(StationTrackerTest, WaitsForTheAnswerAndTheSignal) {
  ap_.RequestAuthentication();
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.AnswerAuthentication();
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.TellSignal(-70);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth("success:1 frame_status:0 frame_rssi:-70")));
}

TEST_F(StationTrackerTest, UsesTheSignalOfTheRightStation) {
  ap_.RequestAuthentication();
  ap_.AnswerAuthentication();
  ap_.Now("02:00:00:00:03:00");
  ap_.TellSignal(-70);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted)));
}

TEST_F(StationTrackerTest, OmitsALostAnswer) {
  ap_.RequestAuthentication();
  ap_.TellSignal(-50);
  ap_.Pass(StationMachine::kAnswerWait - milliseconds(1));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.Pass(milliseconds(1));
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth("frame_rssi:-50")));
}

TEST_F(StationTrackerTest, WaitsOnlyShortlyForALostAnswerAfterTheNextRequest) {
  ap_.RequestAuthentication();
  ap_.TellNoSignal();
  ap_.Associate();
  ap_.Connect();
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.Pass(StationMachine::kLateWait);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(""), Assoc(kAccepted), Connect("success:1")));
}

TEST_F(StationTrackerTest, AcceptsALateAnswer) {
  ap_.RequestAuthentication();
  ap_.RequestAssociation();
  ap_.TellNoSignal();
  ap_.AnswerAuthentication();
  ap_.AnswerAssociation();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted), Assoc(kAccepted)));
}

TEST_F(StationTrackerTest, WritesOneLineForARepeatedRequest) {
  ap_.RequestAuthentication();
  ap_.Pass(milliseconds(900));
  ap_.RequestAuthentication();
  ap_.Pass(milliseconds(900));
  ap_.TellNoSignal();
  ap_.AnswerAuthentication();
  ap_.AnswerAuthentication();
  ap_.RequestAssociation();
  ap_.RequestAssociation();
  ap_.TellNoSignal();
  ap_.AnswerAssociation();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted), Assoc(kAccepted)));
}

// hostapd reports a retransmission, too, but does not answer it.
TEST_F(StationTrackerTest, IgnoresARetransmission) {
  const auto receive = [this](std::string_view flags, std::string_view sequence_control) {
    ap_.tracker().OnControlEvent(
        ParseControlEvent(fmt::format("<3>AP-MGMT-FRAME-RECEIVED buf=b0{}3a01020000000000"
                                      "020000000200020000000000{}000001000000",
                                      flags, sequence_control)),
        ap_.now());
    ap_.TellNoSignal();
  };
  receive("00", "1000");
  ap_.AnswerAuthentication();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted)));
  receive("08", "1000");
  ap_.Pass(StationMachine::kAnswerWait);
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  // The first transmission of this request was lost.
  receive("08", "2000");
  ap_.AnswerAuthentication();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted)));
}

// The answer to a repeated request must not be used for a later request.
TEST_F(StationTrackerTest, DropsAnUnexpectedAnswer) {
  ap_.Authenticate();
  ap_.AnswerAuthentication();
  ap_.TakeLines();
  ap_.RequestAuthentication();
  ap_.TellNoSignal();
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.AnswerAuthentication(/*status=*/1);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth("success:0 frame_status:1")));
}

TEST_F(StationTrackerTest, ReportsRefusals) {
  ap_.RequestAuthentication();
  ap_.TellNoSignal();
  ap_.AnswerAuthentication(/*status=*/37);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth("success:0 frame_status:37")));
  for (const auto& [status, attributes] :
       {std::pair(17, "success:0 event_reason:failed_to_add frame_status:17"),
        std::pair(82, "success:0 event_reason:reject_steer frame_status:82"),
        std::pair(30, "success:0 frame_status:30"),
        std::pair(65535, "success:0 frame_status:65535")}) {
    ap_.RequestAssociation();
    ap_.TellNoSignal();
    ap_.AnswerAssociation(static_cast<std::uint16_t>(status));
    EXPECT_THAT(ap_.TakeLines(), ElementsAre(Assoc(attributes)));
  }
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
}

TEST_F(StationTrackerTest, ReportsAnswersThatWereNotAcknowledged) {
  ap_.Acknowledge(false);
  ap_.Authenticate();
  ap_.Associate();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth("success:0 event_reason:no_ack frame_status:0"),
                                           Assoc("success:0 event_reason:no_ack frame_status:0")));
  // The station has not joined, so it has not failed to connect either.
  ap_.Acknowledge(true);
  ap_.SendOff(kDeauthentication, 2);
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
}

TEST_F(StationTrackerTest, MeasuresTheTimeSinceTheLastProbe) {
  ap_.Probe(-50);
  ap_.Pass(seconds(1));
  ap_.Probe(std::nullopt);
  ap_.Pass(milliseconds(120));
  ap_.Authenticate();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Line("AP-MONITOR-STA-INFO", "frame_rssi:-50"),
                                           Line("AP-MONITOR-STA-INFO", ""),
                                           Auth("success:1 frame_status:0 probe_delta_ms:120")));
  ap_.Pass(StationTracker::kProbeLife);
  ap_.Authenticate();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted)));
}

// --- Authentications of several frames ---

TEST_F(StationTrackerTest, WritesOneLineForAnSaeExchange) {
  ap_.RequestAuthentication(1, kSaeAuthentication);
  ap_.TellSignal(-40);
  ap_.AnswerAuthentication(0, 1, kSaeAuthentication);
  ap_.Pass(seconds(4));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.RequestAuthentication(2, kSaeAuthentication);
  ap_.AnswerAuthentication(0, 2, kSaeAuthentication);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth("success:1 frame_status:0 frame_rssi:-40")));
}

TEST_F(StationTrackerTest, ContinuesAfterARequestForATokenOrAnotherMethod) {
  for (const std::uint16_t status : std::initializer_list<std::uint16_t>{76, 126, 127}) {
    ap_.RequestAuthentication(1, kSaeAuthentication);
    ap_.AnswerAuthentication(status, 1, kSaeAuthentication);
    ap_.RequestAuthentication(1, kSaeAuthentication);
    ap_.AnswerAuthentication(0, 1, kSaeAuthentication);
    ap_.RequestAuthentication(2, kSaeAuthentication);
    ap_.AnswerAuthentication(0, 2, kSaeAuthentication);
    ap_.TellNoSignal();
    EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted))) << status;
  }
}

TEST_F(StationTrackerTest, ReportsAWrongSaePassword) {
  ap_.RequestAuthentication(1, kSaeAuthentication);
  ap_.AnswerAuthentication(0, 1, kSaeAuthentication);
  ap_.RequestAuthentication(2, kSaeAuthentication);
  ap_.AnswerAuthentication(15, 2, kSaeAuthentication);
  ap_.TellNoSignal();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth("success:0 frame_status:15")));
}

TEST_F(StationTrackerTest, ReportsNoSuccessForAnAbandonedExchange) {
  ap_.RequestAuthentication(1, kSaeAuthentication);
  ap_.AnswerAuthentication(0, 1, kSaeAuthentication);
  ap_.TellNoSignal();
  ap_.Pass(StationMachine::kExchangeWait);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth("")));
  // The second frame arrives too late to open a line of its own.
  ap_.RequestAuthentication(2, kSaeAuthentication);
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
}

TEST_F(StationTrackerTest, WaitsForTheFourthFrameOfASharedKeyExchange) {
  ap_.RequestAuthentication(1, kSharedKeyAuthentication);
  ap_.AnswerAuthentication(0, 2, kSharedKeyAuthentication);
  ap_.TellNoSignal();
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.AnswerAuthentication(0, 4, kSharedKeyAuthentication);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted)));
}

// --- Joins that fail ---

TEST_F(StationTrackerTest, WritesOneConnectForAWrongPassphrase) {
  ap_.Authenticate();
  ap_.Associate();
  ap_.TakeLines();
  for (int attempt = 0; attempt < 4; ++attempt) {
    ap_.SendMessage(EapolMessage::kPairwise1);
    ap_.SuspectPassphrase();
    ap_.Pass(seconds(1));
  }
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.SendOff(kDeauthentication, 15);
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Connect("success:0 event_reason:psk_mismatch")));
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
}

TEST_F(StationTrackerTest, ReportsAWrongPassphraseForEveryEndOfAJoin) {
  const std::string expected = Connect("success:0 event_reason:psk_mismatch");
  const auto mismatch = [this] {
    ap_.Authenticate();
    ap_.Associate();
    ap_.SuspectPassphrase();
    ap_.TakeLines();
  };
  mismatch();
  ap_.Leave(kDeauthentication);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(expected));
  mismatch();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(expected));
  mismatch();
  ap_.RequestAuthentication();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(expected));
  ap_.Pass(minutes(1));
  ap_.TakeLines();
  mismatch();
  ap_.Pass(StationMachine::kRetryWait);
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.Pass(milliseconds(1));
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(expected));
}

// A driver that associates stations itself reports no frames.
TEST_F(StationTrackerTest, ReportsAWrongPassphraseOfAStationWithoutFrames) {
  for (int attempt = 0; attempt < 4; ++attempt) {
    ap_.SuspectPassphrase();
    ap_.Pass(seconds(1));
  }
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.Pass(StationMachine::kRetryWait);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Connect("success:0 event_reason:psk_mismatch")));
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
}

TEST_F(StationTrackerTest, IgnoresAWrongPassphraseOfAConnectedStation) {
  ap_.Connect();
  ap_.TakeLines();
  ap_.SuspectPassphrase();
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
}

// A station that was connected before the bridge started renews its keys. Its connection ends.
TEST_F(StationTrackerTest, ForgetsAWrongPassphraseOfADisconnectedStation) {
  ap_.SuspectPassphrase();
  ap_.Disconnect();
  ap_.Remove();
  ap_.SendOff(kDeauthentication, 15);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("")));
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
}

TEST_F(StationTrackerTest, ReportsSuccessAfterAFailedHandshake) {
  ap_.Authenticate();
  ap_.Associate();
  ap_.SuspectPassphrase();
  ap_.Connect();
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(),
              ElementsAre(Auth(kAccepted), Assoc(kAccepted), Connect("success:1")));
}

TEST_F(StationTrackerTest, ReportsTheUnansweredHandshakeMessage) {
  const auto fail_after = [this](std::optional<EapolMessage> message) {
    ap_.Authenticate();
    ap_.Associate();
    if (message.has_value()) ap_.SendMessage(*message);
    ap_.SendMessage(EapolMessage::kOther);
    ap_.SendOff(kDeauthentication, 15);
    const std::vector<std::string> lines = ap_.TakeLines();
    return lines.empty() ? "" : lines.back();
  };
  EXPECT_EQ(fail_after(EapolMessage::kPairwise1),
            Connect("success:0 event_reason:eapol_m1_timeout"));
  EXPECT_EQ(fail_after(EapolMessage::kPairwise3),
            Connect("success:0 event_reason:eapol_m3_timeout"));
  // The status is lost in either case.
  EXPECT_EQ(fail_after(std::nullopt), Connect("success:0"));
}

TEST_F(StationTrackerTest, ReportsAClientThatGivesUp) {
  ap_.Authenticate();
  ap_.Associate();
  ap_.Leave(kDisassociation);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted), Assoc(kAccepted),
                                           Connect("success:0 event_reason:disassoc_cli")));
}

// The connection continues, so hostapd reports no other connect.
TEST_F(StationTrackerTest, ReportsNoFailureWhenAConnectedStationAssociatesAgain) {
  ap_.Join();
  ap_.Associate();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Assoc(kAccepted)));
  ap_.Leave(kDeauthentication);
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.Disconnect();
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:deauth_cli")));
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
}

// hostapd removes a connected station that starts over, and does not report a disconnect.
TEST_F(StationTrackerTest, ReportsAFailedJoinOfAStationThatStartsOver) {
  ap_.Join();
  ap_.RequestAuthentication();
  ap_.TellNoSignal();
  ap_.Remove();
  ap_.AnswerAuthentication();
  ap_.Associate();
  ap_.SuspectPassphrase();
  ap_.SendOff(kDeauthentication, 15);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted), Assoc(kAccepted),
                                           Connect("success:0 event_reason:psk_mismatch")));
}

TEST_F(StationTrackerTest, ForgetsAStationThatStartsOverAndIsGone) {
  ap_.Join();
  ap_.RequestAuthentication();
  ap_.TellNoSignal();
  ap_.Remove();
  ap_.AnswerAuthentication();
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted)));
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
}

// hostapd may have connected the station by now: only Settle knows that nothing is left to read.
TEST_F(StationTrackerTest, ReportsAFailureOnlyWhenEverythingIsRead) {
  ap_.Authenticate();
  ap_.Associate();
  ap_.SendOff(kDeauthentication, 4);
  ap_.Connect();
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Auth(kAccepted), Assoc(kAccepted), Connect("success:1"),
                                           Disconnect("event_reason:inactivity")));
}

TEST_F(StationTrackerTest, ReportsNoFailureWhenAStationIsRemoved) {
  ap_.Authenticate();
  ap_.Associate();
  ap_.Remove();
  ap_.TakeLines();
  ap_.Pass(seconds(2));
  ap_.Connect();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Connect("success:1")));
}

TEST_F(StationTrackerTest, WritesNothingForAnUnfinishedJoin) {
  ap_.Authenticate();
  ap_.Associate();
  ap_.TakeLines();
  ap_.Pass(minutes(1));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
}

// The lost message may be a later one of the handshake.
TEST_F(StationTrackerTest, ForgetsTheHandshakeMessageAfterALoss) {
  ap_.Authenticate();
  ap_.Associate();
  ap_.SendMessage(EapolMessage::kPairwise1);
  ap_.TakeLines();
  ap_.tracker().OnNl80211Loss();
  ap_.SendOff(kDeauthentication, 15);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Connect("success:0")));
}

// --- Ends of connections ---

TEST_F(StationTrackerTest, ReportsTheReasonOfTheAccessPoint) {
  for (const auto& [reason, attributes] :
       {std::pair(4, "event_reason:inactivity"), std::pair(34, "event_reason:low_ack"),
        std::pair(16, "event_reason:gtk_m1_timeout"), std::pair(2, "event_reason:wpa_auth"),
        std::pair(23, "event_reason:wpa_auth"), std::pair(15, "event_reason:eapol_m3_timeout"),
        std::pair(5, ""), std::pair(1, ""), std::pair(65535, "")}) {
    ap_.Join();
    ap_.SendOff(kDisassociation, static_cast<std::uint16_t>(reason));
    ap_.Disconnect();
    ap_.Remove();
    EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect(attributes))) << reason;
  }
}

TEST_F(StationTrackerTest, ReportsNoFailedHandshakeWithoutAHandshake) {
  ap_.Authenticate();
  ap_.Associate();
  ap_.Connect();
  ap_.TakeLines();
  ap_.SendOff(kDeauthentication, 2);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("")));
}

TEST_F(StationTrackerTest, UsesTheKernelsLastInformation) {
  const StationInfo last = {.signal = -80, .signal_average = -78, .transmit_rate = {}};
  ap_.Join();
  ap_.SendOff(kDeauthentication, 4);
  ap_.Disconnect();
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.Remove(last);
  EXPECT_THAT(ap_.TakeLines(),
              ElementsAre(Disconnect("event_reason:inactivity avg_rssi:-78 last_rx_rssi:-80")));
  // The same in the other order.
  ap_.Join();
  ap_.SendOff(kDeauthentication, 4);
  ap_.Remove(last);
  ap_.Disconnect();
  EXPECT_THAT(ap_.TakeLines(),
              ElementsAre(Disconnect("event_reason:inactivity avg_rssi:-78 last_rx_rssi:-80")));
}

TEST_F(StationTrackerTest, UsesTheKernelsInformationAtTheConnect) {
  ap_.KernelKnows({.signal = -50,
                   .signal_average = -51,
                   .transmit_rate = {.kbps = 6'500, .bandwidth_mhz = 20, .ht_mcs = 0}});
  ap_.Connect();
  EXPECT_THAT(ap_.TakeLines(),
              ElementsAre(Connect("success:1 avg_rssi:-51 last_rx_rssi:-50 tx_rate_kbps:6500 "
                                  "tx_rate_bw:20 tx_rate_mcs:0")));
  // No better information arrives in time.
  ap_.Disconnect();
  ap_.Pass(StationMachine::kLateWait);
  EXPECT_THAT(ap_.TakeLines(),
              ElementsAre(Disconnect("avg_rssi:-51 last_rx_rssi:-50 tx_rate_kbps:6500 "
                                     "tx_rate_bw:20 tx_rate_mcs:0")));
}

TEST_F(StationTrackerTest, LimitsTheWaitForTheKernel) {
  ap_.Join();
  ap_.Disconnect();
  ap_.Pass(StationMachine::kLateWait - milliseconds(1));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  ap_.Pass(milliseconds(1));
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("")));
}

TEST_F(StationTrackerTest, DoesNotMixConsecutiveVisits) {
  ap_.Join();
  ap_.Disconnect();
  ap_.RequestAuthentication();
  ap_.AnswerAuthentication();
  ap_.SendOff(kDeauthentication, 4);
  ap_.TellNoSignal();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect(""), Auth(kAccepted)));
}

// All kernel messages of two connections are read before hostapd's events of them.
TEST_F(StationTrackerTest, KeepsVisitsApartAfterAStall) {
  ap_.AnswerAuthentication();
  ap_.AnswerAssociation();
  ap_.SendOff(kDeauthentication, 4);
  ap_.Remove({.signal = -70, .signal_average = std::nullopt, .transmit_rate = {}});
  ap_.AnswerAuthentication();
  ap_.AnswerAssociation(17);
  for (int visit = 0; visit < 2; ++visit) {
    ap_.RequestAuthentication();
    ap_.RequestAssociation();
    if (visit == 0) {
      ap_.Connect();
      ap_.Disconnect();
    }
  }
  ap_.TellNoSignal();
  EXPECT_THAT(ap_.TakeLines(),
              ElementsAre(Auth(kAccepted), Assoc(kAccepted), Connect("success:1"),
                          Disconnect("event_reason:inactivity last_rx_rssi:-70"), Auth(kAccepted),
                          Assoc("success:0 event_reason:failed_to_add frame_status:17")));
}

TEST_F(StationTrackerTest, ReportsAnAcceptedRequestToMove) {
  ap_.Join();
  ap_.AnswerTransition(true);
  ap_.Pass(seconds(5));
  ap_.Leave(kDeauthentication);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:bss_tm_cli")));
  // A refused or expired transition has no effect.
  ap_.Join();
  ap_.AnswerTransition(true);
  ap_.Pass(StationTracker::kEffectWait + milliseconds(1));
  ap_.AnswerTransition(false);
  ap_.Leave(kDeauthentication);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:deauth_cli")));
}

TEST_F(StationTrackerTest, ForgetsALeavingFrameWithoutEffect) {
  ap_.Join();
  ap_.Leave(kDeauthentication);
  ap_.Pass(StationMachine::kEvidenceLife);
  ap_.SendOff(kDisassociation, 4);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:inactivity")));
}

// --- Steering, and the other band ---

TEST_F(StationTrackerTest, MarksASteeredStationUntilItIsBack) {
  ap_.Join();
  ap_.Steer();
  ap_.SendOff(kDisassociation, 5);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("steering_reason:steered")));
  ap_.Pass(milliseconds(1500));
  ap_.Authenticate();
  ap_.Associate();
  ap_.Pass(milliseconds(250));
  ap_.Connect();
  const std::string back = "success:1 frame_status:0 steering_reason:steered steer_delta_ms:1500";
  EXPECT_THAT(ap_.TakeLines(),
              ElementsAre(Auth(back), Assoc(back),
                          Connect("success:1 steering_reason:steered steer_delta_ms:1750")));
  // From then on it is an ordinary station.
  ap_.RequestAssociation();
  ap_.TellNoSignal();
  ap_.AnswerAssociation();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Assoc(kAccepted)));
}

// The station was connected before the bridge started.
TEST_F(StationTrackerTest, RemembersWhyANewStationLeaves) {
  ap_.Steer();
  ap_.AnswerTransition(true);
  ap_.Pass(StationTracker::kEffectWait);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(),
              ElementsAre(Disconnect("event_reason:bss_tm_cli steering_reason:steered")));
  ap_.Disconnect();
  ap_.Remove();
  ap_.Pass(seconds(1));
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("")));
}

TEST_F(StationTrackerTest, ForgetsWhyStationsLeaveWhenHostapdRestarts) {
  ap_.Steer();
  ap_.AnswerTransition(true);
  ap_.tracker().Reset();
  ap_.Disconnect();
  ap_.Remove();
  ap_.Pass(seconds(1));
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("")));
}

TEST_F(StationTrackerTest, RecognisesASteeredStationOnTheOtherBand) {
  AccessPointOnPaper other(&shared_);
  ap_.Join();
  ap_.Steer();
  other.Pass(seconds(3));
  other.Authenticate();
  EXPECT_THAT(
      other.TakeLines(),
      ElementsAre(Auth("success:1 frame_status:0 steering_reason:steered steer_delta_ms:3000")));
}

TEST_F(StationTrackerTest, IgnoresAnExpiredSteering) {
  ap_.Join();
  ap_.Steer();
  ap_.Pass(minutes(1) + milliseconds(1));
  ap_.Disconnect();
  ap_.SendOff(kDisassociation, 4);
  ap_.Remove();
  ap_.Authenticate();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:inactivity"), Auth(kAccepted)));
}

TEST_F(StationTrackerTest, RecognisesAMoveToTheOtherBand) {
  AccessPointOnPaper other(&shared_);
  ap_.Join();
  ap_.Pass(seconds(1));
  other.Pass(seconds(1));
  other.Authenticate();
  ap_.SendOff(kDisassociation, 4);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:other_bss")));
}

TEST_F(StationTrackerTest, PrefersTheReasonCodeToAMove) {
  AccessPointOnPaper other(&shared_);
  ap_.Join();
  other.Authenticate();
  ap_.SendOff(kDeauthentication, 15);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:eapol_m3_timeout")));
  ap_.Pass(seconds(1));
  ap_.Join();
  ap_.Leave(kDeauthentication);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:deauth_cli")));
}

TEST_F(StationTrackerTest, IgnoresAnEarlierVisitToTheOtherBand) {
  AccessPointOnPaper other(&shared_);
  other.Authenticate();
  ap_.Pass(seconds(1));
  ap_.Join();
  ap_.SendOff(kDisassociation, 4);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:inactivity")));
}

TEST_F(StationTrackerTest, IgnoresAnUnfinishedExchangeOnTheOtherBand) {
  AccessPointOnPaper other(&shared_);
  ap_.Join();
  other.RequestAuthentication(1, kSaeAuthentication);
  other.AnswerAuthentication(0, 1, kSaeAuthentication);
  ap_.SendOff(kDisassociation, 4);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:inactivity")));
}

TEST_F(StationTrackerTest, IgnoresAFailedAuthenticationOnTheOtherBand) {
  AccessPointOnPaper other(&shared_);
  ap_.Join();
  other.Pass(seconds(1));
  other.AnswerAuthentication(/*status=*/17);
  other.Acknowledge(false);
  other.AnswerAuthentication();
  ap_.SendOff(kDisassociation, 4);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:inactivity")));
}

// --- Missing or wrong reports ---

TEST_F(StationTrackerTest, WritesConnectsAndDisconnectsWithoutFrames) {
  ap_.Connect();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Connect("success:1")));
  ap_.Remove({.signal = -60, .signal_average = std::nullopt, .transmit_rate = {}});
  ap_.Disconnect();
  ap_.Pass(StationMachine::kLateWait);
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("last_rx_rssi:-60")));
}

TEST_F(StationTrackerTest, WritesADisconnectWithoutAConnect) {
  ap_.Leave(kDisassociation);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("event_reason:disassoc_cli")));
}

TEST_F(StationTrackerTest, WritesNothingForAnUnknownStation) {
  ap_.AnswerAuthentication();
  ap_.AnswerAssociation();
  ap_.SendMessage(EapolMessage::kPairwise1);
  ap_.SendOff(kDeauthentication, 7);
  ap_.Remove();
  ap_.AnswerTransition(true);
  ap_.Steer();
  ap_.Leave(kDeauthentication);
  ap_.RequestAuthentication(2);
  ap_.TellSignal(-50);
  ap_.Pass(minutes(2));
  EXPECT_THAT(ap_.TakeLines(), IsEmpty());
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
}

// A client that lost its state joins again. hostapd does not report the end of its earlier
// connection.
TEST_F(StationTrackerTest, WritesNoDisconnectThatHostapdDoesNotReport) {
  ap_.Join();
  ap_.RequestAuthentication();
  ap_.Remove({.signal = -50, .signal_average = std::nullopt, .transmit_rate = {}});
  ap_.TellNoSignal();
  ap_.AnswerAuthentication();
  ap_.Associate();
  ap_.Connect();
  EXPECT_THAT(ap_.TakeLines(),
              ElementsAre(Auth(kAccepted), Assoc(kAccepted), Connect("success:1")));
}

TEST_F(StationTrackerTest, IgnoresGroupAddresses) {
  ap_.Now("ff:ff:ff:ff:ff:ff");
  ap_.SendOff(kDeauthentication, 3);
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
  EXPECT_EQ(ap_.tracker().ignored_count(), 0U);
}

TEST_F(StationTrackerTest, MeasuresTimesIndependentlyOfTheWallClock) {
  ap_.Probe(-50);
  ap_.Pass(milliseconds(80));
  ap_.SetClock(platform::WallTime(-seconds(5)));
  ap_.RequestAuthentication();
  ap_.TellNoSignal();
  ap_.SetClock(platform::WallTime(seconds(4'000'000'000)));
  ap_.AnswerAuthentication();
  ap_.tracker().Settle(ap_.now());
  const std::vector<EventLine> lines = ap_.tracker().TakeLines();
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_THAT(lines[1].text, HasSubstr(" timestamp:-5000 "));
  EXPECT_THAT(lines[1].text, HasSubstr(" probe_delta_ms:80"));
}

TEST_F(StationTrackerTest, WritesWaitingLinesWhenHostapdIsGone) {
  ap_.Join();
  ap_.Disconnect();
  ap_.RequestAuthentication();
  ap_.TellSignal(-50);
  ap_.tracker().Reset();
  EXPECT_THAT(ap_.TakeWrittenLines(), ElementsAre(Disconnect(""), Auth("frame_rssi:-50")));
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
  EXPECT_EQ(ap_.tracker().NextDeadline(), std::nullopt);
  ap_.Associate();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Assoc(kAccepted)));
}

// --- Limits ---

std::string Address(unsigned number) {
  return fmt::format("02:00:00:00:{:02x}:{:02x}", number >> 8U, number & 255U);
}

TEST_F(StationTrackerTest, LimitsTheNumberOfStations) {
  for (unsigned i = 0; i < StationTracker::kMostStations + 3; ++i) {
    ap_.Now(Address(i));
    ap_.RequestAuthentication();
  }
  EXPECT_EQ(ap_.tracker().station_count(), StationTracker::kMostStations);
  EXPECT_EQ(ap_.tracker().ignored_count(), 3U);
  ap_.Pass(StationMachine::kAnswerWait);
  EXPECT_THAT(ap_.TakeLines(), SizeIs(StationTracker::kMostStations));
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
}

TEST_F(StationTrackerTest, KeepsNoStationsForProbes) {
  for (unsigned i = 0; i < 10'000; ++i) {
    ap_.Now(Address(i));
    ap_.Probe(-50);
  }
  EXPECT_EQ(ap_.tracker().station_count(), 0U);
  EXPECT_THAT(ap_.TakeLines(), SizeIs(10'000));
}

TEST_F(StationTrackerTest, SurvivesAFloodOfFramesOfOneStation) {
  ap_.Join();
  for (int i = 0; i < 10'000; ++i) ap_.SendOff(kDeauthentication, 7);
  ap_.Disconnect();
  ap_.Remove();
  EXPECT_THAT(ap_.TakeLines(), ElementsAre(Disconnect("")));
}

}  // namespace
}  // namespace orvane::bridge
