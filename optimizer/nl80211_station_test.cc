#include "optimizer/nl80211_station.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/message_builder.h"
#include "testbed/generic_message.h"

namespace orvane::ap {
namespace {

using testbed::GenericMessage;

using simulation::AttributeBuilder;

class Reply : public GenericMessage {
 public:
  explicit Reply(const AttributeBuilder& attributes)
      : GenericMessage(NL80211_CMD_NEW_STATION, attributes) {}
};

// The parts of a station's reply. Tests change one of them.
struct StationReply {
  AttributeBuilder tx_rate;
  AttributeBuilder rx_rate;
  std::uint32_t flags_mask = 0;
  std::uint32_t flags = 0;
  AttributeBuilder more_information;
  AttributeBuilder more;

  AttributeBuilder Build() const {
    AttributeBuilder information;
    information.Nest(NL80211_STA_INFO_TX_BITRATE, tx_rate)
        .Nest(NL80211_STA_INFO_RX_BITRATE, rx_rate)
        .Raw(NL80211_STA_INFO_STA_FLAGS,
             simulation::BytesBuilder().Value(flags_mask).Value(flags).bytes())
        .Tail(more_information.bytes());
    return AttributeBuilder().Nest(NL80211_ATTR_STA_INFO, information).Tail(more.bytes());
  }
};

// Reads a value of the station that `reply` describes.
template <typename Read>
auto ReadStation(const AttributeBuilder& attributes, Read read) {
  const Reply reply(attributes);
  const Nl80211Station station(reply.message());
  return read(station);
}

#define READ(attributes, accessor) \
  ReadStation(attributes, [](const Nl80211Station& station) { return station.accessor(); })

// --- Construction ---

struct MissingPiece {
  const char* name;
  AttributeBuilder attributes;
  const char* condition;

