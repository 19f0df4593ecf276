// From hostapd's event lines to records: whole records, compared field by field.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "testbed/access_point.h"
#include "testbed/record_matchers.h"

namespace orvane::testbed {
namespace {

using access_infrastructure::proto::Event;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kMac[] = "00:1a:2B:3c:4D:5e";
constexpr char kMacDigits[] = "001a2b3c4d5e";

class RecordsTest : public AccessPointTest {
 protected:
  // Returns the Event of an interface with one entry for each text of fields. Adds the station and,
  // unless the text has one, the time.
  static Event Expected(const char* interface, const std::vector<std::string>& infos) {
    std::string text = fmt::format("interface: {}\n", interface);
    const std::string shmac = Identifier(kSalt, kMacDigits);
    for (const std::string& info : infos) {
      text += fmt::format(
          "client_event_info {{ client_shmac: \"{}\" event_time_in_milliseconds: 7 {} }}\n", shmac,
          info);
    }
    return EventOf(text);
  }

  // Sends an event line of the station at time 7.
  void SendEvent(const std::string& name, const std::string& attributes) {
    ap_.wlan5000().Send("<3>" + name + " " + kMac + " timestamp:7" +
                        (attributes.empty() ? "" : " " + attributes));
  }

  // Sends a connect event for each row's attributes, and expects the row's fields.
  void ExpectAttributes(
      std::initializer_list<std::pair<const char* /*attributes*/, const char* /*fields*/>> rows) {
    ap_.StartAll();
    std::vector<std::string> infos;
    ap_.Hold();
    for (const auto& [attributes, fields] : rows) {
      SendEvent("AP-STA-CONNECT", attributes);
      infos.push_back(std::string("event_type: CONNECT ") + fields);
    }
    ap_.Release();
    const Record record = ap_.WaitForRecord(1);
    EXPECT_EQ(record.type, kEventTypeUrl);
    EXPECT_THAT(record.event, EqualsProto(Expected("WLAN_5000MHZ", infos)));
  }
};

TEST_F(RecordsTest, EventNamesAreConverted) {
  ap_.StartAll();
  const std::array<std::pair<const char*, const char*>, 6> kRows = {
      {{"AP-STA-AUTH", "event_type: AUTHENTICATE"},
       {"AP-STA-AUTH-RESP", "event_type: AUTHENTICATE"},
       {"AP-STA-ASSOC", "event_type: ASSOCIATE"},
       {"AP-STA-ASSOC-RESP", "event_type: AUTHENTICATE"},
       {"AP-STA-CONNECT", "event_type: CONNECT"},
       {"AP-STA-DISCONNECT", "event_type: DISCONNECT"}}};
  std::vector<std::string> infos;
  ap_.Hold();
  for (const auto& [name, fields] : kRows) {
    SendEvent(name, "");
    infos.emplace_back(fields);
    // These are not connection events, and probe reports are switched off.
    for (const char* ignored :
         {"AP-STA-CONNECTED", "AP-STA-DISCONNECTED", "AP-STA-STEERING", "AP-STA-NO-STEERING",
          "AP-STA-TAXONOMY", "AP-MONITOR-STA-INFO", "AP-ENABLED"}) {
      SendEvent(ignored, "");
    }
  }
  ap_.Release();
  EXPECT_THAT(ap_.WaitForRecord(1).event, EqualsProto(Expected("WLAN_5000MHZ", infos)));
}

TEST_F(RecordsTest, EventReasonsAreConverted) {
  ExpectAttributes({
      {"event_reason:reject_steer", "event_reason: 1"},
      {"event_reason:from_client", "event_reason: 2"},
      {"event_reason:failed_to_add", "event_reason: 4"},
      {"event_reason:no_ack", "event_reason: 5"},
      {"event_reason:disassoc_cli", "event_reason: 6"},
      {"event_reason:deauth_cli", "event_reason: 7"},
      {"event_reason:bss_tm_cli", "event_reason: 8"},
      {"event_reason:other_bss", "event_reason: 9"},
      {"event_reason:iapp_notify", "event_reason: 10"},
      {"event_reason:low_ack", "event_reason: 11"},
      {"event_reason:inactivity", "event_reason: 12"},
      {"event_reason:wpa_auth", "event_reason: 13"},
      {"event_reason:insufficient_entropy", "event_reason: 14"},
      {"event_reason:incorrect_rsn_ie", "event_reason: 15"},
      {"event_reason:setkey_failure", "event_reason: 16"},
      {"event_reason:eapol_m1_timeout", "event_reason: 17"},
      {"event_reason:eapol_m3_timeout", "event_reason: 18"},
      {"event_reason:gtk_m1_timeout", "event_reason: 19"},
      {"event_reason:psk_mismatch", "event_reason: 20"},
      {"event_reason:steer_client", "event_reason: 0"},
      {"event_reason:Low_ack", "event_reason: 0"},
      {"event_reason:", "event_reason: 0"},
  });
}

TEST_F(RecordsTest, SteeringReasonsAreConverted) {
  ExpectAttributes({
      {"steering_reason:steered", "steering_reason: 1"},
      {"steering_reason:target-interface", "steering_reason: 2"},
      {"steering_reason:reassoc", "steering_reason: 3"},
      {"steering_reason:new-station", "steering_reason: 4"},
      {"steering_reason:deferred", "steering_reason: 5"},
      {"steering_reason:non-candidate", "steering_reason: 6"},
      {"steering_reason:weak-signal", "steering_reason: 7"},
      {"steering_reason:recently-steered", "steering_reason: 8"},
      {"steering_reason:weak_signal", "steering_reason: 0"},
  });
}

TEST_F(RecordsTest, AttributesAreConverted) {
  ExpectAttributes({
      {"success:1", "is_event_success: true"},
      {"success:0", "is_event_success: false"},
      {"success:-2", "is_event_success: true"},
      {"frame_status:53", "frame_status_code: 53"},
      {"frame_status:-1", "frame_status_code: 4294967295"},
      {"frame_rssi:-71", "event_frame_rssi_in_dbm: -71"},
      {"avg_rssi:-72", "average_rssi_in_dbm: -72"},
      {"last_rx_rssi:-73", "rssi_in_dbm: -73"},
      {"probe_delta_ms:4294967296", "probe_delta_in_milliseconds: 4294967296"},
      {"steer_delta_ms:-1", "steer_delta_in_milliseconds: 18446744073709551615"},
      {"first_time_seen:1 client_capability:1", ""},
      {"noColonHere frame_rssi:-1", "event_frame_rssi_in_dbm: -1"},
      {"frame_rssi:-2: :  frame_rssi", "event_frame_rssi_in_dbm: -2"},
      {"frame_rssi:+3dBm", "event_frame_rssi_in_dbm: 3"},
      {"frame_rssi:-4 frame_rssi:-5", "event_frame_rssi_in_dbm: -5"},
      {"Frame_rssi:-6", ""},
  });
  ap_.ExpectLogged("INFO", "Invalid name:value pair: noColonHere");
  ap_.ExpectLogged("INFO", "Invalid name:value pair: frame_rssi");
  ap_.ExpectLogged("INFO", "Invalid name:value pair: ");
}

TEST_F(RecordsTest, DataRatesAreConverted) {
  ExpectAttributes({
      {"tx_rate_kbps:866700", "data_rate { bitrate_kbps: 866700 }"},
      {"tx_rate_kbps:-4294967297", "data_rate { bitrate_kbps: -4294967297 }"},
      {"tx_rate_mcs:7", "data_rate { mcs_index: 7 }"},
      {"tx_rate_bw:80", "data_rate { bandwidth_mhz: 80 }"},
      {"tx_rate_sgi:1", "data_rate { is_long_guard_interval: false }"},
      {"tx_rate_sgi:0", "data_rate { is_long_guard_interval: true }"},
      {"tx_rate_vht_mcs:9", "data_rate { mcs_index: 9 }"},
      {"tx_rate_vht_nss:2", "data_rate { number_of_spatial_streams: 2 }"},
      {"tx_rate_mcs:7 tx_rate_vht_mcs:9", "data_rate { mcs_index: 9 }"},
      {"tx_rate_vht_mcs:9 tx_rate_mcs:7", "data_rate { mcs_index: 7 }"},
      {"tx_rate_unheard_of:1", "data_rate { }"},
      {"tx_rate_kbps:6000 tx_rate_bw:20 tx_rate_sgi:0 tx_rate_mcs:1 tx_rate_vht_nss:1",
       "data_rate { bitrate_kbps: 6000 bandwidth_mhz: 20 is_long_guard_interval: true "
       "mcs_index: 1 number_of_spatial_streams: 1 }"},
  });
}

TEST_F(RecordsTest, LineWithAllAttributesIsConverted) {
  ExpectAttributes({{
      "success:0 event_reason:psk_mismatch frame_status:15 frame_rssi:-60 avg_rssi:-61 "
      "last_rx_rssi:-62 steering_reason:deferred probe_delta_ms:100 steer_delta_ms:200 "
      "tx_rate_kbps:1000 tx_rate_sgi:1",
      "is_event_success: false event_reason: DISCONNECT_PSK_MISMATCH frame_status_code: 15 "
      "event_frame_rssi_in_dbm: -60 average_rssi_in_dbm: -61 rssi_in_dbm: -62 "
      "steering_reason: NOSTEER_DEFERRED probe_delta_in_milliseconds: 100 "
      "steer_delta_in_milliseconds: 200 data_rate { bitrate_kbps: 1000 "
      "is_long_guard_interval: false }",
  }});
}

TEST_F(RecordsTest, MacAttributeReplacesTheMacOfTheLine) {
  ap_.StartAll();
  ap_.Hold();
  SendEvent("AP-STA-AUTH", "client_mac:aa:bb:cc:dd:ee:ff");
  SendEvent("AP-STA-AUTH", "client_mac:nonsense");
  ap_.wlan5000().Send("<3>AP-STA-AUTH nonsense timestamp:7");
  ap_.wlan5000().Send("<3>AP-STA-AUTH");
  ap_.Release();
  const Event event = ap_.WaitForRecord(1).event;
  ASSERT_EQ(event.client_event_info_size(), 4);
  EXPECT_EQ(event.client_event_info(0).client_shmac(), Identifier(kSalt, "aabbccddeeff"));
  EXPECT_EQ(event.client_event_info(1).client_shmac(), Identifier(kSalt, kMacDigits));
  EXPECT_FALSE(event.client_event_info(2).has_client_shmac());
  EXPECT_FALSE(event.client_event_info(3).has_client_shmac());
}

TEST_F(RecordsTest, ProbeReportsAreConverted) {
  ap_.StartBus();
  ap_.StartFlags({{"connectionEventsProbeReqUpload", "1"}, {"connectionEventsUpload", "0"}});
  ap_.StartRecorder();
  WriteSalt(kSalt);
  Hostapd wlan2400(kWlan2400);
  ap_.StartDaemon({"--connection_event_upload_period=1"});
  wlan2400.Attach();
  ap_.ExpectLogged("INFO", "Set connection_event_upload to 0");
  const std::array<std::pair<const char*, const char*>, 8> kRows = {{
      {"", ""},
      {" mode:legacy", "ht_vht_capability: LEGACY"},
      {" mode:ht nss:2", "ht_vht_capability: HT number_of_spatial_streams: 2"},
      {" nss:3 mode:vht", "ht_vht_capability: VHT number_of_spatial_streams: 3"},
      {" mode:he", "ht_vht_capability: UNKNOWN"},
      {" nss:-1", "number_of_spatial_streams: 4294967295"},
      {" avg_rssi:-1 tx_rate_mcs:1 timestamp:1 client_mac:x", ""},
      {" noColon nss:1", "number_of_spatial_streams: 1"},
  }};
  std::string expected = "interface: WLAN_2400MHZ\n";
  ap_.Settle(wlan2400);
  ap_.Hold();
  for (const auto& [attributes, capability] : kRows) {
    wlan2400.Send(fmt::format("<3>AP-MONITOR-STA-INFO {} frame_rssi:-80{}", kMac, attributes));
    expected += fmt::format(
        "client_probe_request_info {{ client_shmac: \"{}\" probe_request_rssi_in_dbm: -80 "
        "client_capability {{ {} }} }}\n",
        Identifier(kSalt, kMacDigits), capability);
  }
  wlan2400.Send("<3>AP-STA-AUTH 00:11:22:33:44:55");  // switched off
  ap_.Release();
  EXPECT_THAT(ap_.WaitForRecord(1).event, EqualsProto(EventOf(expected)));
  ap_.ExpectLogged("INFO", "Invalid name:value pair: noColon");
}

TEST_F(RecordsTest, ProbeReportWithoutAStationBecomesAnEmptyRecord) {
  ap_.StartBus();
  ap_.StartFlags({{"connectionEventsProbeReqUpload", "1"}});
  ap_.StartRecorder();
  WriteSalt(kSalt);
  Hostapd wlan2400(kWlan2400);
  ap_.StartDaemon({"--connection_event_upload_period=1"});
  wlan2400.Attach();
  ap_.ExpectLogged("INFO", "Set probe_req_event_upload to 1");
  wlan2400.Send("<3>AP-MONITOR-STA-INFO nonsense frame_rssi:-80");
  EXPECT_THAT(ap_.WaitForRecord(1).event, EqualsProto(EventOf("interface: WLAN_2400MHZ")));
}

// The address of a station, in every possible form.
TEST_F(RecordsTest, RecordsHaveNoAddressAndTheLogHasNoSalt) {
  ap_.StartAll();
  SendEvent("AP-STA-CONNECT", std::string("client_mac:") + kMac);
  const Record record = ap_.WaitForRecord(1);
  for (const char* form : {"00:1a:2b:3c:4d:5e", "00:1A:2B:3C:4D:5E", kMac, "001a2b3c4d5e",
                           "001A2B3C4D5E", "\x1a\x2b\x3c\x4d\x5e", "\x5e\x4d\x3c\x2b\x1a"}) {
    EXPECT_THAT(record.bytes, Not(HasSubstr(form)));
  }
  EXPECT_THAT(record.bytes, HasSubstr(Identifier(kSalt, kMacDigits)));
  EXPECT_THAT(ap_.daemon().err().Text(), Not(HasSubstr(kSalt)));
}

// A line that aborts the daemon, and the conversion that throws.
struct Garbage {
  const char* line;
  const char* conversion;

