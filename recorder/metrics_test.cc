#include "recorder/metrics.h"

#include <gmock/gmock.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <string>

#include "recorder/tally.h"

namespace orvane::recorder {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::ClientProbeRequestInfo;
using testing::HasSubstr;
using testing::Not;

void AddEvent(Tally* tally, const std::string& interface, const std::string& text) {
  ClientEventInfo event;
  ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &event));
  tally->AddEntry(interface, event);
}

std::string TextOf(const Tally& tally) { return FormatMetrics({.counts = tally.Counts()}); }

TEST(MetricsTest, EventsAreCountedByTheirLabels) {
  Tally tally;
  const std::string failed =
      "client_shmac: 'SECRET' event_type: CONNECT is_event_success: false event_reason: NO_ACK";
  AddEvent(&tally, "WLAN_5000MHZ", failed);
  AddEvent(&tally, "WLAN_5000MHZ", failed);
  AddEvent(&tally, "", "is_event_success: true");
  AddEvent(&tally, "", "");
  tally.AddEntry("WLAN_2400MHZ", ClientProbeRequestInfo());
  tally.AddRecord("other", 5);
  tally.AddRecord("other", 7);
  tally.AddError(kNotAnEvent);
  const std::string text = TextOf(tally);
  EXPECT_THAT(text, HasSubstr("# TYPE ap_wavelark_client_events_total counter\n"));
  for (
      const char* line :
      {R"(ap_wavelark_client_events_total{interface="WLAN_5000MHZ",type="CONNECT",success="false",reason="NO_ACK"} 2)",
       R"(ap_wavelark_client_events_total{interface="",type="",success="true",reason=""} 1)",
       R"(ap_wavelark_client_events_total{interface="",type="",success="",reason=""} 1)",
       R"(ap_wavelark_probe_reports_total{interface="WLAN_2400MHZ"} 1)",
       R"(ap_wavelark_records_total{type="other"} 2)", "ap_wavelark_record_bytes_total 12",
       R"(ap_wavelark_errors_total{kind="not_an_event"} 1)"}) {
    EXPECT_THAT(text, HasSubstr(std::string("\n") + line + "\n"));
  }
  EXPECT_THAT(text, Not(HasSubstr("SECRET")));
}

TEST(MetricsTest, BucketsAreCumulativeAndInOrder) {
  Tally tally;
  AddEvent(&tally, "A", "average_rssi_in_dbm: -95 rssi_in_dbm: -30");
  AddEvent(&tally, "A", "rssi_in_dbm: -94 event_frame_rssi_in_dbm: -30");
  AddEvent(&tally, "A", "event_frame_rssi_in_dbm: -29");
  const std::string text = TextOf(tally);
  EXPECT_THAT(text, HasSubstr(R"(
ap_wavelark_signal_dbm_bucket{interface="A",le="-95"} 1
ap_wavelark_signal_dbm_bucket{interface="A",le="-90"} 2
)"));
  EXPECT_THAT(text, HasSubstr(R"(
ap_wavelark_signal_dbm_bucket{interface="A",le="-30"} 2
ap_wavelark_signal_dbm_bucket{interface="A",le="+Inf"} 3
ap_wavelark_signal_dbm_sum{interface="A"} -218
ap_wavelark_signal_dbm_count{interface="A"} 3
)"));
}

TEST(MetricsTest, TheTimeOfTheLastRecordNeedsARecord) {
  EXPECT_THAT(FormatMetrics({}), Not(HasSubstr("timestamp")));
  EXPECT_THAT(FormatMetrics({.counts = {}, .last_record_ms = 1'700'000'000'123}),
              HasSubstr("\nap_wavelark_last_record_timestamp_seconds 1700000000.123\n"));
}

}  // namespace
}  // namespace orvane::recorder