  friend std::ostream& operator<<(std::ostream& stream, const MissingPiece& piece) {
    return stream << piece.name;
  }
};

AttributeBuilder Information(const AttributeBuilder& information) {
  return AttributeBuilder().Nest(NL80211_ATTR_STA_INFO, information);
}

class MissingPieceTest : public testing::TestWithParam<MissingPiece> {};

TEST_P(MissingPieceTest, IsFatal) {
  const Reply reply(GetParam().attributes);
  EXPECT_DEATH(Nl80211Station{reply.message()}, testing::HasSubstr(GetParam().condition));
}

TEST_P(MissingPieceTest, IsNotComplete) {
  const Reply reply(AttributeBuilder()
                        .Raw(NL80211_ATTR_MAC, {0, 0, 0, 0, 0, 1})
                        .Tail(GetParam().attributes.bytes()));
  EXPECT_FALSE(Nl80211Station::IsComplete(reply.message()));
}

constexpr char kNoInformation[] =
    "Check failed: message_->const_attributes()->ConstGetNestedAttributeList( "
    "NL80211_ATTR_STA_INFO, &station_information_)";
constexpr char kNoTxRate[] =
    "Check failed: station_information_->ConstGetNestedAttributeList( "
    "NL80211_STA_INFO_TX_BITRATE, &tx_rate_information_)";
constexpr char kNoRxRate[] =
    "Check failed: station_information_->ConstGetNestedAttributeList( "
    "NL80211_STA_INFO_RX_BITRATE, &rx_rate_information_)";
constexpr char kNoFlags[] =
    "Check failed: station_information_->GetU64AttributeValue( NL80211_STA_INFO_STA_FLAGS, "
    "reinterpret_cast<uint64_t *>(&station_flags_))";

// In the order of the checks: each reply lacks its own piece and all later ones.
INSTANTIATE_TEST_SUITE_P(
    Pieces, MissingPieceTest,
    testing::Values(
        MissingPiece{"Everything", AttributeBuilder(), kNoInformation},
        MissingPiece{"TxRateAndLater", Information(AttributeBuilder()), kNoTxRate},
        MissingPiece{"TxRate",
                     Information(AttributeBuilder()
                                     .Nest(NL80211_STA_INFO_RX_BITRATE, AttributeBuilder())
                                     .U64(NL80211_STA_INFO_STA_FLAGS, 0)),
                     kNoTxRate},
        MissingPiece{
            "RxRateAndLater",
            Information(AttributeBuilder().Nest(NL80211_STA_INFO_TX_BITRATE, AttributeBuilder())),
            kNoRxRate},
        MissingPiece{"RxRate",
                     Information(AttributeBuilder()
                                     .Nest(NL80211_STA_INFO_TX_BITRATE, AttributeBuilder())
                                     .U64(NL80211_STA_INFO_STA_FLAGS, 0)),
                     kNoRxRate},
        MissingPiece{"Flags",
                     Information(AttributeBuilder()
                                     .Nest(NL80211_STA_INFO_TX_BITRATE, AttributeBuilder())
                                     .Nest(NL80211_STA_INFO_RX_BITRATE, AttributeBuilder())),
                     kNoFlags},
        MissingPiece{"FlagsOfTheWrongSize",
                     Information(AttributeBuilder()
                                     .Nest(NL80211_STA_INFO_TX_BITRATE, AttributeBuilder())
                                     .Nest(NL80211_STA_INFO_RX_BITRATE, AttributeBuilder())
                                     .U32(NL80211_STA_INFO_STA_FLAGS, 2)),
                     kNoFlags}),
    [](const auto& piece) { return std::string(piece.param.name); });

TEST(Nl80211StationTest, IsCompleteWithAnAddressOfSixBytes) {
  StationReply parts;
  EXPECT_FALSE(Nl80211Station::IsComplete(Reply(parts.Build()).message()));
  parts.more.Raw(NL80211_ATTR_MAC, {1, 2, 3, 4, 5});
  EXPECT_FALSE(Nl80211Station::IsComplete(Reply(parts.Build()).message()));
  parts.more = AttributeBuilder().Raw(NL80211_ATTR_MAC, {1, 2, 3, 4, 5, 6});
  EXPECT_TRUE(Nl80211Station::IsComplete(Reply(parts.Build()).message()));
}

TEST(Nl80211StationTest, MandatoryValuesAreFatalWhenAskedFor) {
  const Reply reply(StationReply().Build());
  const Nl80211Station station(reply.message());
  using testing::HasSubstr;
  EXPECT_DEATH(station.GetMacAddress(),
               HasSubstr("Check failed: message_->const_attributes()->GetRawAttributeValue( "
                         "NL80211_ATTR_MAC, &address)"));
  EXPECT_DEATH(station.GetTxBytes(),
               HasSubstr("Check failed: station_information_->GetU64AttributeValue( "
                         "NL80211_STA_INFO_TX_BYTES64, &bytes)"));
  EXPECT_DEATH(station.GetRxBytes(),
               HasSubstr("Check failed: station_information_->GetU64AttributeValue( "
                         "NL80211_STA_INFO_RX_BYTES64, &bytes)"));
  EXPECT_DEATH(station.GetInterfaceIndex(),
               HasSubstr("Check failed: message_->const_attributes()->GetU32AttributeValue( "
                         "NL80211_ATTR_IFINDEX, &interface_index)"));
}

TEST(Nl80211StationTest, AnAddressOfTheWrongSizeIsFatal) {
  StationReply parts;
  parts.more.Raw(NL80211_ATTR_MAC, {1, 2, 3, 4, 5});
  const Reply reply(parts.Build());
  const Nl80211Station station(reply.message());
  EXPECT_DEATH(station.GetMacAddress(), "Invalid MAC address: 0102030405");
}

// --- Values ---

TEST(Nl80211StationTest, OptionalValuesDefaultToZero) {
  const Reply reply(StationReply().Build());
  const Nl80211Station station(reply.message());
  EXPECT_EQ(station.GetInactiveTime(), 0U);
  EXPECT_EQ(station.GetConnectedTime(), 0U);
  EXPECT_EQ(station.GetRxPackets(), 0U);
  EXPECT_EQ(station.GetTxPackets(), 0U);
  EXPECT_EQ(station.GetTxFailed(), 0U);
  EXPECT_EQ(station.GetSignal(), 0);
  EXPECT_EQ(station.GetSignalAverage(), 0);
  EXPECT_EQ(station.GetTxBitrate(), 0U);
  EXPECT_EQ(station.GetRxBitrate(), 0U);
  EXPECT_EQ(station.GetTxMcs(), 0);
  EXPECT_EQ(station.GetRxMcs(), 0);
  EXPECT_EQ(station.GetTxMode(), "VHT");
  EXPECT_EQ(station.GetRxMode(), "VHT");
  EXPECT_EQ(station.GetTxGuardInterval(), "long");
  EXPECT_EQ(station.GetRxGuardInterval(), "long");
  EXPECT_EQ(station.GetTxNss(), 0);
  EXPECT_EQ(station.GetRxNss(), 0);
  EXPECT_EQ(station.GetTxChannelWidth(), 20U);
  EXPECT_EQ(station.GetRxChannelWidth(), 20U);
}

TEST(Nl80211StationTest, ReadsEachValueFromItsAttribute) {
  StationReply parts;
  parts.more.U32(NL80211_ATTR_IFINDEX, 12).Raw(NL80211_ATTR_MAC, {0, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e});
  parts.more_information.U64(NL80211_STA_INFO_TX_BYTES64, 0x100000001)
      .U64(NL80211_STA_INFO_RX_BYTES64, 0x200000002)
      .U32(NL80211_STA_INFO_INACTIVE_TIME, 3)
      .U32(NL80211_STA_INFO_CONNECTED_TIME, 4)
      .U32(NL80211_STA_INFO_RX_PACKETS, 5)
      .U32(NL80211_STA_INFO_TX_PACKETS, 6)
      .U32(NL80211_STA_INFO_TX_FAILED, 7)
      .U8(NL80211_STA_INFO_SIGNAL, 0xc4)
      .U8(NL80211_STA_INFO_SIGNAL_AVG, 0xc3);
  const Reply reply(parts.Build());
  const Nl80211Station station(reply.message());
  EXPECT_EQ(station.GetMacAddress().ToString(), "00:1a:2b:3c:4d:5e");
  EXPECT_EQ(station.GetInterfaceIndex(), 12U);
  EXPECT_EQ(station.GetTxBytes(), 0x100000001U);
  EXPECT_EQ(station.GetRxBytes(), 0x200000002U);
  EXPECT_EQ(station.GetInactiveTime(), 3U);
  EXPECT_EQ(station.GetConnectedTime(), 4U);
  EXPECT_EQ(station.GetRxPackets(), 5U);
  EXPECT_EQ(station.GetTxPackets(), 6U);
  EXPECT_EQ(station.GetTxFailed(), 7U);
  EXPECT_EQ(station.GetSignal(), -60);
  EXPECT_EQ(station.GetSignalAverage(), -61);
}

// Some processors get an empty attribute before each 64-bit number, and newer kernels add
// attributes.
TEST(Nl80211StationTest, NeitherOrderNorPaddingNorUnknownAttributesMatter) {
  constexpr std::uint16_t kUnknown = 0x3ffe;
  const AttributeBuilder rate = AttributeBuilder()
                                    .U64(kUnknown, 1)
                                    .U8(NL80211_RATE_INFO_HE_MCS, 11)
                                    .U32(NL80211_RATE_INFO_BITRATE32, 65);
  const AttributeBuilder information = AttributeBuilder()
                                           .Flag(NL80211_STA_INFO_PAD)
                                           .U64(NL80211_STA_INFO_RX_BYTES64, 5)
                                           .Flag(NL80211_STA_INFO_PAD)
                                           .U64(NL80211_STA_INFO_TX_BYTES64, 6)
                                           .Raw(kUnknown, {1, 2, 3})
                                           .U8(NL80211_STA_INFO_SIGNAL_AVG, 0xc3)
                                           .U64(NL80211_STA_INFO_STA_FLAGS, ~std::uint64_t{0})
                                           .Nest(NL80211_STA_INFO_RX_BITRATE, rate)
                                           .Nest(kUnknown, AttributeBuilder().U8(1, 1))
                                           .Nest(NL80211_STA_INFO_TX_BITRATE, rate);
  const Reply reply(AttributeBuilder()
                        .Flag(NL80211_ATTR_PAD)
                        .U64(NL80211_ATTR_WDEV, 1)
                        .Nest(NL80211_ATTR_STA_INFO, information)
                        .Nest(kUnknown, information)
                        .Raw(NL80211_ATTR_MAC, {0, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e}));
  const Nl80211Station station(reply.message());
  EXPECT_EQ(station.GetMacAddress().ToString(), "00:1a:2b:3c:4d:5e");
  EXPECT_EQ(station.GetRxBytes(), 5U);
  EXPECT_EQ(station.GetTxBytes(), 6U);
  EXPECT_EQ(station.GetSignalAverage(), -61);
  EXPECT_TRUE(station.IsAuthorized());
  EXPECT_EQ(station.GetRxBitrate(), 6500U);
  EXPECT_EQ(station.GetTxBitrate(), 6500U);
}

TEST(Nl80211StationTest, TheFirstOfATypeCounts) {
  StationReply parts;
  parts.more.Raw(NL80211_ATTR_MAC, {1, 1, 1, 1, 1, 1}).Raw(NL80211_ATTR_MAC, {2, 2, 2, 2, 2, 2});
  parts.more_information.U8(NL80211_STA_INFO_SIGNAL_AVG, 1)
      .U8(NL80211_STA_INFO_SIGNAL_AVG, 2)
      .U64(NL80211_STA_INFO_STA_FLAGS, ~std::uint64_t{0});
  const Reply reply(parts.Build());
  const Nl80211Station station(reply.message());
  EXPECT_EQ(station.GetMacAddress().ToHexString(), "010101010101");
  EXPECT_EQ(station.GetSignalAverage(), 1);
  EXPECT_FALSE(station.IsAuthorized());
}

TEST(Nl80211StationTest, SignalsOfTheWrongSizeAreAbsent) {
  StationReply parts;
  parts.more_information.U32(NL80211_STA_INFO_SIGNAL, 5).U32(NL80211_STA_INFO_SIGNAL_AVG, 5);
  EXPECT_EQ(READ(parts.Build(), GetSignal), 0);
  EXPECT_EQ(READ(parts.Build(), GetSignalAverage), 0);
}

// --- Flags ---

std::vector<bool> FlagsOf(std::uint32_t mask, std::uint32_t set) {
  StationReply parts;
  parts.flags_mask = mask;
  parts.flags = set;
  return ReadStation(parts.Build(), [](const Nl80211Station& station) {
    return std::vector<bool>{station.IsAuthorized(), station.IsShortPreamble(), station.IsWme(),
                             station.IsMfp(), station.IsTdlsPeer()};
  });
}

TEST(Nl80211StationTest, EachFlagIsABitOfTheSetWord) {
  EXPECT_EQ(FlagsOf(0, 0), (std::vector<bool>{false, false, false, false, false}));
  EXPECT_EQ(FlagsOf(0, 1U << 1), (std::vector<bool>{true, false, false, false, false}));
  EXPECT_EQ(FlagsOf(0, 1U << 2), (std::vector<bool>{false, true, false, false, false}));
  EXPECT_EQ(FlagsOf(0, 1U << 3), (std::vector<bool>{false, false, true, false, false}));
  EXPECT_EQ(FlagsOf(0, 1U << 4), (std::vector<bool>{false, false, false, true, false}));
  EXPECT_EQ(FlagsOf(0, 1U << 6), (std::vector<bool>{false, false, false, false, true}));
  EXPECT_EQ(FlagsOf(0, ~0x5eU), (std::vector<bool>{false, false, false, false, false}));
}

TEST(Nl80211StationTest, TheMaskOfTheFlagsIsIgnored) {
  EXPECT_EQ(FlagsOf(~0U, 0), (std::vector<bool>{false, false, false, false, false}));
}

// --- Rates ---

class RateTest : public testing::TestWithParam<bool> {
 protected:
  // Builds the rate under test in one direction. The other direction has different values of
  // everything.
  static AttributeBuilder Build(const AttributeBuilder& rate) {
    const AttributeBuilder other = AttributeBuilder()
                                       .U32(NL80211_RATE_INFO_BITRATE32, 1)
                                       .U8(NL80211_RATE_INFO_MCS, 99)
                                       .U8(NL80211_RATE_INFO_VHT_NSS, 99)
                                       .Flag(NL80211_RATE_INFO_SHORT_GI)
                                       .Flag(NL80211_RATE_INFO_5_MHZ_WIDTH);
    StationReply parts;
    parts.tx_rate = GetParam() ? rate : other;
    parts.rx_rate = GetParam() ? other : rate;
    return parts.Build();
  }

