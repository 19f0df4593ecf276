#include "optimizer/event_attributes.h"

#include <gmock/gmock.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/log_capture.h"
#include "testbed/temporary_directory.h"

namespace orvane::ap {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::ClientProbeRequestInfo;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::ThrowsMessage;
using namespace std::string_view_literals;

using Attributes = std::vector<std::string_view>;

// For the salt "abc" and the address 001a2b3c4d5e.
constexpr char kId[] = "4441EFA3A13148B346D10F64AE6CD432EE98376E1ECF24B77F12B705A5B05502";

// Returns exactly the fields that are set, in one line.
std::string TextOf(const google::protobuf::Message& message) {
  google::protobuf::TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  std::string text;
  printer.PrintToString(message, &text);
  if (text.ends_with(' ')) text.pop_back();
  return text;
}

class EventAttributesTest : public ::testing::Test {
 protected:
  EventAttributesTest() { std::ofstream(directory_.path() / "salt") << "abc"; }

  ClientEventInfo EventOf(const Attributes& attributes) {
    StationIdGenerator station_ids(directory_.path() / "salt");
    ClientEventInfo info;
    ApplyEventAttributes(attributes, &station_ids, &info);
    return info;
  }

  std::string EventTextOf(const Attributes& attributes) { return TextOf(EventOf(attributes)); }

  static std::string ProbeTextOf(const Attributes& attributes) {
    ClientProbeRequestInfo probe;
    ApplyProbeAttributes(attributes, &probe);
    return TextOf(probe);
  }

