#include "optimizer/hostapd_event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "platform/logging.h"

namespace orvane::ap {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Parsed {
  HostapdEventType kind;
  std::string mac;
  std::vector<std::string> attributes;
};

class HostapdEventParserTest : public ::testing::Test {
 protected:
  std::vector<Parsed> Parse(std::string_view line) {
    std::vector<Parsed> events;
    parser_.Parse(
        line, [&](HostapdEventType kind, std::string_view mac, HostapdAttributes attributes) {
          events.push_back({kind, std::string(mac), {attributes.begin(), attributes.end()}});
        });
    return events;
  }

  HostapdEventParser parser_;
  std::vector<std::string> log_;
  platform::LogListener listener_{[this](platform::Severity severity, std::string_view message) {
    EXPECT_EQ(severity, platform::Severity::kInfo);
    log_.emplace_back(message);
  }};
};

struct NameCase {
  const char* name;
  int kind;

  friend std::ostream& operator<<(std::ostream& stream, const NameCase& event) {
    return stream << event.name;
  }
};

class HostapdEventNameTest : public HostapdEventParserTest,
                             public ::testing::WithParamInterface<NameCase> {};

TEST_P(HostapdEventNameTest, MapsToItsKind) {
  const std::vector<Parsed> events =
      Parse(std::string("<3>") + GetParam().name + " aa:bb:cc:dd:ee:ff");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(static_cast<int>(events[0].kind), GetParam().kind);
  EXPECT_EQ(events[0].mac, "aa:bb:cc:dd:ee:ff");
  EXPECT_THAT(events[0].attributes, IsEmpty());
  EXPECT_THAT(log_, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    AllNames, HostapdEventNameTest,
    ::testing::Values(NameCase{"AP-STA-CONNECTED", 1}, NameCase{"AP-STA-DISCONNECTED", 2},
                      NameCase{"AP-STA-STEERING", 3}, NameCase{"AP-STA-NO-STEERING", 4},
                      NameCase{"AP-STA-TAXONOMY", 5}, NameCase{"AP-STA-AUTH", 6},
                      NameCase{"AP-STA-AUTH-RESP", 7}, NameCase{"AP-STA-ASSOC", 8},
                      NameCase{"AP-STA-ASSOC-RESP", 7}, NameCase{"AP-STA-CONNECT", 10},
                      NameCase{"AP-STA-DISCONNECT", 11}, NameCase{"AP-MONITOR-STA-INFO", 12}));

TEST_F(HostapdEventParserTest, TokensAfterTheMacAreTheAttributesInOrder) {
  const std::vector<Parsed> events =
      Parse("<3>AP-STA-CONNECT 00:11:22:33:44:55 frame_rssi:-60 a:b:c noColon");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].mac, "00:11:22:33:44:55");
  EXPECT_THAT(events[0].attributes, ElementsAre("frame_rssi:-60", "a:b:c", "noColon"));
}

TEST_F(HostapdEventParserTest, ALineWithoutAMacHasAnEmptyOne) {
  const std::vector<Parsed> events = Parse("<3>AP-STA-CONNECTED");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].mac, "");
  EXPECT_THAT(events[0].attributes, IsEmpty());
}

TEST_F(HostapdEventParserTest, ATrailingNewlineBelongsToNoToken) {
  EXPECT_EQ(Parse("<3>AP-STA-CONNECTED\n").size(), 1u);
  EXPECT_EQ(Parse("<3>AP-STA-CONNECTED aa:bb:cc:dd:ee:ff\r\n").at(0).mac, "aa:bb:cc:dd:ee:ff");
  EXPECT_THAT(Parse("<3>AP-STA-CONNECTED m a:1\n").at(0).attributes, ElementsAre("a:1"));
}

TEST_F(HostapdEventParserTest, TokensAreTrimmedOfEveryKindOfWhiteSpace) {
  EXPECT_THAT(Parse("<3>AP-STA-CONNECTED m \t\v\fa:1\r\n \t b:2").at(0).attributes,
              ElementsAre("a:1", "", "b:2"));
}

