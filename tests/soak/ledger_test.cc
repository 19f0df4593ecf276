#include "tests/soak/ledger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>

namespace orvane::soak {
namespace {

using access_infrastructure::proto::Event;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

Event BatchOf(std::initializer_list<std::uint64_t> serials) {
  Event batch;
  for (const std::uint64_t serial : serials) {
    batch.add_client_event_info()->set_steer_delta_in_milliseconds(serial);
  }
  return batch;
}

TEST(LedgerTest, SentAndRecordedLinesAreCorrect) {
  Ledger ledger;
  for (const std::uint64_t serial : {1, 2, 3}) ledger.Sent(1, serial, Fate::kRecorded);
  Event batch = BatchOf({1, 3});
  batch.add_client_probe_request_info()->set_probe_request_rssi_in_dbm(2);
  EXPECT_EQ(ledger.AwaitedCount(), 3U);
  ledger.Received(1, batch);
  EXPECT_EQ(ledger.AwaitedCount(), 0U);
  ledger.Close();
  EXPECT_THAT(ledger.violations(), IsEmpty());
  EXPECT_EQ(ledger.totals().recorded, 3U);
}

TEST(LedgerTest, MissingLinesAreReported) {
  Ledger ledger;
  ledger.Sent(0, 1, Fate::kRecorded);
  ledger.Sent(0, 2, Fate::kRecorded);
  ledger.Received(0, BatchOf({1}));
  ledger.Close();
  EXPECT_THAT(ledger.violations(), ElementsAre("2 is missing"));
  EXPECT_EQ(ledger.totals().missing, 1U);
}

TEST(LedgerTest, UncertainLinesMayBeLost) {
  Ledger ledger;
  ledger.Sent(0, 1, Fate::kRecorded);
  ledger.Sent(0, 2, Fate::kRecorded);
  ledger.Sent(1, 3, Fate::kRecorded);
  ledger.DoubtAfter(0, 1);
  EXPECT_EQ(ledger.AwaitedCount(), 2U);
  ledger.DoubtAll();
  EXPECT_EQ(ledger.AwaitedCount(), 0U);
  ledger.Sent(0, 4, Fate::kUncertain);
  ledger.Received(0, BatchOf({2, 4}));
  ledger.Close();
  EXPECT_THAT(ledger.violations(), IsEmpty());
  EXPECT_EQ(ledger.totals().uncertain, 4U);
  EXPECT_EQ(ledger.totals().uncertain_lost, 2U);
}

TEST(LedgerTest, DroppedLinesMustNotBeRecorded) {
  Ledger ledger;
  ledger.Sent(0, 1, Fate::kDropped);
  ledger.Sent(0, 2, Fate::kDropped);
  ledger.Received(0, BatchOf({2}));
  ledger.Close();
  EXPECT_THAT(ledger.violations(), ElementsAre("2 is recorded while recording is off"));
}

TEST(LedgerTest, DuplicateMisorderedAndMisplacedLinesAreReported) {
  Ledger ledger;
  for (const std::uint64_t serial : {1, 2, 3}) ledger.Sent(0, serial, Fate::kRecorded);
  ledger.Received(0, BatchOf({2, 1, 2}));
  ledger.Received(1, BatchOf({3}));
  EXPECT_THAT(ledger.violations(),
              ElementsAre("1 is recorded after 2", "2 is recorded twice, or was not sent",
                          "3 is recorded for the other interface"));
}

}  // namespace
}  // namespace orvane::soak