  testbed::TemporaryDirectory directory_;
  testbed::LogCapture log_;
};

struct Row {
  std::string_view attribute;
  std::string_view record;
};

TEST_F(EventAttributesTest, EveryEventAttributeSetsItsField) {
  const Row rows[] = {
      {"timestamp:1234", "event_time_in_milliseconds: 1234"},
      {"success:1", "is_event_success: true"},
      {"success:0", "is_event_success: false"},
      {"success:-7", "is_event_success: true"},
      {"frame_status:17", "frame_status_code: 17"},
      {"frame_rssi:-45", "event_frame_rssi_in_dbm: -45"},
      {"avg_rssi:-46", "average_rssi_in_dbm: -46"},
      {"last_rx_rssi:-47", "rssi_in_dbm: -47"},
      {"probe_delta_ms:300", "probe_delta_in_milliseconds: 300"},
      {"steer_delta_ms:301", "steer_delta_in_milliseconds: 301"},
      {"tx_rate_kbps:866700", "data_rate { bitrate_kbps: 866700 }"},
      {"tx_rate_mcs:7", "data_rate { mcs_index: 7 }"},
      {"tx_rate_bw:80", "data_rate { bandwidth_mhz: 80 }"},
      {"tx_rate_sgi:1", "data_rate { is_long_guard_interval: false }"},
      {"tx_rate_sgi:0", "data_rate { is_long_guard_interval: true }"},
      {"tx_rate_sgi:2", "data_rate { is_long_guard_interval: false }"},
      {"tx_rate_vht_mcs:9", "data_rate { mcs_index: 9 }"},
      {"tx_rate_vht_nss:2", "data_rate { number_of_spatial_streams: 2 }"},
  };
  for (const Row& row : rows) EXPECT_EQ(EventTextOf({row.attribute}), row.record);
  EXPECT_EQ(EventTextOf({"client_mac:00:1A:2B:3C:4D:5E"}),
            std::string("client_shmac: \"") + kId + '"');
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventAttributesTest, EveryEventReasonHasItsWord) {
  const Row rows[] = {
      {"reject_steer", "ASSOC_REJECT_STEER"},
      {"from_client", "DISCONNECT_REQUEST_FROM_CLIENT"},
      {"failed_to_add", "FAILED_TO_ADD_STA"},
      {"no_ack", "NO_ACK"},
      {"disassoc_cli", "DISCONNECT_DISASSOC_CLI"},
      {"deauth_cli", "DISCONNECT_DEAUTH_CLI"},
      {"bss_tm_cli", "REASON_BSS_TM_REQ_CLI"},
      {"other_bss", "DISCONNECT_ASSOC_OTHER_BSS"},
      {"iapp_notify", "DISCONNECT_IAPP_NOTIFY"},
      {"low_ack", "DISCONNECT_LOW_ACK"},
      {"inactivity", "DISCONNECT_INACTIVITY"},
      {"wpa_auth", "DISCONNECT_WPA_AUTH"},
      {"insufficient_entropy", "DISCONNECT_INSUFFICIENT_ENTROPY"},
      {"incorrect_rsn_ie", "DISCONNECT_INCORRECT_RSN_IE"},
      {"setkey_failure", "DISCONNECT_SET_KEY_FAILURE"},
      {"eapol_m1_timeout", "DISCONNECT_EAPOL_M1_TIMEOUT"},
      {"eapol_m3_timeout", "DISCONNECT_EAPOL_M3_TIMEOUT"},
      {"gtk_m1_timeout", "DISCONNECT_GTK_M1_TIMEOUT"},
      {"psk_mismatch", "DISCONNECT_PSK_MISMATCH"},
      {"steer_client", "UNKNOWN_CLIENT_EVENT_REASON"},
      {"disconnect_steer_client", "UNKNOWN_CLIENT_EVENT_REASON"},
      {"No_ack", "UNKNOWN_CLIENT_EVENT_REASON"},
      {"no_ack ", "UNKNOWN_CLIENT_EVENT_REASON"},
      {"", "UNKNOWN_CLIENT_EVENT_REASON"},
  };
  for (const Row& row : rows) {
    const std::string attribute = "event_reason:" + std::string(row.attribute);
    EXPECT_EQ(EventTextOf({attribute}), "event_reason: " + std::string(row.record)) << attribute;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventAttributesTest, EverySteeringReasonHasItsWord) {
  const Row rows[] = {
      {"steered", "STEER"},
      {"target-interface", "NOSTEER_TARGET_INTERFACE"},
      {"reassoc", "NOSTEER_REASSOC"},
      {"new-station", "NOSTEER_NEW_STATION"},
      {"deferred", "NOSTEER_DEFERRED"},
      {"non-candidate", "NOSTEER_NON_CANDIDATE"},
      {"weak-signal", "NOSTEER_WEAK_SIGNAL"},
      {"recently-steered", "NOSTEER_RECENTLY_STEERED"},
      {"steer", "UNKNOWN_STEERING_REASON"},
      {"new_station", "UNKNOWN_STEERING_REASON"},
      {"", "UNKNOWN_STEERING_REASON"},
  };
  for (const Row& row : rows) {
    const std::string attribute = "steering_reason:" + std::string(row.attribute);
    EXPECT_EQ(EventTextOf({attribute}), "steering_reason: " + std::string(row.record)) << attribute;
  }
}

TEST_F(EventAttributesTest, EveryProbeAttributeSetsItsField) {
  const Row rows[] = {
      {"frame_rssi:-45", "probe_request_rssi_in_dbm: -45"},
      {"nss:2", "client_capability { number_of_spatial_streams: 2 }"},
      {"nss:-1", "client_capability { number_of_spatial_streams: 4294967295 }"},
      {"mode:legacy", "client_capability { ht_vht_capability: LEGACY }"},
      {"mode:ht", "client_capability { ht_vht_capability: HT }"},
      {"mode:vht", "client_capability { ht_vht_capability: VHT }"},
      {"mode:VHT", "client_capability { ht_vht_capability: UNKNOWN }"},
      {"mode:he", "client_capability { ht_vht_capability: UNKNOWN }"},
      {"mode:", "client_capability { ht_vht_capability: UNKNOWN }"},
      {"avg_rssi:-45", ""},
      {"tx_rate_kbps:1", ""},
      {"Mode:ht", ""},
  };
  for (const Row& row : rows) EXPECT_EQ(ProbeTextOf({row.attribute}), row.record) << row.attribute;
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventAttributesTest, UnknownNamesAreIgnored) {
  EXPECT_EQ(EventTextOf({"a:b:c", "", ":1", "Timestamp:1", "timestamp :1", "timestam:1",
                         "timestamps:1", "mode:ht", "nss:2", "first_time_seen:1"}),
            "");
  EXPECT_THAT(log_.lines(),
              ElementsAre(Pair(platform::Severity::kInfo, "Invalid name:value pair: ")));
}

TEST_F(EventAttributesTest, AnUnknownDataRateAttributeStillMakesTheDataRate) {
  EXPECT_EQ(EventTextOf({"tx_rate_he_mcs:11"}), "data_rate { }");
  EXPECT_EQ(EventTextOf({"tx_rate_:"}), "data_rate { }");
  EXPECT_EQ(EventTextOf({"tx_rate:5", "tx_rat_kbps:5", "Tx_rate_kbps:5", " tx_rate_kbps:5"}), "");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventAttributesTest, OneDataRateIsFilledByAllItsAttributes) {
  EXPECT_EQ(EventTextOf({"tx_rate_kbps:866700", "tx_rate_he_mcs:1", "tx_rate_bw:80",
                         "tx_rate_sgi:1", "tx_rate_vht_mcs:9", "tx_rate_vht_nss:2"}),
            "data_rate { bitrate_kbps: 866700 bandwidth_mhz: 80 is_long_guard_interval: false "
            "mcs_index: 9 number_of_spatial_streams: 2 }");
}

TEST_F(EventAttributesTest, TheLaterAttributeCounts) {
  EXPECT_EQ(EventTextOf({"tx_rate_mcs:1", "tx_rate_vht_mcs:2"}), "data_rate { mcs_index: 2 }");
  EXPECT_EQ(EventTextOf({"tx_rate_vht_mcs:2", "tx_rate_mcs:1"}), "data_rate { mcs_index: 1 }");
  EXPECT_EQ(EventTextOf({"avg_rssi:-1", "avg_rssi:-2"}), "average_rssi_in_dbm: -2");
  EXPECT_EQ(EventTextOf({"event_reason:no_ack", "event_reason:?"}),
            "event_reason: UNKNOWN_CLIENT_EVENT_REASON");
}

TEST_F(EventAttributesTest, AnAttributeWithoutAColonIsLoggedAndSkipped) {
  EXPECT_EQ(EventTextOf({"avg_rssi:-1", "noColonHere", "success:1"}),
            "is_event_success: true average_rssi_in_dbm: -1");
  EXPECT_EQ(ProbeTextOf({"frame_rssi:-1", "noColonEither", "mode:ht"}),
            "probe_request_rssi_in_dbm: -1 client_capability { ht_vht_capability: HT }");
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Pair(platform::Severity::kInfo, "Invalid name:value pair: noColonHere"),
                  Pair(platform::Severity::kInfo, "Invalid name:value pair: noColonEither")));
}