TEST_F(HostapdEventParserTest, TwoSpacesInARowAreAnEmptyToken) {
  EXPECT_THAT(Parse("<3>AP-STA-CONNECTED m  a:1 ").at(0).attributes, ElementsAre("", "a:1", ""));
  const std::vector<Parsed> events = Parse("<3>AP-STA-CONNECTED  m");
  EXPECT_EQ(events.at(0).mac, "");
  EXPECT_THAT(events.at(0).attributes, ElementsAre("m"));
}

TEST_F(HostapdEventParserTest, WithoutAOneCharacterPriorityALineIsDroppedSilently) {
  for (const char* line :
       {"", " ", "AP-STA-CONNECTED aa:bb:cc:dd:ee:ff", "<12>AP-STA-CONNECTED aa:bb:cc:dd:ee:ff",
        "<>AP-STA-CONNECTED m", "<3AP-STA-CONNECTED m", " <3>AP-STA-CONNECTED m", "<", "<3", ">3<",
        "3>AP-STA-CONNECTED", "<>3>AP-STA-CONNECTED", "OK", "FAIL\n", "PONG\n", "\n"}) {
    EXPECT_THAT(Parse(line), IsEmpty()) << line;
  }
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(HostapdEventParserTest, AnyCharacterMayBeThePriority) {
  EXPECT_EQ(Parse("<x>AP-STA-CONNECTED m").size(), 1u);
  EXPECT_EQ(Parse("<<>AP-STA-CONNECTED m").size(), 1u);
  EXPECT_EQ(Parse(std::string_view("<\0>AP-STA-CONNECTED m", 21)).size(), 1u);
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(HostapdEventParserTest, AnUnknownNameIsLoggedAndDropped) {
  EXPECT_THAT(Parse("<3>AP-ENABLED "), IsEmpty());
  EXPECT_THAT(Parse("<3>ap-sta-connect m"), IsEmpty());
  EXPECT_THAT(Parse("<3>AP-STA-CONNECTEDX m"), IsEmpty());
  EXPECT_THAT(log_, ElementsAre("Received unknown event: AP-ENABLED",
                                "Received unknown event: ap-sta-connect",
                                "Received unknown event: AP-STA-CONNECTEDX"));
}

TEST_F(HostapdEventParserTest, AFirstTokenShorterThanAPriorityHasAnEmptyName) {
  EXPECT_THAT(Parse("< >AP-STA-CONNECTED m"), IsEmpty());
  EXPECT_THAT(Parse("<3>"), IsEmpty());
  EXPECT_THAT(Parse("<3> AP-STA-CONNECTED m"), IsEmpty());
  EXPECT_THAT(log_, ElementsAre("Received unknown event: ", "Received unknown event: ",
                                "Received unknown event: "));
}

TEST_F(HostapdEventParserTest, ALineOfManyTokensLosesNone) {
  std::string line = "<3>AP-STA-CONNECT m";
  for (int i = 0; i < 10'000; ++i) line += " a:" + std::to_string(i);
  const std::vector<Parsed> events = Parse(line);
  ASSERT_EQ(events.at(0).attributes.size(), 10'000u);
  EXPECT_EQ(events.at(0).attributes.back(), "a:9999");
  // Nothing of the previous line remains.
  EXPECT_THAT(Parse("<3>AP-STA-CONNECT m b:1").at(0).attributes, ElementsAre("b:1"));
}

TEST(HostapdEventTypeNameTest, EveryKindHasItsOwnName) {
  const std::vector<std::string_view> names = {
      "kHostapdStarted",    "kStationConnected", "kStationDisconnected", "kStationSteering",
      "kStationNoSteering", "kStationTaxonomy",  "kStationAuth",         "kStationAuthResponse",
      "kStationAssoc",      "kStationAssocResp", "kStationConnect",      "kStationDisconnect",
      "kStationMonitorInfo"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(HostapdEventTypeName(static_cast<HostapdEventType>(i)), names[i]);
  }
  EXPECT_EQ(HostapdEventTypeName(static_cast<HostapdEventType>(13)), "k--UnknownEvent");
  EXPECT_EQ(HostapdEventTypeName(static_cast<HostapdEventType>(-1)), "k--UnknownEvent");
}

}  // namespace
}  // namespace orvane::ap
