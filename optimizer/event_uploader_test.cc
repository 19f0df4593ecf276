#include "optimizer/event_uploader.h"

#include <gmock/gmock.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/manual_loop.h"
#include "testbed/fake_recorder.h"
#include "testbed/hostapd.h"
#include "testbed/log_capture.h"
#include "testbed/temporary_directory.h"

namespace orvane::ap {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::Event;
using enum HostapdEventType;
using platform::Severity;
using testbed::FakeRecorder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;
using ::testing::SizeIs;
using ::testing::ThrowsMessage;
using namespace std::chrono_literals;

constexpr char kTypeUrl[] = "type." WAVELARK_TYPE_URL_DOMAIN "/access_infrastructure.proto.Event";
constexpr char kMac[] = "00:1a:2b:3c:4d:5e";
constexpr char kSalt[] = "a salt that is a secret";
// For the salt and the address 001a2b3c4d5e.
constexpr char kId[] = "677EC655334E8B61149B5F0A937F9401CF22DE26A97F688B3BE46413244CF904";
constexpr platform::TimeSpan kPeriod = 300s;

std::vector<Event> EventsOf(const FakeRecorder& recorder) {
  std::vector<Event> events;
  for (const FakeRecorder::Record& record : recorder.records()) {
    EXPECT_TRUE(events.emplace_back().ParseFromString(record.bytes));
  }
  return events;
}

// Returns exactly the fields that are set, in one line.
std::string TextOf(const google::protobuf::Message& message) {
  google::protobuf::TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  std::string text;
  printer.PrintToString(message, &text);
  return text;
}

class EventUploaderTest : public ::testing::Test {
 protected:
  using Attributes = std::vector<std::string_view>;

  EventUploaderTest() {
    std::ofstream(salt_file_) << kSalt;
    uploader_ = MakeUploader();
    uploader_->Enable();
    log_.Clear();
  }

  std::unique_ptr<EventUploader> MakeUploader() {
    auto uploader =
        std::make_unique<EventUploader>(loop_, &recorder_, StationIdGenerator(salt_file_));
    uploader->Initialize(kPeriod, &hostapd_);
    return uploader;
  }

  // Sends one event of an interface to the uploader.
  void Send(std::string_view interface_name, HostapdEventType kind, const Attributes& attributes,
            std::string_view mac = kMac) {
    uploader_->EventCallback(interface_name, kind, mac, attributes);
  }
  void Connect(const Attributes& attributes = {}, std::string_view mac = kMac) {
    Send("wlan-5000mhz", kStationConnect, attributes, mac);
  }
  void Probe(const Attributes& attributes = {}, std::string_view mac = kMac) {
    Send("wlan-5000mhz", kStationMonitorInfo, attributes, mac);
  }

  // Returns the only event of the only record at the end of the period.
  ClientEventInfo OnlyEvent() {
    loop_.AdvanceBy(kPeriod);
    const std::vector<Event> events = EventsOf(recorder_);
    EXPECT_THAT(events, SizeIs(1));
    if (events.size() != 1) return {};
    EXPECT_EQ(events[0].client_event_info_size(), 1);
    return events[0].client_event_info_size() == 1 ? events[0].client_event_info(0)
                                                   : ClientEventInfo();
  }