TEST_F(EventAttributesTest, SplitsAtTheFirstColonAndTrimsNothing) {
  const auto pair = ParseNameValuePair(" a:b:c ");
  ASSERT_TRUE(pair.has_value());
  EXPECT_EQ(pair->name, " a");
  EXPECT_EQ(pair->value, "b:c ");
  const auto empty = ParseNameValuePair(":");
  ASSERT_TRUE(empty.has_value());
  EXPECT_EQ(empty->name, "");
  EXPECT_EQ(empty->value, "");
  EXPECT_FALSE(ParseNameValuePair("").has_value());
}

TEST_F(EventAttributesTest, AnyBytesAreSurvived) {
  EXPECT_EQ(EventTextOf({"event_reason:\xff\xfe"sv, "\xc3\x28:\x80"sv, "a\0b:1"sv, "avg_rssi\0:1"sv,
                         "steering_reason:steered\0"sv}),
            "event_reason: UNKNOWN_CLIENT_EVENT_REASON steering_reason: UNKNOWN_STEERING_REASON");
}

TEST_F(EventAttributesTest, AFailingClientMacChangesNothing) {
  const std::string shmac = std::string("client_shmac: \"") + kId + '"';
  EXPECT_EQ(EventTextOf({"client_mac:", "client_mac:00:1a:2b:3c:4d", "client_mac:x"}), "");
  EXPECT_EQ(EventTextOf({"client_mac:001a2b3c4d5e", "client_mac:x"}), shmac);
  EXPECT_EQ(EventTextOf({"client_mac:ffffffffffff", "client_mac:00-1A-2B-3C-4D-5E"}), shmac);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventAttributesTest, WithoutASaltThereIsNoIdentifier) {
  StationIdGenerator station_ids(directory_.path() / "missing");
  ClientEventInfo info;
  info.set_client_shmac("before");
  ApplyEventAttribute({"client_mac", "001a2b3c4d5e"}, &station_ids, &info);
  EXPECT_EQ(TextOf(info), "client_shmac: \"before\"");
}

TEST_F(EventAttributesTest, TheSaltIsNotReadForATextThatIsNoAddress) {
  StationIdGenerator station_ids(directory_.path() / "missing");
  log_.Clear();
  ClientEventInfo info;
  ApplyEventAttribute({"client_mac", "nonsense"}, &station_ids, &info);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EventAttributesTest, NumbersAreReadLikeTheStandardLibraryDoes) {
  const struct {
    std::string_view text;
    std::int32_t number;
  } rows[] = {
      {"5", 5},
      {" 5", 5},
      {"\t \n\v\f\r5", 5},
      {"+5", 5},
      {"-5", -5},
      {" -5", -5},
      {"-0", 0},
      {"007", 7},
      {"5abc", 5},
      {"5 6", 5},
      {"5:6", 5},
      {"5.9", 5},
      {"1e3", 1},
      {"0x10", 0},
      {"5\0006"sv, 5},
      {"2147483647", std::numeric_limits<std::int32_t>::max()},
      {"-2147483648", std::numeric_limits<std::int32_t>::min()},
      {"00000000000000000000000000000000000000000000000000000000000000000005", 5},
  };
  for (const auto& row : rows) {
    const std::string text(row.text);
    const std::string narrow = "avg_rssi:" + text;
    const std::string wide = "tx_rate_kbps:" + text;
    const ClientEventInfo info = EventOf({narrow, wide});
    EXPECT_EQ(info.average_rssi_in_dbm(), row.number) << text;
    EXPECT_EQ(info.data_rate().bitrate_kbps(), row.number) << text;
  }
}