  friend std::ostream& operator<<(std::ostream& stream, const Garbage& garbage) {
    return stream << garbage.line;
  }
};

class GarbageTest : public AccessPointTest, public ::testing::WithParamInterface<Garbage> {};

TEST_P(GarbageTest, EndsTheProcess) {
  ap_.StartBus();
  ap_.StartFlags({{"connectionEventsProbeReqUpload", "1"}});
  Hostapd wlan2400(kWlan2400);
  ap_.StartDaemon();
  ap_.ExpectLogged("INFO", "Set probe_req_event_upload to 1");
  WriteSalt(kSalt);
  wlan2400.Attach();
  wlan2400.Send(GetParam().line);
  ap_.ExpectAbort(GetParam().conversion);
}

INSTANTIATE_TEST_SUITE_P(
    Line, GarbageTest,
    ::testing::Values(
        Garbage{"<3>AP-STA-AUTH 00:11:22:33:44:55 frame_status:abc", "stoi"},
        Garbage{"<3>AP-STA-ASSOC 00:11:22:33:44:55 success:", "stoi"},
        Garbage{"<3>AP-STA-CONNECT 00:11:22:33:44:55 tx_rate_bw:2147483648", "stoi"},
        Garbage{"<3>AP-STA-CONNECT 00:11:22:33:44:55 tx_rate_kbps:fast", "stoll"},
        Garbage{"<3>AP-STA-DISCONNECT 00:11:22:33:44:55 timestamp:9223372036854775808", "stoll"},
        Garbage{"<3>AP-STA-DISCONNECT 00:11:22:33:44:55 steer_delta_ms:-", "stoll"},
        Garbage{"<3>AP-MONITOR-STA-INFO 00:11:22:33:44:55 nss:many", "stoi"}),
    [](const auto& param_info) { return "Case" + std::to_string(param_info.index); });

}  // namespace
}  // namespace orvane::testbed