  testbed::TemporaryDirectory directory_;
  const platform::FilePath salt_file_ = directory_.path() / "salt";
  platform::ManualLoop loop_;
  HostapdInterface hostapd_{loop_, directory_.path()};
  FakeRecorder recorder_;
  testbed::LogCapture log_;
  std::unique_ptr<EventUploader> uploader_;
};

TEST_F(EventUploaderTest, HasItsNameAndIsOffAtFirst) {
  uploader_ = MakeUploader();
  EXPECT_EQ(uploader_->name(), "connectionEvents");
  Connect();
  loop_.AdvanceBy(kPeriod);
  EXPECT_THAT(recorder_.records(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventUploaderTest, SwitchingIsLogged) {
  uploader_->Disable();
  uploader_->Enable();
  EXPECT_THAT(log_.lines(),
              ElementsAre(Pair(Severity::kInfo, " Connection event upload disabled "),
                          Pair(Severity::kInfo, " Connection event upload enabled ")));
}

TEST_F(EventUploaderTest, OneEventBecomesOneRecord) {
  Connect({"event_reason:psk_mismatch", "tx_rate_sgi:1"});
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  EXPECT_EQ(recorder_.records()[0].data_type, kTypeUrl);
  EXPECT_EQ(recorder_.records()[0].timeout_ms, -1);
  EXPECT_EQ(TextOf(EventsOf(recorder_)[0]),
            std::string("interface: WLAN_5000MHZ client_event_info { client_shmac: \"") + kId +
                "\" event_time_in_milliseconds: 1000000000000 event_type: CONNECT "
                "event_reason: DISCONNECT_PSK_MISMATCH "
                "data_rate { is_long_guard_interval: false } } ");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventUploaderTest, NeitherTheAddressNorTheSaltIsInTheRecord) {
  uploader_->OnFlagChanged("connectionEventsProbeReqUpload", "1");
  Connect({"client_mac:00:1A:2B:3C:4D:5E", "tx_rate_mac:00:1a:2b:3c:4d:5e", "noColon001a2b3c4d5e"});
  Probe({"client_mac:001a2b3c4d5e"});
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  const std::string& bytes = recorder_.records()[0].bytes;
  EXPECT_THAT(bytes, HasSubstr(kId));
  for (const char* secret : {kMac, "00:1A:2B:3C:4D:5E", "001a2b3c4d5e", "001A2B3C4D5E",
                             "\x1a\x2b\x3c\x4d\x5e", kSalt, "secret"}) {
    EXPECT_THAT(bytes, Not(HasSubstr(secret)));
  }
}

TEST_F(EventUploaderTest, TheSaltIsInNoLogLine) {
  platform::SetVerboseLevel(1);
  uploader_ = MakeUploader();
  uploader_->Enable();
  Connect();
  recorder_.FailWith("no");
  loop_.AdvanceBy(kPeriod);
  EXPECT_THAT(log_.lines(), SizeIs(4));
  for (const testbed::LogCapture::Line& line : log_.lines()) {
    EXPECT_THAT(line.second, Not(HasSubstr("secret")));
  }
}

TEST_F(EventUploaderTest, EachKindHasItsType) {
  const struct {
    HostapdEventType kind;
    ClientEventInfo::ClientEventType type;
  } rows[] = {
      {kStationAuth, ClientEventInfo::AUTHENTICATE},
      {kStationAuthResponse, ClientEventInfo::AUTHENTICATE},
      {kStationAssoc, ClientEventInfo::ASSOCIATE},
      {kStationAssocResp, ClientEventInfo::ASSOCIATE},
      {kStationConnect, ClientEventInfo::CONNECT},
      {kStationDisconnect, ClientEventInfo::DISCONNECT},
  };
  for (const auto& row : rows) Send("wlan-5000mhz", row.kind, {});
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  const Event event = EventsOf(recorder_)[0];
  ASSERT_EQ(event.client_event_info_size(), 6);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(event.client_event_info(i).event_type(), rows[i].type);
}

TEST_F(EventUploaderTest, OtherKindsAreIgnoredAndOpenNoBatch) {
  uploader_->OnFlagChanged("connectionEventsProbeReqUpload", "1");
  for (const HostapdEventType kind :
       {kHostapdStarted, kStationConnected, kStationDisconnected, kStationSteering,
        kStationNoSteering, kStationTaxonomy, static_cast<HostapdEventType>(13),
        static_cast<HostapdEventType>(-1)}) {
    Send("wlan-5000mhz", kind, {"frame_status:abc", "noColonHere"});
  }
  loop_.AdvanceBy(kPeriod / 2);
  Connect();
  loop_.AdvanceBy(kPeriod / 2);
  EXPECT_THAT(recorder_.records(), IsEmpty());
  loop_.AdvanceBy(kPeriod / 2);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  EXPECT_EQ(EventsOf(recorder_)[0].client_event_info_size(), 1);
}

TEST_F(EventUploaderTest, EachInterfaceHasItsOwnRecordInOrderOfNames) {
  const char* const names[] = {"wlan-5000mhz",
                               "wlan-2400mhz",
                               "mesh-5000mhz",
                               "guest-5000mhz",
                               "guest-2400mhz",
                               "WLAN-2400MHZ",
                               ""};
  for (const char* name : names) {
    const std::string attribute = "frame_status:" + std::to_string(std::string_view(name).size());
    Send(name, kStationAuth, {attribute});
  }
  loop_.AdvanceBy(kPeriod);
  std::vector<std::string> records;
  for (Event& event : EventsOf(recorder_)) {
    EXPECT_EQ(event.client_event_info_size(), 1);
    EXPECT_TRUE(event.has_interface());
    records.push_back(WifiInterface_Name(event.interface()) + ' ' +
                      std::to_string(event.client_event_info(0).frame_status_code()));
  }
  EXPECT_THAT(records,
              ElementsAre("UNKNOWN 0", "UNKNOWN 12", "GUEST_2400MHZ 13", "GUEST_5000MHZ 13",
                          "UNKNOWN 12", "WLAN_2400MHZ 12", "WLAN_5000MHZ 12"));
}

TEST_F(EventUploaderTest, EventsAreInOrderOfArrival) {
  for (int i = 0; i < 1000; ++i) {
    const std::string attribute = "frame_status:" + std::to_string(i);
    Connect({attribute});
  }
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  const Event event = EventsOf(recorder_)[0];
  ASSERT_EQ(event.client_event_info_size(), 1000);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(event.client_event_info(i).frame_status_code(), static_cast<std::uint32_t>(i));
  }
}

TEST_F(EventUploaderTest, TheTimeIsInWholeMilliseconds) {
  loop_.SetWallTime(platform::WallTime(1'700'000'000'123'999us));
  Connect();
  EXPECT_EQ(OnlyEvent().event_time_in_milliseconds(), 1'700'000'000'123u);
}

TEST_F(EventUploaderTest, TheTimestampAttributeReplacesTheTime) {
  Connect({"timestamp:1234"});
  EXPECT_EQ(OnlyEvent().event_time_in_milliseconds(), 1234u);
}

TEST_F(EventUploaderTest, TheClientMacAttributeReplacesTheStation) {
  Connect({"client_mac:00:1A:2B:3C:4D:5E"}, "ff:ff:ff:ff:ff:ff");
  EXPECT_EQ(OnlyEvent().client_shmac(), kId);
}

TEST_F(EventUploaderTest, AnEventOfAnUnparsableAddressIsKept) {
  Connect({"client_mac:nonsense"}, "");
  const ClientEventInfo info = OnlyEvent();
  EXPECT_FALSE(info.has_client_shmac());
  EXPECT_EQ(info.event_type(), ClientEventInfo::CONNECT);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventUploaderTest, AttributesWithoutAColonAreSkipped) {
  Connect({"noColonHere", "a:b:c", "avg_rssi:-50"});
  EXPECT_EQ(OnlyEvent().average_rssi_in_dbm(), -50);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Pair(Severity::kInfo, "Invalid name:value pair: noColonHere")));
}

TEST_F(EventUploaderTest, FailedConversionsAreNotCaught) {
  uploader_->OnFlagChanged("connectionEventsProbeReqUpload", "1");
  EXPECT_THAT([&] { Connect({"frame_status:abc"}); }, ThrowsMessage<std::invalid_argument>("stoi"));
  EXPECT_THAT([&] { Connect({"timestamp:abc"}); }, ThrowsMessage<std::invalid_argument>("stoll"));
  EXPECT_THAT([&] { Probe({"nss:abc"}); }, ThrowsMessage<std::invalid_argument>("stoi"));
}

TEST_F(EventUploaderTest, ABatchLastsOnePeriodFromItsFirstEvent) {
  Connect();
  for (int i = 0; i < 9; ++i) {
    loop_.AdvanceBy(kPeriod / 10);
    Connect();
  }
  loop_.AdvanceBy(kPeriod / 10 - 1us);
  EXPECT_THAT(recorder_.records(), IsEmpty());
  loop_.AdvanceBy(1us);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  EXPECT_EQ(EventsOf(recorder_)[0].client_event_info_size(), 10);
}

TEST_F(EventUploaderTest, TheNextBatchOpensWithTheNextEvent) {
  Connect({"frame_status:1"});
  Send("wlan-2400mhz", kStationAuth, {});
  loop_.AdvanceBy(kPeriod * 10);
  EXPECT_THAT(recorder_.records(), SizeIs(2));
  Connect({"frame_status:2"});
  loop_.AdvanceBy(kPeriod - 1us);
  EXPECT_THAT(recorder_.records(), SizeIs(2));
  loop_.AdvanceBy(1us);
  ASSERT_THAT(recorder_.records(), SizeIs(3));
  const Event event = EventsOf(recorder_)[2];
  EXPECT_EQ(event.interface(), access_infrastructure::proto::WLAN_5000MHZ);
  ASSERT_EQ(event.client_event_info_size(), 1);
  EXPECT_EQ(event.client_event_info(0).frame_status_code(), 2u);
}

TEST_F(EventUploaderTest, StoppedInMidBatchItStillUploads) {
  Connect();
  uploader_->Disable();
  Connect();
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  EXPECT_EQ(EventsOf(recorder_)[0].client_event_info_size(), 1);
}

TEST_F(EventUploaderTest, StartedAgainInMidBatchItContinuesIt) {
  Connect();
  uploader_->Disable();
  loop_.AdvanceBy(kPeriod / 2);
  Connect();
  uploader_->Enable();
  Connect();
  loop_.AdvanceBy(kPeriod / 2);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  EXPECT_EQ(EventsOf(recorder_)[0].client_event_info_size(), 2);
}

TEST_F(EventUploaderTest, DestroyedInMidBatchItUploadsNothing) {
  Connect();
  uploader_.reset();
  loop_.AdvanceBy(kPeriod * 2);
  EXPECT_THAT(recorder_.records(), IsEmpty());
}

TEST_F(EventUploaderTest, DestroyedInTheTurnOfItsTimerItUploadsNothing) {
  loop_.PostDelayedTask([this] { uploader_.reset(); }, kPeriod);
  Connect();
  loop_.AdvanceBy(kPeriod);
  EXPECT_EQ(uploader_, nullptr);
  EXPECT_THAT(recorder_.records(), IsEmpty());
}

TEST_F(EventUploaderTest, APeriodOfNothingUploadsAtOnce) {
  EventUploader uploader(loop_, &recorder_, StationIdGenerator(salt_file_));
  uploader.Initialize(0s, &hostapd_);
  uploader.Enable();
  uploader.EventCallback("wlan-5000mhz", kStationAuth, kMac, {});
  EXPECT_THAT(recorder_.records(), IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(recorder_.records(), SizeIs(1));
}

TEST_F(EventUploaderTest, ProbeReportsAreDroppedUnlessAskedFor) {
  Probe({"frame_rssi:abc"});
  loop_.AdvanceBy(kPeriod);
  EXPECT_THAT(recorder_.records(), IsEmpty());
}

TEST_F(EventUploaderTest, ProbeReportsBecomeEntries) {
  uploader_->OnFlagChanged("connectionEventsProbeReqUpload", "1");
  Probe({"frame_rssi:-45", "noColonHere", "nss:2", "mode:vht"});
  Probe();
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  const std::string shmac = std::string("client_shmac: \"") + kId + "\" ";
  EXPECT_EQ(TextOf(EventsOf(recorder_)[0]),
            "interface: WLAN_5000MHZ "
            "client_probe_request_info { " +
                shmac +
                "probe_request_rssi_in_dbm: -45 client_capability { ht_vht_capability: VHT "
                "number_of_spatial_streams: 2 } } "
                "client_probe_request_info { " +
                shmac + "client_capability { } } ");
}

TEST_F(EventUploaderTest, AProbeReportOfAnUnparsableAddressLeavesAnEmptyBatch) {
  uploader_->OnFlagChanged("connectionEventsProbeReqUpload", "1");
  log_.Clear();
  Probe({"frame_rssi:abc", "noColonHere"}, "no:mac");
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  EXPECT_EQ(recorder_.records()[0].bytes, "\x10\x04");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventUploaderTest, WithoutASaltEventsHaveNoStationAndProbesAreDropped) {
  std::filesystem::remove(salt_file_);
  uploader_ = MakeUploader();
  uploader_->Enable();
  uploader_->OnFlagChanged("connectionEventsProbeReqUpload", "1");
  log_.Clear();
  Connect({"timestamp:1", "noColonHere"});
  Probe({"noColonHere"});
  EXPECT_THAT(log_.lines(),
              ElementsAre(Pair(Severity::kWarning, "Unable to load encryption salt"),
                          Pair(Severity::kInfo, "Invalid name:value pair: noColonHere"),
                          Pair(Severity::kWarning, "Unable to load encryption salt")));
  std::ofstream(salt_file_) << kSalt;
  Probe();
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  EXPECT_EQ(TextOf(EventsOf(recorder_)[0]),
            "interface: WLAN_5000MHZ "
            "client_event_info { event_time_in_milliseconds: 1 event_type: CONNECT } "
            "client_probe_request_info { client_shmac: \"" +
                std::string(kId) + "\" client_capability { } } ");
}

TEST_F(EventUploaderTest, TheTwoKindsAreSwitchedIndependently) {
  uploader_->OnFlagChanged("connectionEventsUpload", "0");
  uploader_->OnFlagChanged("connectionEventsProbeReqUpload", "1");
  Connect();
  loop_.AdvanceBy(kPeriod / 2);
  Probe();
  loop_.AdvanceBy(kPeriod / 2);
  EXPECT_THAT(recorder_.records(), IsEmpty());  // The dropped event opened no batch.
  loop_.AdvanceBy(kPeriod / 2);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  EXPECT_EQ(EventsOf(recorder_)[0].client_event_info_size(), 0);
  EXPECT_EQ(EventsOf(recorder_)[0].client_probe_request_info_size(), 1);

  uploader_->OnFlagChanged("connectionEventsUpload", "1");
  uploader_->OnFlagChanged("connectionEventsProbeReqUpload", "0");
  Connect();
  Probe();
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(2));
  EXPECT_EQ(EventsOf(recorder_)[1].client_event_info_size(), 1);
  EXPECT_EQ(EventsOf(recorder_)[1].client_probe_request_info_size(), 0);
}

TEST_F(EventUploaderTest, FlagsAreDecimalNumbers) {
  const struct {
    const char* value;
    const char* logged;
  } rows[] = {{"0", "0"},  {"1", "1"},          {"-1", "1"},         {" \t2", "1"},
              {"+0", "0"}, {"00", "0"},         {"3x", "1"},         {"0x1", "0"},
              {"-0", "0"}, {"2147483647", "1"}, {"-2147483648", "1"}};
  for (const auto& row : rows) {
    log_.Clear();
    uploader_->OnFlagChanged("connectionEventsUpload", row.value);
    uploader_->OnFlagChanged("connectionEventsProbeReqUpload", row.value);
    EXPECT_THAT(
        log_.lines(),
        ElementsAre(
            Pair(Severity::kInfo, std::string("Set connection_event_upload to ") + row.logged),
            Pair(Severity::kInfo, std::string("Set probe_req_event_upload to ") + row.logged)))
        << row.value;
  }
}

TEST_F(EventUploaderTest, FlagsThatAreNoNumbersAreNotCaught) {
  for (const char* key : {"connectionEventsUpload", "connectionEventsProbeReqUpload"}) {
    for (const char* value : {"", " ", "abc", "true", "-"}) {
      EXPECT_THAT([&] { uploader_->OnFlagChanged(key, value); },
                  ThrowsMessage<std::invalid_argument>("stoi"));
    }
    for (const char* value : {"2147483648", "-2147483649"}) {
      EXPECT_THAT([&] { uploader_->OnFlagChanged(key, value); },
                  ThrowsMessage<std::out_of_range>("stoi"));
    }
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventUploaderTest, OtherFlagsAreIgnored) {
  for (const char* key : {"connectionEventsUploads", "connectioneventsupload",
                          "myconnectionEventsUpload", "connectionEvents", ""}) {
    uploader_->OnFlagChanged(key, "no number");
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventUploaderTest, VerboseLinesLogEachEventAndUpload) {
  platform::SetVerboseLevel(1);
  recorder_.OnRecord([] { LOG(INFO) << "recorded"; });
  Connect({"timestamp:7", "client_mac:001a2b3c4d5e"}, "nonsense");
  Send("wlan-5000mhz", kStationTaxonomy, {}, "");
  Send("wlan-5000mhz", static_cast<HostapdEventType>(99), {}, "x");
  loop_.AdvanceBy(kPeriod);
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(
          Pair(Severity::kVerbose,
               "EventCallback: wlan-5000mhz event: kStationConnect mac: nonsense"),
          Pair(Severity::kVerbose, "EventCallback: wlan-5000mhz event: kStationTaxonomy mac: "),
          Pair(Severity::kVerbose, "EventCallback: wlan-5000mhz event: k--UnknownEvent mac: x"),
          Pair(Severity::kInfo, "recorded"),
          Pair(Severity::kVerbose, std::string("Upload Event:'<begin>'\n"
                                               "interface: WLAN_5000MHZ\n"
                                               "client_event_info {\n"
                                               "  client_shmac: \"") +
                                       kId +
                                       "\"\n"
                                       "  event_time_in_milliseconds: 7\n"
                                       "  event_type: CONNECT\n"
                                       "}\n"
                                       "'<end>'\n")));
}

TEST_F(EventUploaderTest, VerboseLinesAlsoLogEventsThatAreNotCollected) {
  uploader_->OnFlagChanged("connectionEventsUpload", "0");
  platform::SetVerboseLevel(1);
  log_.Clear();
  Connect();
  Probe();
  EXPECT_THAT(
      log_.Lines(Severity::kVerbose),
      ElementsAre(
          std::string("EventCallback: wlan-5000mhz event: kStationConnect mac: ") + kMac,
          std::string("EventCallback: wlan-5000mhz event: kStationMonitorInfo mac: ") + kMac));
}

TEST_F(EventUploaderTest, SwitchedOffItIsSilent) {
  platform::SetVerboseLevel(1);
  uploader_->Disable();
  log_.Clear();
  Connect({"noColonHere", "frame_status:abc"});
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventUploaderTest, AFailedRecordIsLoggedAndLost) {
  platform::SetVerboseLevel(1);
  recorder_.FailWith("the disk is full");
  Send("guest-2400mhz", kStationAuth, {});
  Send("wlan-2400mhz", kStationAuth, {});
  log_.Clear();
  loop_.AdvanceBy(kPeriod);
  const auto failure = Pair(Severity::kWarning, std::string("Error recording offline data: ") +
                                                    kTypeUrl + ": the disk is full");
  const auto dump = Pair(Severity::kVerbose, HasSubstr("Upload Event:'<begin>'\n"));
  EXPECT_THAT(log_.lines(), ElementsAre(failure, dump, failure, dump));

  recorder_.FailWith("");
  loop_.AdvanceBy(kPeriod * 3);
  EXPECT_THAT(recorder_.records(), IsEmpty());
  Send("wlan-2400mhz", kStationAuth, {});
  loop_.AdvanceBy(kPeriod);
  ASSERT_THAT(recorder_.records(), SizeIs(1));
  EXPECT_EQ(EventsOf(recorder_)[0].client_event_info_size(), 1);
}

TEST_F(EventUploaderTest, AFailureWithoutAnErrorIsLoggedWithoutOne) {
  recorder_.FailWithoutError();
  Connect();
  log_.Clear();
  loop_.AdvanceBy(kPeriod);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Pair(Severity::kWarning,
                               std::string("Error recording offline data: ") + kTypeUrl + ": ")));
}

// The whole path, starting with a datagram on a real control socket.
TEST_F(EventUploaderTest, ListensToHostapdUntilItIsDestroyed) {
  testbed::Hostapd server(directory_.path() / "wlan-5000mhz");
  hostapd_.Init();
  loop_.RunUntilIdle();
  ASSERT_EQ(server.Receive(), "ATTACH");
  ASSERT_TRUE(server.Send("OK\n"));
  ASSERT_TRUE(server.Send("<3>AP-STA-CONNECT 00:1A:2B:3C:4D:5E frame_status:3 avg_rssi:-45"));
  loop_.RunUntilIdle();
  const ClientEventInfo info = OnlyEvent();
  EXPECT_EQ(info.client_shmac(), kId);
  EXPECT_EQ(info.frame_status_code(), 3u);
  EXPECT_EQ(info.average_rssi_in_dbm(), -45);

  uploader_.reset();
  ASSERT_TRUE(server.Send("<3>AP-STA-CONNECT 00:1A:2B:3C:4D:5E"));
  loop_.AdvanceBy(kPeriod);
  EXPECT_THAT(recorder_.records(), SizeIs(1));
}

}  // namespace
}  // namespace orvane::ap
