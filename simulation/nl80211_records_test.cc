#include "simulation/nl80211_records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <optional>
#include <vector>

namespace orvane::simulation {
namespace {

using ::testing::ElementsAreArray;

constexpr std::uint32_t kIndex = 3;
const MessageHeader kHeader = {FakeKernel::kNl80211Family, NLM_F_MULTI, 5, 4711};

std::vector<FakeKernel::Station> MakeStations() {
  std::vector<FakeKernel::Station> stations(1);
  const auto add = [&](auto change) { change(stations.emplace_back(stations.back())); };
  add([](auto& station) { station.address = {2, 0, 0, 0, 0, 9}; });
  add([](auto& station) { station.signal_average = -90; });
  add([](auto& station) { station.flags = 0; });
  add([](auto& station) { station.signal_average.reset(); });
  add([](auto& station) { station.flags = 0xff; });
  add([](auto& station) { station.signal_average = 127; });
  add([](auto& station) { station.signal = -1; });
  add([](auto& station) { station.has_statistics = false; });
  add([](auto& station) { station.address = {1, 2, 3, 4, 5, 6}; });
  add([](auto& station) { station.tx_rate.flags = {NL80211_RATE_INFO_SHORT_GI}; });
  add([](auto& station) { station.rx_rate.mcs = 7; });
  add([](auto& station) { station.has_rx_rate = false; });
  add([](auto& station) { station = FakeKernel::Station(); });
  return stations;
}

// Whatever differs from the previous station.
TEST(StationMessagesTest, EachMessageDescribesItsStation) {
  StationMessages messages(kHeader, kIndex);
  for (const FakeKernel::Station& station : MakeStations()) {
    EXPECT_THAT(messages.Make(station),
                ElementsAreArray(MakeGenericMessage(kHeader, NL80211_CMD_NEW_STATION,
                                                    MakeStationRecord(kIndex, station))));
  }
}

TEST(StationMessagesTest, AStationWithoutStatisticsIsSmall) {
  StationMessages messages(kHeader, kIndex);
  FakeKernel::Station station;
  const std::size_t whole = messages.Make(station).size();
  station.has_statistics = false;
  EXPECT_LT(8 * messages.Make(station).size(), whole);
}

}  // namespace
}  // namespace orvane::simulation
