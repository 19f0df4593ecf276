#include "bridge/station_info.h"

#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include "simulation/message_builder.h"

namespace orvane::bridge {
namespace {

using platform::AttributeList;
using simulation::AttributeBuilder;

// Reads the rate of a station without other information.
TransmitRate ReadRate(const AttributeBuilder& rate) {
  AttributeBuilder info;
  info.Nest(NL80211_STA_INFO_TX_BITRATE, rate);
  return ReadStationInfo(AttributeList(info.bytes())).transmit_rate;
}

std::uint8_t Dbm(int dbm) { return static_cast<std::uint8_t>(dbm); }

TEST(StationInfoTest, ReadsSignals) {
  AttributeBuilder attributes;
  attributes.U8(NL80211_STA_INFO_SIGNAL, Dbm(-80)).U8(NL80211_STA_INFO_SIGNAL_AVG, Dbm(-128));
  const StationInfo info = ReadStationInfo(AttributeList(attributes.bytes()));
  EXPECT_EQ(info.signal, -80);
  EXPECT_EQ(info.signal_average, -128);
  EXPECT_EQ(info.transmit_rate, TransmitRate());
}

// The kernel has not received a frame of the station yet.
TEST(StationInfoTest, HasNoSignalOfZero) {
  AttributeBuilder attributes;
  attributes.U8(NL80211_STA_INFO_SIGNAL, 0).U8(NL80211_STA_INFO_SIGNAL_AVG, 0);
  EXPECT_EQ(ReadStationInfo(AttributeList(attributes.bytes())), StationInfo());
}

TEST(StationInfoTest, IsEmptyWithoutTheNest) {
  EXPECT_EQ(ReadStationInfo(AttributeList()), StationInfo());
}

TEST(StationInfoTest, SkipsAttributesOfAWrongSize) {
  AttributeBuilder attributes;
  attributes.U32(NL80211_STA_INFO_SIGNAL, 1)
      .Flag(NL80211_STA_INFO_SIGNAL_AVG)
      .Nest(NL80211_STA_INFO_TX_BITRATE, AttributeBuilder()
                                             .U16(NL80211_RATE_INFO_BITRATE32, 1)
                                             .U32(NL80211_RATE_INFO_BITRATE, 540));
  EXPECT_EQ(ReadStationInfo(AttributeList(attributes.bytes())), StationInfo());
}

TEST(StationInfoTest, ReadsALegacyRate) {
  EXPECT_EQ(ReadRate(AttributeBuilder()
                         .U16(NL80211_RATE_INFO_BITRATE, 540)
                         .U32(NL80211_RATE_INFO_BITRATE32, 540)),
            (TransmitRate{.kbps = 54'000, .bandwidth_mhz = 20}));
}

TEST(StationInfoTest, ReadsAnHtRate) {
  const TransmitRate rate = ReadRate(AttributeBuilder()
                                         .U32(NL80211_RATE_INFO_BITRATE32, 1500)
                                         .U8(NL80211_RATE_INFO_MCS, 7)
                                         .Flag(NL80211_RATE_INFO_40_MHZ_WIDTH)
                                         .Flag(NL80211_RATE_INFO_SHORT_GI));
  EXPECT_EQ(rate,
            (TransmitRate{
                .kbps = 150'000, .bandwidth_mhz = 40, .ht_mcs = 7, .short_guard_interval = true}));
}

TEST(StationInfoTest, ReadsAVhtRate) {
  const TransmitRate rate = ReadRate(AttributeBuilder()
                                         .U32(NL80211_RATE_INFO_BITRATE32, 7800)
                                         .U8(NL80211_RATE_INFO_VHT_MCS, 9)
                                         .U8(NL80211_RATE_INFO_VHT_NSS, 2)
                                         .Flag(NL80211_RATE_INFO_80_MHZ_WIDTH));
  EXPECT_EQ(rate, (TransmitRate{.kbps = 780'000,
                                .bandwidth_mhz = 80,
                                .vht_mcs = 9,
                                .vht_nss = 2,
                                .short_guard_interval = false}));
}

// The guard intervals of 0.8, 1.6 and 3.2 us have no attribute.
TEST(StationInfoTest, ReadsOnlySpeedAndWidthOfAnHeRate) {
  const TransmitRate rate = ReadRate(AttributeBuilder()
                                         .U32(NL80211_RATE_INFO_BITRATE32, 24'019)
                                         .U8(NL80211_RATE_INFO_HE_MCS, 11)
                                         .U8(NL80211_RATE_INFO_HE_NSS, 2)
                                         .U8(NL80211_RATE_INFO_HE_GI, 0)
                                         .Flag(NL80211_RATE_INFO_160_MHZ_WIDTH));
  EXPECT_EQ(rate, (TransmitRate{.kbps = 2'401'900, .bandwidth_mhz = 160}));
}

TEST(StationInfoTest, HasNoWidthIfOnlyAPartOfTheChannelIsUsed) {
  for (const int part : {NL80211_RATE_INFO_HE_RU_ALLOC, NL80211_RATE_INFO_EHT_RU_ALLOC}) {
    EXPECT_EQ(ReadRate(AttributeBuilder().U32(NL80211_RATE_INFO_BITRATE32, 100).U8(part, 1)),
              (TransmitRate{.kbps = 10'000}));
  }
}

TEST(StationInfoTest, ReadsEveryWidth) {
  const auto width_of = [](int flag) {
    return ReadRate(AttributeBuilder().U32(NL80211_RATE_INFO_BITRATE32, 1).Flag(flag))
        .bandwidth_mhz;
  };
  EXPECT_EQ(width_of(NL80211_RATE_INFO_5_MHZ_WIDTH), 5);
  EXPECT_EQ(width_of(NL80211_RATE_INFO_10_MHZ_WIDTH), 10);
  EXPECT_EQ(width_of(NL80211_RATE_INFO_40_MHZ_WIDTH), 40);
  EXPECT_EQ(width_of(NL80211_RATE_INFO_80_MHZ_WIDTH), 80);
  EXPECT_EQ(width_of(NL80211_RATE_INFO_80P80_MHZ_WIDTH), 160);
  EXPECT_EQ(width_of(NL80211_RATE_INFO_160_MHZ_WIDTH), 160);
  EXPECT_EQ(width_of(NL80211_RATE_INFO_320_MHZ_WIDTH), 320);
}

TEST(StationInfoTest, FallsBackToTheShortRate) {
  EXPECT_EQ(ReadRate(AttributeBuilder().U16(NL80211_RATE_INFO_BITRATE, 10)).kbps, 1'000);
  EXPECT_EQ(ReadRate(AttributeBuilder().U16(NL80211_RATE_INFO_BITRATE, 0)), TransmitRate());
}

TEST(StationInfoTest, DoesNotOverflow) {
  EXPECT_EQ(ReadRate(AttributeBuilder().U32(NL80211_RATE_INFO_BITRATE32, 0xffffffff)).kbps,
            429'496'729'500);
}

}  // namespace
}  // namespace orvane::bridge
