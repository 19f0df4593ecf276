#include "recorder/event_parts.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <string>

namespace orvane::recorder {
namespace {

using access_infrastructure::proto::Event;

Bytes BytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

Event EventOf(const std::string& text) {
  Event event;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &event));
  return event;
}

// Rebuilds the Event from its parts.
std::string Join(const EventParts& parts) {
  Event event = parts.header;
  for (const Bytes bytes : parts.client_events) {
    EXPECT_TRUE(event.add_client_event_info()->ParseFromArray(bytes.data(),
                                                              static_cast<int>(bytes.size())));
  }
  for (const Bytes bytes : parts.probe_reports) {
    EXPECT_TRUE(event.add_client_probe_request_info()->ParseFromArray(
        bytes.data(), static_cast<int>(bytes.size())));
  }
  return event.SerializeAsString();
}

TEST(EventPartsTest, PartsContainTheWholeEvent) {
  const std::string bytes =
      EventOf(
          "group_id: 'g' interface: WLAN_5000MHZ frequency_in_mhz: 5180 "
          "client_event_info { client_shmac: 'A' event_type: CONNECT data_rate { mcs_index: 7 } } "
          "client_event_info {} client_probe_request_info { probe_request_rssi_in_dbm: -60 }")
          .SerializeAsString();
  const auto parts = SplitEvent(BytesOf(bytes));
  ASSERT_TRUE(parts.has_value());
  EXPECT_EQ(parts->client_events.size(), 2U);
  EXPECT_EQ(parts->probe_reports.size(), 1U);
  EXPECT_EQ(parts->header.client_event_info_size(), 0);
  EXPECT_EQ(Join(*parts), bytes);
}

TEST(EventPartsTest, FieldsMayBeInAnyOrderAndUnknown) {
  const std::string entry =
      EventOf("client_event_info { event_type: CONNECT }").SerializeAsString();
  const std::string header = EventOf("interface: WLAN_2400MHZ").SerializeAsString();
  const std::string unknown = "\x98\x06\x01";  // field 99, a number
  const auto parts = SplitEvent(BytesOf(entry + unknown + header + entry));
  ASSERT_TRUE(parts.has_value());
  EXPECT_EQ(parts->client_events.size(), 2U);
  EXPECT_EQ(parts->header.interface(), access_infrastructure::proto::WLAN_2400MHZ);
  EXPECT_EQ(parts->header.SerializeAsString(), header + unknown);
}

TEST(EventPartsTest, NoBytesAreAnEmptyEvent) {
  const auto parts = SplitEvent({});
  ASSERT_TRUE(parts.has_value());
  EXPECT_TRUE(parts->client_events.empty());
}

TEST(EventPartsTest, ATruncatedEventIsRejected) {
  const std::string bytes =
      EventOf("interface: WLAN_5000MHZ client_event_info { client_shmac: 'ABCDEF' }")
          .SerializeAsString();
  for (std::size_t size = 1; size < bytes.size(); ++size) {
    // Bytes that end between two fields are a shorter, valid Event.
    if (size == 2) continue;
    EXPECT_FALSE(SplitEvent(BytesOf(bytes.substr(0, size))).has_value()) << size;
  }
}

TEST(EventPartsTest, OtherBytesAreRejected) {
  EXPECT_FALSE(SplitEvent(BytesOf("Not an event.")).has_value());
  EXPECT_FALSE(SplitEvent(BytesOf(std::string("\0", 1))).has_value());
  EXPECT_FALSE(SplitEvent(BytesOf("\x0f")).has_value());  // an invalid wire type
}

// Each of these would take many times its bytes in memory.
TEST(EventPartsTest, AnEventBeyondTheLimitsIsRejected) {
  std::string many;
  for (std::size_t i = 0; i < kMaxEntries; ++i) many.append("\x22\x00", 2);
  EXPECT_TRUE(SplitEvent(BytesOf(many)).has_value());
  many.append("\x2a\x00", 2);
  EXPECT_FALSE(SplitEvent(BytesOf(many)).has_value());

  Event large;
  large.add_client_event_info()->set_client_shmac(std::string(kMaxEntrySize - 3, 'x'));
  EXPECT_TRUE(SplitEvent(BytesOf(large.SerializeAsString())).has_value());
  large.mutable_client_event_info(0)->set_client_shmac(std::string(kMaxEntrySize - 2, 'x'));
  EXPECT_FALSE(SplitEvent(BytesOf(large.SerializeAsString())).has_value());

  Event header;
  header.set_group_id(std::string(kMaxHeaderSize - 3, 'x'));
  EXPECT_TRUE(SplitEvent(BytesOf(header.SerializeAsString())).has_value());
  header.set_group_id(std::string(kMaxHeaderSize - 2, 'x'));
  EXPECT_FALSE(SplitEvent(BytesOf(header.SerializeAsString())).has_value());
}

}  // namespace
}  // namespace orvane::recorder
