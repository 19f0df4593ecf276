#include "testbed/record.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <limits>

#include "event.pb.h"

namespace orvane::testbed {
namespace {

using access_infrastructure::proto::ClientCapabilities;
using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::Event;

constexpr char kEventType[] = "type.velmora.org/access_infrastructure.proto.Event";

Event SampleEvent() {
  Event event;
  event.set_interface(access_infrastructure::proto::WLAN_5000MHZ);
  ClientEventInfo* info = event.add_client_event_info();
  info->set_client_shmac("0123456789ABCDEF0123");
  info->set_event_time_in_milliseconds(3'723'004);
  info->set_event_type(ClientEventInfo::CONNECT);
  info->set_event_reason(ClientEventInfo::DISCONNECT_PSK_MISMATCH);
  info->set_rssi_in_dbm(-45);
  info->mutable_data_rate()->set_bitrate_kbps(866'700);
  info->mutable_data_rate()->set_is_long_guard_interval(false);
  event.add_client_probe_request_info()->mutable_client_capability()->set_ht_vht_capability(
      ClientCapabilities::VHT);
  return event;
}

DataRecord RecordOf(const std::string& type, const std::string& data) {
  return {.method = "RecordOfflineData", .type = type, .data = data, .received_ms = 1};
}

class RecordTest : public ::testing::Test {
 protected:
  RecordTest() {
    setenv("TZ", "UTC", 1);
    tzset();
  }
};

TEST_F(RecordTest, DescribesABatchOfEvents) {
  const std::string data = SampleEvent().SerializeAsString();
  EXPECT_EQ(DescribeRecord(RecordOf(kEventType, data)),
            "00:00:00.001 RecordOfflineData " + std::string(kEventType) + ", " +
                std::to_string(data.size()) +
                " bytes: WLAN_5000MHZ, 1 client events, 1 probe reports\n"
                "  01:02:03.004 CONNECT      0123456789AB event_reason: DISCONNECT_PSK_MISMATCH "
                "rssi_in_dbm: -45 data_rate { bitrate_kbps: 866700 is_long_guard_interval: false "
                "}\n"
                "               probe report unknown      client_capability { ht_vht_capability: "
                "VHT }");
}

TEST_F(RecordTest, DescribesWhatItDoesNotKnow) {
  EXPECT_EQ(DescribeRecord(RecordOf("other", "xyz")),
            "00:00:00.001 RecordOfflineData other, 3 bytes");
  EXPECT_EQ(
      DescribeRecord(RecordOf(kEventType, "\xff")),
      fmt::format("00:00:00.001 RecordOfflineData {}, 1 bytes: can't be decoded", kEventType));
}

TEST_F(RecordTest, SurvivesATimeThatNoCalendarHas) {
  Event event;
  event.add_client_event_info()->set_event_time_in_milliseconds(
      std::numeric_limits<std::uint64_t>::max());
  EXPECT_THAT(DescribeRecord(RecordOf(kEventType, event.SerializeAsString())),
              ::testing::HasSubstr("UNKNOWN_CLIENT_EVENT_TYPE unknown"));
}

// Parses the line as JSON.
google::protobuf::Struct Parse(const std::string& line) {
  EXPECT_EQ(line.find('\n'), std::string::npos);
  google::protobuf::Struct object;
  EXPECT_TRUE(google::protobuf::util::JsonStringToMessage(line, &object).ok()) << line;
  return object;
}

TEST_F(RecordTest, JsonHoldsTheMessage) {
  const Event event = SampleEvent();
  const google::protobuf::Struct object =
      Parse(RecordToJson(RecordOf(kEventType, event.SerializeAsString())));
  EXPECT_EQ(object.fields().at("method").string_value(), "RecordOfflineData");
  EXPECT_EQ(object.fields().at("type_url").string_value(), kEventType);
  EXPECT_EQ(object.fields().at("size").number_value(), static_cast<double>(event.ByteSizeLong()));
  EXPECT_EQ(object.fields().at("received_ms").number_value(), 1);
  std::string message;
  ASSERT_TRUE(
      google::protobuf::util::MessageToJsonString(object.fields().at("message"), &message).ok());
  EXPECT_THAT(message, ::testing::HasSubstr("\"rssi_in_dbm\":-45"));
  EXPECT_THAT(message, ::testing::HasSubstr("\"is_long_guard_interval\":false"));
  Event back;
  ASSERT_TRUE(google::protobuf::util::JsonStringToMessage(message, &back).ok());
  EXPECT_EQ(back.SerializeAsString(), event.SerializeAsString());
}

TEST_F(RecordTest, JsonOfUnknownBytesIsHexadecimal) {
  EXPECT_EQ(RecordToJson(RecordOf("a\"b", std::string("\x00\xff", 2))),
            R"({"method":"RecordOfflineData","type_url":"a\"b","size":2,"received_ms":1,)"
            R"("data_hex":"00ff"})");
}

TEST_F(RecordTest, DescribesMetrics) {
  const MetricRecord metric = {.method = "RecordMetric",
                               .name = "uptime",
                               .fields = {{"unit", "s"}},
                               .signature = "x",
                               .value = "-5",
                               .received_ms = 1};
  EXPECT_EQ(DescribeRecord(metric), "00:00:00.001 RecordMetric uptime = -5 (x) unit=s");
  EXPECT_EQ(RecordToJson(metric),
            R"({"method":"RecordMetric","name":"uptime","fields":{"unit":"s"},"signature":"x",)"
            R"("value":"-5","received_ms":1})");
}

}  // namespace
}  // namespace orvane::testbed
