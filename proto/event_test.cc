#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "proto/event.pb.h"
#include "proto/wifi_client_stats.pb.h"

// The receiver of the records has its own copy of the schema, which must be equal to this one.

namespace access_infrastructure::proto {
namespace {

using ::google::protobuf::Descriptor;
using ::google::protobuf::DescriptorPool;
using ::google::protobuf::EnumDescriptor;
using ::google::protobuf::FieldDescriptor;
using ::google::protobuf::FileDescriptor;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using namespace std::string_view_literals;

using Lines = std::vector<std::string>;

const FileDescriptor* File(const char* name) {
  return DescriptorPool::generated_pool()->FindFileByName(name);
}

std::string TypeOf(const FieldDescriptor& field) {
  if (field.message_type() != nullptr) return field.message_type()->full_name();
  if (field.enum_type() != nullptr) return field.enum_type()->full_name();
  return field.type_name();
}

// Returns a line for each field: number, name, label and type.
Lines FieldsOf(const Descriptor& message) {
  Lines lines;
  for (int i = 0; i < message.field_count(); ++i) {
    const FieldDescriptor& field = *message.field(i);
    lines.push_back(std::to_string(field.number()) + ' ' + field.name() + ' ' +
                    (field.is_repeated() ? "repeated " : "optional ") + TypeOf(field));
  }
  return lines;
}

// Returns a line for each enumerator: number and name.
Lines ValuesOf(const EnumDescriptor& enumeration) {
  Lines lines;
  for (int i = 0; i < enumeration.value_count(); ++i) {
    lines.push_back(std::to_string(enumeration.value(i)->number()) + ' ' +
                    enumeration.value(i)->name());
  }
  return lines;
}

std::string Bytes(std::string_view bytes) { return std::string(bytes); }

// Checks that there are no labels, defaults, options or reservations that FieldsOf does not show.
void ExpectPlain(const Descriptor& message) {
  EXPECT_EQ(message.extension_range_count(), 0) << message.full_name();
  EXPECT_EQ(message.extension_count(), 0) << message.full_name();
  EXPECT_EQ(message.oneof_decl_count(), 0) << message.full_name();
  EXPECT_EQ(message.reserved_range_count(), 0) << message.full_name();
  EXPECT_EQ(message.reserved_name_count(), 0) << message.full_name();
  EXPECT_EQ(message.options().ByteSizeLong(), 0u) << message.full_name();
  for (int i = 0; i < message.field_count(); ++i) {
    EXPECT_FALSE(message.field(i)->is_required()) << message.field(i)->full_name();
    EXPECT_FALSE(message.field(i)->has_default_value()) << message.field(i)->full_name();
    EXPECT_EQ(message.field(i)->options().ByteSizeLong(), 0u) << message.field(i)->full_name();
  }
  for (int i = 0; i < message.nested_type_count(); ++i) ExpectPlain(*message.nested_type(i));
}

Lines MessagesOf(const FileDescriptor& file) {
  Lines names;
  for (int i = 0; i < file.message_type_count(); ++i) names.push_back(file.message_type(i)->name());
  return names;
}

TEST(EventSchemaTest, FilesAreRegisteredUnderTheirBareNames) {
  const FileDescriptor* event = File("event.proto");
  const FileDescriptor* stats = File("wifi_client_stats.proto");
  ASSERT_NE(event, nullptr);
  ASSERT_NE(stats, nullptr);
  for (const FileDescriptor* file : {event, stats}) {
    EXPECT_EQ(file->package(), "access_infrastructure.proto");
    EXPECT_EQ(file->syntax(), FileDescriptor::SYNTAX_PROTO2);
    EXPECT_EQ(file->options().ByteSizeLong(), 0u);
    EXPECT_EQ(file->extension_count(), 0);
    EXPECT_EQ(file->service_count(), 0);
    for (int i = 0; i < file->message_type_count(); ++i) ExpectPlain(*file->message_type(i));
  }
  ASSERT_EQ(event->dependency_count(), 1);
  EXPECT_EQ(event->dependency(0), stats);
  EXPECT_EQ(stats->dependency_count(), 0);
}

TEST(EventSchemaTest, DeclaresInOrder) {
  EXPECT_THAT(MessagesOf(*File("event.proto")), ElementsAre("ClientCapabilities", "ClientEventInfo",
                                                            "ClientProbeRequestInfo", "Event"));
  EXPECT_EQ(File("event.proto")->enum_type_count(), 0);
  EXPECT_THAT(MessagesOf(*File("wifi_client_stats.proto")),
              ElementsAre("DataRateReport", "GenericWifiClientStats", "WifiClientThroughputReport",
                          "McsHistogramStats", "WifiClientStats"));
  ASSERT_EQ(File("wifi_client_stats.proto")->enum_type_count(), 1);
  EXPECT_EQ(File("wifi_client_stats.proto")->enum_type(0), WifiInterface_descriptor());
  const Descriptor* info = ClientEventInfo::descriptor();
  ASSERT_EQ(info->enum_type_count(), 3);
  EXPECT_EQ(info->enum_type(0)->name(), "ClientEventType");
  EXPECT_EQ(info->enum_type(1)->name(), "ClientEventReason");
  EXPECT_EQ(info->enum_type(2)->name(), "SteeringReason");
}

TEST(EventSchemaTest, HasItsFullNames) {
  EXPECT_EQ(Event::descriptor()->full_name(), "access_infrastructure.proto.Event");
  EXPECT_EQ(ClientEventInfo::descriptor()->full_name(),
            "access_infrastructure.proto.ClientEventInfo");
  EXPECT_EQ(ClientProbeRequestInfo::descriptor()->full_name(),
            "access_infrastructure.proto.ClientProbeRequestInfo");
  EXPECT_EQ(ClientCapabilities::descriptor()->full_name(),
            "access_infrastructure.proto.ClientCapabilities");
  EXPECT_EQ(WifiClientStats::ClientStats::descriptor()->full_name(),
            "access_infrastructure.proto.WifiClientStats.ClientStats");
}

TEST(EventSchemaTest, EventFields) {
  EXPECT_THAT(
      FieldsOf(*Event::descriptor()),
      ElementsAre("1 group_id optional string",
                  "2 interface optional access_infrastructure.proto.WifiInterface",
                  "3 frequency_in_mhz optional uint32",
                  "4 client_event_info repeated access_infrastructure.proto.ClientEventInfo",
                  "5 client_probe_request_info repeated "
                  "access_infrastructure.proto.ClientProbeRequestInfo"));
}

TEST(EventSchemaTest, ClientEventInfoFields) {
  const char* const expected[] = {
      "1 client_shmac optional string",
      "2 event_time_in_milliseconds optional uint64",
      "3 event_type optional access_infrastructure.proto.ClientEventInfo.ClientEventType",
      "4 is_event_success optional bool",
      "5 event_reason optional access_infrastructure.proto.ClientEventInfo.ClientEventReason",
      "6 frame_status_code optional uint32",
      "7 steering_reason optional access_infrastructure.proto.ClientEventInfo.SteeringReason",
      "8 rssi_in_dbm optional sint32",
      "9 data_rate optional access_infrastructure.proto.DataRateReport",
      "10 first_time_seen optional bool",
      "11 probe_delta_in_milliseconds optional uint64",
      "12 steer_delta_in_milliseconds optional uint64",
      "13 event_frame_rssi_in_dbm optional sint32",
      "14 average_rssi_in_dbm optional sint32",
      "15 client_capability optional access_infrastructure.proto.ClientCapabilities",
  };
  EXPECT_THAT(FieldsOf(*ClientEventInfo::descriptor()), ElementsAreArray(expected));
}

TEST(EventSchemaTest, ProbeAndCapabilityFields) {
  EXPECT_THAT(
      FieldsOf(*ClientProbeRequestInfo::descriptor()),
      ElementsAre("1 client_shmac optional string", "2 probe_request_rssi_in_dbm optional sint32",
                  "3 client_capability optional "
                  "access_infrastructure.proto.ClientCapabilities"));
  EXPECT_THAT(FieldsOf(*ClientCapabilities::descriptor()),
              ElementsAre("1 ht_vht_capability optional "
                          "access_infrastructure.proto.ClientCapabilities.HtVhtCapability",
                          "2 number_of_spatial_streams optional uint32"));
}

TEST(EventSchemaTest, DataRateFields) {
  EXPECT_THAT(
      FieldsOf(*DataRateReport::descriptor()),
      ElementsAre(
          "1 bitrate_kbps optional int64", "2 bandwidth_mhz optional int32",
          "3 is_long_guard_interval optional bool", "4 mcs_index optional int32",
          "5 number_of_spatial_streams optional int32",
          "6 legacy_ht_vht optional access_infrastructure.proto.DataRateReport.OperatingMode"));
}

TEST(EventSchemaTest, CarriedFields) {
  const char* const generic[] = {
      "1 tx_bytes optional int64",
      "2 rx_bytes optional int64",
      "3 tx_packets optional int64",
      "4 rx_packets optional int64",
      "5 tx_retries optional int64",
      "6 tx_fails optional int64",
      "7 signal_strength_in_dbm optional sint32",
      "8 average_signal_strength_in_dbm optional sint32",
      "9 last_tx_packet_datarate optional access_infrastructure.proto.DataRateReport",
      "10 last_rx_packet_datarate optional access_infrastructure.proto.DataRateReport",
      "11 connected_time_in_seconds optional int32",
      "12 inactive_time_in_milliseconds optional int32",
      "13 is_long_preamble optional bool",
      "14 is_wmm_wme_capable optional bool",
      "15 is_mfp_capable optional bool",
      "16 is_tdls_peer optional bool",
  };
  EXPECT_THAT(FieldsOf(*GenericWifiClientStats::descriptor()), ElementsAreArray(generic));
  EXPECT_THAT(FieldsOf(*WifiClientThroughputReport::descriptor()),
              ElementsAre("1 duration_in_milliseconds optional int32",
                          "2 per_sample_throughput_in_bps repeated int64",
                          "3 average_throughput_in_bps optional int64"));
  const char* const histogram[] = {
      "1 mcs_rate optional access_infrastructure.proto.DataRateReport",
      "2 tx_success_bytes_per_rate optional int64",
      "3 tx_success_packets_per_rate optional int64",
      "4 tx_retry_bytes_per_rate optional int64",
      "5 tx_retry_packets_per_rate optional int64",
      "6 tx_failed_bytes_per_rate optional int64",
      "7 tx_failed_packets_per_rate optional int64",
      "8 rx_success_bytes_per_rate optional int64",
      "9 rx_success_packets_per_rate optional int64",
  };
  EXPECT_THAT(FieldsOf(*McsHistogramStats::descriptor()), ElementsAreArray(histogram));
  EXPECT_THAT(
      FieldsOf(*WifiClientStats::descriptor()),
      ElementsAre(
          "1 wlan_interface optional access_infrastructure.proto.WifiInterface",
          "2 client_stats repeated access_infrastructure.proto.WifiClientStats.ClientStats"));
  EXPECT_THAT(
      FieldsOf(*WifiClientStats::ClientStats::descriptor()),
      ElementsAre(
          "1 shmac optional string",
          "2 generic_wifi_stats optional access_infrastructure.proto.GenericWifiClientStats",
          "3 mcs_histogram_stats repeated access_infrastructure.proto.McsHistogramStats",
          "4 throughput optional access_infrastructure.proto.WifiClientThroughputReport"));
  // Packing is an option that changes the encoding.
  EXPECT_FALSE(WifiClientThroughputReport::descriptor()->field(1)->is_packed());
}

TEST(EventSchemaTest, Enumerations) {
  EXPECT_THAT(
      ValuesOf(*WifiInterface_descriptor()),
      ElementsAre("0 UNKNOWN", "1 BAND_2400MHZ", "2 BAND_5000MHZ", "3 WLAN_2400MHZ",
                  "4 WLAN_5000MHZ", "5 GUEST_2400MHZ", "6 GUEST_5000MHZ", "7 MESH_5000MHZ"));
  EXPECT_THAT(ValuesOf(*DataRateReport::OperatingMode_descriptor()),
              ElementsAre("0 UNKNOWN", "1 LEGACY", "2 HT", "3 VHT", "4 HT_OR_VHT"));
  EXPECT_THAT(ValuesOf(*ClientCapabilities::HtVhtCapability_descriptor()),
              ElementsAre("0 UNKNOWN", "1 LEGACY", "2 HT", "3 VHT"));
  EXPECT_THAT(ValuesOf(*ClientEventInfo::ClientEventType_descriptor()),
              ElementsAre("0 UNKNOWN_CLIENT_EVENT_TYPE", "1 AUTHENTICATE", "2 ASSOCIATE",
                          "3 CONNECT", "4 DISCONNECT", "5 DEAUTHENTICATE"));
  EXPECT_THAT(ValuesOf(*ClientEventInfo::SteeringReason_descriptor()),
              ElementsAre("0 UNKNOWN_STEERING_REASON", "1 STEER", "2 NOSTEER_TARGET_INTERFACE",
                          "3 NOSTEER_REASSOC", "4 NOSTEER_NEW_STATION", "5 NOSTEER_DEFERRED",
                          "6 NOSTEER_NON_CANDIDATE", "7 NOSTEER_WEAK_SIGNAL",
                          "8 NOSTEER_RECENTLY_STEERED"));
}

TEST(EventSchemaTest, EventReasons) {
  const char* const expected[] = {
      "0 UNKNOWN_CLIENT_EVENT_REASON",
      "1 ASSOC_REJECT_STEER",
      "2 DISCONNECT_REQUEST_FROM_CLIENT",
      "3 DISCONNECT_STEER_CLIENT",
      "4 FAILED_TO_ADD_STA",
      "5 NO_ACK",
      "6 DISCONNECT_DISASSOC_CLI",
      "7 DISCONNECT_DEAUTH_CLI",
      "8 REASON_BSS_TM_REQ_CLI",
      "9 DISCONNECT_ASSOC_OTHER_BSS",
      "10 DISCONNECT_IAPP_NOTIFY",
      "11 DISCONNECT_LOW_ACK",
      "12 DISCONNECT_INACTIVITY",
      "13 DISCONNECT_WPA_AUTH",
      "14 DISCONNECT_INSUFFICIENT_ENTROPY",
      "15 DISCONNECT_INCORRECT_RSN_IE",
      "16 DISCONNECT_SET_KEY_FAILURE",
      "17 DISCONNECT_EAPOL_M1_TIMEOUT",
      "18 DISCONNECT_EAPOL_M3_TIMEOUT",
      "19 DISCONNECT_GTK_M1_TIMEOUT",
      "20 DISCONNECT_PSK_MISMATCH",
  };
  EXPECT_THAT(ValuesOf(*ClientEventInfo::ClientEventReason_descriptor()),
              ElementsAreArray(expected));
}

TEST(EventBytesTest, NothingSetIsNothingSent) {
  EXPECT_THAT(Event().SerializeAsString(), IsEmpty());
  EXPECT_THAT(ClientEventInfo().SerializeAsString(), IsEmpty());
}

TEST(EventBytesTest, LevelsAreZigzag) {
  ClientEventInfo info;
  info.set_rssi_in_dbm(-45);
  EXPECT_EQ(info.SerializeAsString(), "\x40\x59");
}

TEST(EventBytesTest, AFieldSetToZeroIsPresent) {
  Event event;
  event.set_interface(UNKNOWN);
  EXPECT_EQ(event.SerializeAsString(), Bytes("\x10\x00"sv));
}

TEST(EventBytesTest, AnEventOfOneProbe) {
  Event event;
  event.set_interface(WLAN_2400MHZ);
  ClientProbeRequestInfo* probe = event.add_client_probe_request_info();
  probe->set_client_shmac("AB");
  probe->set_probe_request_rssi_in_dbm(-1);
  probe->mutable_client_capability();
  EXPECT_EQ(event.SerializeAsString(), Bytes("\x10\x03"
                                             "\x2a\x08"
                                             "\x0a\x02"
                                             "AB"
                                             "\x10\x01"
                                             "\x1a\x00"sv));
  ClientCapabilities* capability = probe->mutable_client_capability();
  capability->set_ht_vht_capability(ClientCapabilities::VHT);
  capability->set_number_of_spatial_streams(4294967295u);
  EXPECT_EQ(capability->SerializeAsString(), "\x08\x03\x10\xff\xff\xff\xff\x0f");
}

TEST(EventBytesTest, EveryFieldOfAnEventThatTheDaemonFills) {
  ClientEventInfo info;
  info.set_client_shmac("AB");
  info.set_event_time_in_milliseconds(1234);
  info.set_event_type(ClientEventInfo::CONNECT);
  info.set_is_event_success(true);
  info.set_event_reason(ClientEventInfo::DISCONNECT_PSK_MISMATCH);
  info.set_frame_status_code(5);
  info.set_steering_reason(ClientEventInfo::STEER);
  info.set_rssi_in_dbm(-45);
  DataRateReport* rate = info.mutable_data_rate();
  rate->set_bitrate_kbps(866'700);
  rate->set_bandwidth_mhz(80);
  rate->set_is_long_guard_interval(false);
  rate->set_mcs_index(9);
  rate->set_number_of_spatial_streams(2);
  info.set_probe_delta_in_milliseconds(300);
  info.set_steer_delta_in_milliseconds(1);
  info.set_event_frame_rssi_in_dbm(-1);
  info.set_average_rssi_in_dbm(-100);
  EXPECT_EQ(info.SerializeAsString(), Bytes("\x0a\x02"
                                            "AB"
                                            "\x10\xd2\x09"
                                            "\x18\x03"
                                            "\x20\x01"
                                            "\x28\x14"
                                            "\x30\x05"
                                            "\x38\x01"
                                            "\x40\x59"
                                            "\x4a\x0c"
                                            "\x08\x8c\xf3\x34"
                                            "\x10\x50"
                                            "\x18\x00"
                                            "\x20\x09"
                                            "\x28\x02"
                                            "\x58\xac\x02"
                                            "\x60\x01"
                                            "\x68\x01"
                                            "\x70\xc7\x01"sv));
}

TEST(EventBytesTest, NegativeNumbersOutsideLevelsTakeTenBytes) {
  DataRateReport rate;
  rate.set_mcs_index(-1);
  EXPECT_EQ(rate.SerializeAsString(), "\x20\xff\xff\xff\xff\xff\xff\xff\xff\xff\x01");
}

}  // namespace
}  // namespace access_infrastructure::proto