TEST_F(EventAttributesTest, WideNumbersHave64Bits) {
  EXPECT_EQ(EventTextOf({"tx_rate_kbps:9223372036854775807"}),
            "data_rate { bitrate_kbps: 9223372036854775807 }");
  EXPECT_EQ(EventTextOf({"tx_rate_kbps:-9223372036854775808"}),
            "data_rate { bitrate_kbps: -9223372036854775808 }");
  EXPECT_EQ(EventTextOf({"timestamp:1700000000123"}), "event_time_in_milliseconds: 1700000000123");
}

TEST_F(EventAttributesTest, NegativeNumbersWrapAroundInUnsignedFields) {
  EXPECT_EQ(EventTextOf({"frame_status:-1"}), "frame_status_code: 4294967295");
  EXPECT_EQ(EventTextOf({"frame_status:-2147483648"}), "frame_status_code: 2147483648");
  EXPECT_EQ(EventTextOf({"timestamp:-1", "probe_delta_ms:-2", "steer_delta_ms:-3"}),
            "event_time_in_milliseconds: 18446744073709551615 "
            "probe_delta_in_milliseconds: 18446744073709551614 "
            "steer_delta_in_milliseconds: 18446744073709551613");
}

constexpr std::string_view kNoNumbers[] = {"",       " ",   "abc", "-",  "+",
                                           "--1",    "+-1", "- 1", "x5", ":5",
                                           "\2405",  // a space in Latin-1
                                           "\0005"sv};

TEST_F(EventAttributesTest, NarrowFieldsThrowForWhatIsNoNumberOfTheirs) {
  const std::string_view names[] = {
      "success",     "frame_status", "frame_rssi",  "avg_rssi",        "last_rx_rssi",
      "tx_rate_mcs", "tx_rate_bw",   "tx_rate_sgi", "tx_rate_vht_mcs", "tx_rate_vht_nss"};
  for (const std::string_view name : names) {
    const std::string prefix = std::string(name) + ':';
    for (const std::string_view text : kNoNumbers) {
      const std::string attribute = prefix + std::string(text);
      EXPECT_THAT([&] { EventOf({attribute}); }, ThrowsMessage<std::invalid_argument>("stoi"))
          << attribute;
    }
    for (const std::string_view text : {"2147483648", "-2147483649", "99999999999999999999999"}) {
      const std::string attribute = prefix + std::string(text);
      EXPECT_THAT([&] { EventOf({attribute}); }, ThrowsMessage<std::out_of_range>("stoi"))
          << attribute;
    }
  }
}

TEST_F(EventAttributesTest, WideFieldsThrowForWhatIsNoNumberOfTheirs) {
  for (const std::string_view name :
       {"timestamp", "probe_delta_ms", "steer_delta_ms", "tx_rate_kbps"}) {
    const std::string prefix = std::string(name) + ':';
    for (const std::string_view text : kNoNumbers) {
      const std::string attribute = prefix + std::string(text);
      EXPECT_THAT([&] { EventOf({attribute}); }, ThrowsMessage<std::invalid_argument>("stoll"))
          << attribute;
    }
    for (const std::string_view text : {"9223372036854775808", "-9223372036854775809"}) {
      const std::string attribute = prefix + std::string(text);
      EXPECT_THAT([&] { EventOf({attribute}); }, ThrowsMessage<std::out_of_range>("stoll"))
          << attribute;
    }
  }
}

TEST_F(EventAttributesTest, ProbeNumbersThrowAlike) {
  EXPECT_THAT([] { ProbeTextOf({"nss:x"}); }, ThrowsMessage<std::invalid_argument>("stoi"));
  EXPECT_THAT([] { ProbeTextOf({"frame_rssi:2147483648"}); },
              ThrowsMessage<std::out_of_range>("stoi"));
}

TEST_F(EventAttributesTest, AListMayBeVeryLong) {
  std::vector<std::string> texts;
  for (int i = 0; i < 10'000; ++i) texts.push_back("frame_status:" + std::to_string(i));
  const Attributes attributes(texts.begin(), texts.end());
  EXPECT_EQ(EventTextOf(attributes), "frame_status_code: 9999");
}

}  // namespace
}  // namespace orvane::ap
