// Many restarts of hostapd and many events leak neither descriptors nor memory.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "testbed/access_point.h"
#include "testbed/child_process.h"

namespace orvane::testbed {
namespace {

class EnduranceTest : public AccessPointTest {
 protected:
  struct Footprint {
    std::size_t descriptors;
    std::int64_t kilobytes;
  };

  Footprint Measure(const std::string& when) {
    const Footprint footprint = {ap_.DescriptorCount(), ap_.ResidentKilobytes()};
    std::cout << when << ": " << footprint.descriptors << " descriptors, " << footprint.kilobytes
              << " kB resident\n";
    RecordProperty(when + " kB", std::to_string(footprint.kilobytes));
    return footprint;
  }

  // Returns whether the memory has grown by more. Sanitizers do not release freed memory.
  static bool HasGrown(const Footprint& before, const Footprint& after, std::int64_t kilobytes) {
    return !kIsSanitized && after.kilobytes > before.kilobytes + kilobytes;
  }
};

TEST_F(EnduranceTest, SurvivesAThousandRestartsOfHostapd) {
  constexpr int kRestarts = kIsSanitized ? 200 : 1000;
  ap_.StartBus();
  std::optional<Hostapd> hostapd(kWlan5000);
  ap_.StartDaemon();
  hostapd->Attach();
  ap_.Settle(*hostapd);
  const Footprint before = Measure("before");
  // Waits for the next such line only, since the log becomes long.
  const auto expect_line = [this](const char* text) {
    EXPECT_TRUE(ap_.daemon().err().WaitForLine(text, kPatience).has_value()) << text;
  };
  for (int i = 0; i < kRestarts; ++i) {
    hostapd.reset();
    expect_line("Send to hostapd failed: Connection refused (111)");
    ap_.Hold();
    hostapd.emplace(kWlan5000);
    ap_.Release();
    hostapd->Attach();
    hostapd->Send("<3>ATTACHED-AGAIN");
    expect_line("Received unknown event: ATTACHED-AGAIN");
  }
  const Footprint after = Measure("after the restarts");
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_FALSE(HasGrown(before, after, 1024));
  EXPECT_EQ(ap_.LogTexts("ERROR").size(), static_cast<std::size_t>(kRestarts));
  EXPECT_EQ(ap_.LogCount("WARNING", "Could not attach to hostapd"), 0U);
}

class FloodTest : public EnduranceTest {
 protected:
  static constexpr int kEventsPerInterface = 10'000;

  // Plays the events of a hostapd with two interfaces, and waits until all are in records. hostapd
  // ends only then, since lines in the daemon's queue are lost when it ends.
  void Flood() {
    ap_.Hold();
    const auto hostapd =
        StartProcess({HOSTAPD_STANDIN_PATH, "--count", std::to_string(kEventsPerInterface)});
    ASSERT_TRUE(hostapd->out().WaitForLine("ready", kPatience));
    ap_.Release();
    ASSERT_TRUE(hostapd->out().WaitForLine("all done", 3 * kPatience));
    for (int left = 2 * kEventsPerInterface; left > 0;) {
      const Record record = ap_.WaitForRecord(++record_count_);
      ASSERT_GT(record.event.client_event_info_size(), 0);
      left -= record.event.client_event_info_size();
      EXPECT_GE(left, 0);
    }
    hostapd->Signal(SIGTERM);
    error_count_ += 2;
    ap_.ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)", error_count_);
  }

  std::size_t record_count_ = 0;
  std::size_t error_count_ = 0;
};

TEST_F(FloodTest, ManyFloodsCostNoMoreMemoryThanOne) {
  constexpr int kFloods = kIsSanitized ? 2 : 10;
  ap_.StartBus();
  ap_.StartRecorder();
  WriteSalt(kSalt);
  std::filesystem::create_directories(kControlDirectory);
  ap_.StartFlags({});
  ap_.StartDaemon({"--connection_event_upload_period=1"});
  const Footprint before = Measure("before");
  for (int flood = 0; flood < kFloods; ++flood) Flood();
  // The allocator keeps the memory of the largest batch, which has at most all events of a flood. A
  // leak of a hundred bytes per event would exceed the limit.
  const Footprint after = Measure("after the floods");
  EXPECT_FALSE(HasGrown(before, after, 100 * kFloods * 2 * kEventsPerInterface / 1024));
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_EQ(ap_.LogTexts("ERROR").size(), error_count_);
  EXPECT_THAT(ap_.LogTexts("WARNING"), ::testing::IsEmpty());
  ap_.ExpectQuickExit(SIGTERM);
}

}  // namespace
}  // namespace orvane::testbed