  template <typename Value>
  static Value Read(const AttributeBuilder& rate, Value (Nl80211Station::*tx)() const,
                    Value (Nl80211Station::*rx)() const) {
    return ReadStation(Build(rate), [=](const Nl80211Station& station) {
      return GetParam() ? (station.*tx)() : (station.*rx)();
    });
  }

  static std::uint64_t Bitrate(const AttributeBuilder& rate) {
    return Read(rate, &Nl80211Station::GetTxBitrate, &Nl80211Station::GetRxBitrate);
  }
  static int Mcs(const AttributeBuilder& rate) {
    return Read(rate, &Nl80211Station::GetTxMcs, &Nl80211Station::GetRxMcs);
  }
  static std::string_view Mode(const AttributeBuilder& rate) {
    return Read(rate, &Nl80211Station::GetTxMode, &Nl80211Station::GetRxMode);
  }
  static std::string_view GuardInterval(const AttributeBuilder& rate) {
    return Read(rate, &Nl80211Station::GetTxGuardInterval, &Nl80211Station::GetRxGuardInterval);
  }
  static int Nss(const AttributeBuilder& rate) {
    return Read(rate, &Nl80211Station::GetTxNss, &Nl80211Station::GetRxNss);
  }
  static std::uint32_t Width(const AttributeBuilder& rate) {
    return Read(rate, &Nl80211Station::GetTxChannelWidth, &Nl80211Station::GetRxChannelWidth);
  }
};

INSTANTIATE_TEST_SUITE_P(Directions, RateTest, testing::Bool(),
                         [](const auto& is_tx) { return is_tx.param ? "Tx" : "Rx"; });

TEST_P(RateTest, TheBitrateIsInKilobits) {
  EXPECT_EQ(Bitrate(AttributeBuilder()), 0U);
  EXPECT_EQ(Bitrate(AttributeBuilder().U32(NL80211_RATE_INFO_BITRATE32, 65)), 6500U);
  EXPECT_EQ(Bitrate(AttributeBuilder().U32(NL80211_RATE_INFO_BITRATE32, 0xffffffff)),
            429'496'729'500U);
  EXPECT_EQ(Bitrate(AttributeBuilder().U16(NL80211_RATE_INFO_BITRATE, 65)), 0U);
}

TEST_P(RateTest, TheMcsIsTheSumOfBoth) {
  EXPECT_EQ(Mcs(AttributeBuilder()), 0);
  EXPECT_EQ(Mcs(AttributeBuilder().U8(NL80211_RATE_INFO_MCS, 15)), 15);
  EXPECT_EQ(Mcs(AttributeBuilder().U8(NL80211_RATE_INFO_VHT_MCS, 9)), 9);
  EXPECT_EQ(
      Mcs(AttributeBuilder().U8(NL80211_RATE_INFO_MCS, 200).U8(NL80211_RATE_INFO_VHT_MCS, 100)),
      44);
}

TEST_P(RateTest, OnlyAnMcsAboveZeroIsHt) {
  EXPECT_EQ(Mode(AttributeBuilder()), "VHT");
  EXPECT_EQ(Mode(AttributeBuilder().U8(NL80211_RATE_INFO_MCS, 0)), "VHT");
  EXPECT_EQ(Mode(AttributeBuilder().U8(NL80211_RATE_INFO_MCS, 1)), "HT");
  EXPECT_EQ(Mode(AttributeBuilder().U8(NL80211_RATE_INFO_VHT_MCS, 1)), "VHT");
}

TEST_P(RateTest, TheGuardIntervalIsShortByAFlag) {
  EXPECT_EQ(GuardInterval(AttributeBuilder()), "long");
  EXPECT_EQ(GuardInterval(AttributeBuilder().Flag(NL80211_RATE_INFO_SHORT_GI)), "short");
}

TEST_P(RateTest, TheSpatialStreamsAreThoseOfVht) {
  EXPECT_EQ(Nss(AttributeBuilder()), 0);
  EXPECT_EQ(Nss(AttributeBuilder().U8(NL80211_RATE_INFO_VHT_NSS, 4)), 4);
}

TEST_P(RateTest, TheFirstWidthOfTheTableCounts) {
  EXPECT_EQ(Width(AttributeBuilder()), 20U);
  EXPECT_EQ(Width(AttributeBuilder().Flag(NL80211_RATE_INFO_5_MHZ_WIDTH)), 5U);
  EXPECT_EQ(Width(AttributeBuilder().Flag(NL80211_RATE_INFO_10_MHZ_WIDTH)), 10U);
  EXPECT_EQ(Width(AttributeBuilder().Flag(NL80211_RATE_INFO_40_MHZ_WIDTH)), 40U);
  EXPECT_EQ(Width(AttributeBuilder().Flag(NL80211_RATE_INFO_80_MHZ_WIDTH)), 80U);
  EXPECT_EQ(Width(AttributeBuilder().Flag(NL80211_RATE_INFO_160_MHZ_WIDTH)), 160U);
  // Independent of their order in the message.
  EXPECT_EQ(Width(AttributeBuilder()
                      .Flag(NL80211_RATE_INFO_80_MHZ_WIDTH)
                      .Flag(NL80211_RATE_INFO_40_MHZ_WIDTH)),
            40U);
  EXPECT_EQ(Width(AttributeBuilder()
                      .Flag(NL80211_RATE_INFO_160_MHZ_WIDTH)
                      .Flag(NL80211_RATE_INFO_10_MHZ_WIDTH)
                      .Flag(NL80211_RATE_INFO_5_MHZ_WIDTH)),
            5U);
}

TEST_P(RateTest, EightyPlusEightyHasNoWidthOfItsOwn) {
  EXPECT_EQ(Width(AttributeBuilder().Flag(NL80211_RATE_INFO_80P80_MHZ_WIDTH)), 20U);
  EXPECT_EQ(Width(AttributeBuilder()
                      .Flag(NL80211_RATE_INFO_80P80_MHZ_WIDTH)
                      .Flag(NL80211_RATE_INFO_80_MHZ_WIDTH)),
            80U);
}

}  // namespace
}  // namespace orvane::ap
