#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "optimizer/station_id_generator.h"
#include "platform/files.h"
#include "testbed/time_zone.h"
#include "testbed/tool_test.h"
#include "wavelarkctl/report/report_levels.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using access_infrastructure::proto::WLAN_2400MHZ;
using access_infrastructure::proto::WLAN_5000MHZ;
using nlohmann::json;
using testbed::PlayedEvent;
using testing::HasSubstr;
using testing::Not;

constexpr char kBegin[] = "2026-03-09Z";
constexpr char kEnd[] = "2026-03-13Z";
constexpr std::int64_t kDay = 86'400'000;

class ReportTest : public testbed::ToolTest {
 protected:
  // A time of the period, in milliseconds since its begin.
  static std::int64_t At(std::int64_t ms) {
    return std::chrono::floor<std::chrono::milliseconds>(
               ParseTimeOption("", kBegin).time_since_epoch())
               .count() +
           ms;
  }

  void Add(std::int64_t ms, const std::string& client,
           access_infrastructure::proto::WifiInterface interface, const std::string& text) {
    std::string fields = fmt::format("event_time_in_milliseconds: {} {}", At(ms), text);
    if (!client.empty()) fields += fmt::format(" client_shmac: '{}'", client);
    events_.push_back(EventOf(fields, interface));
  }

  Outcome Report(std::vector<std::string> options) const {
    options.insert(options.begin(), {"report", "--database", path_.native()});
    return Run(options);
  }

  Outcome ReportPeriod(std::vector<std::string> options) const {
    options.insert(options.begin(), {"--since", kBegin, "--until", kEnd});
    return Report(options);
  }

  json Data(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> all = options;
    all.emplace_back("--json");
    const Outcome outcome = ReportPeriod(all);
    EXPECT_EQ(outcome.err, "");
    return json::parse(outcome.out);
  }

  // The page; it must be written.
  std::string Page() const {
    const platform::FilePath page = directory_.path() / "page.html";
    const Outcome outcome = ReportPeriod({"-o", page.native()});
    EXPECT_EQ(outcome.err, "");
    return platform::ReadFileToString(page).value_or("");
  }

  // The data that is in the page.
  static std::string DataIn(const std::string& page) {
    const std::string begin = "<script type=\"application/json\" id=\"data\">";
    const std::size_t from = page.find(begin) + begin.size();
    return page.substr(from, page.find("</script>", from) - from);
  }

  // Four days: A connects well, is steered on the third day and is better off; B has trouble on the
  // second. C was there before.
  void StoreFourDays() {
    Add(-kDay, "C", WLAN_5000MHZ, "event_type: CONNECT is_event_success: true");
    Add(0, "A", WLAN_5000MHZ, "event_type: AUTHENTICATE is_event_success: true");
    Add(50, "A", WLAN_5000MHZ, "event_type: ASSOCIATE is_event_success: true");
    Add(500, "A", WLAN_5000MHZ,
        "event_type: CONNECT is_event_success: true average_rssi_in_dbm: -60");
    Add(60'500, "A", WLAN_5000MHZ,
        "event_type: DISCONNECT event_reason: DISCONNECT_DEAUTH_CLI rssi_in_dbm: -75");
    Add(kDay, "B", WLAN_2400MHZ,
        "event_type: AUTHENTICATE is_event_success: false event_reason: NO_ACK");
    Add(kDay + 1000, "B", WLAN_2400MHZ, "event_type: AUTHENTICATE is_event_success: true");
    Add(kDay + 1050, "B", WLAN_2400MHZ, "event_type: ASSOCIATE is_event_success: true");
    Add(kDay + 3000, "B", WLAN_2400MHZ,
        "event_type: CONNECT is_event_success: true average_rssi_in_dbm: -71");
    Add(kDay + 90'000, "B", WLAN_2400MHZ,
        "event_type: DISCONNECT event_reason: DISCONNECT_INACTIVITY");
    Add(kDay + 95'000, "B", WLAN_2400MHZ,
        "event_type: CONNECT is_event_success: false event_reason: DISCONNECT_PSK_MISMATCH");
    Add(2 * kDay, "A", WLAN_5000MHZ,
        "event_type: CONNECT is_event_success: true average_rssi_in_dbm: -65");
    Add(2 * kDay + 600'000, "A", WLAN_5000MHZ,
        "event_type: DISCONNECT steering_reason: STEER rssi_in_dbm: -80");
    Add(2 * kDay + 605'000, "A", WLAN_2400MHZ,
        "event_type: CONNECT is_event_success: true average_rssi_in_dbm: -60");
    Add(2 * kDay + 700'000, "A", WLAN_2400MHZ, "event_type: DISCONNECT rssi_in_dbm: -50");
    Add(3 * kDay, "", WLAN_5000MHZ, "event_type: DISCONNECT steering_reason: STEER");
    Add(4 * kDay, "D", WLAN_5000MHZ, "event_type: CONNECT is_event_success: true");
    Store(events_);
  }

  std::vector<PlayedEvent> events_;
};

TEST_F(ReportTest, LevelsAgreeWithACountByHand) {
  StoreFourDays();
  const json levels = Data()["levels"];
  const auto share = [&](std::size_t i) {
    return fmt::format("{} {}/{} not counted {}", levels[i]["key"].get<std::string>(),
                       levels[i]["good"].get<int>(), levels[i]["all"].get<int>(),
                       levels[i]["unmeasured"].get<int>());
  };
  EXPECT_EQ(share(0), "connects 4/6 not counted 0");
  EXPECT_EQ(share(1), "time 1/2 not counted 2");
  EXPECT_EQ(share(2), "coverage 4/7 not counted 2");
  EXPECT_EQ(share(3), "steering 1/1 not counted 1");
  EXPECT_EQ(share(4), "stability 3/4 not counted 1");
  EXPECT_EQ(levels[0]["before"], json::parse("[1, 1]"));
  EXPECT_EQ(levels[0]["trend"], json::parse("[[1, 1], [1, 3], [2, 2], [0, 0]]"));
  EXPECT_EQ(levels[2]["trend"], json::parse("[[1, 2], [0, 1], [3, 4], [0, 0]]"));
}

TEST_F(ReportTest, LevelsHaveCausesAndClients) {
  StoreFourDays();
  const json data = Data();
  const json& levels = data["levels"];
  EXPECT_EQ(levels[0]["causes"], json::parse(R"([
      ["authentication: client did not acknowledge", 1], ["connect: wrong passphrase", 1]])"));
  EXPECT_EQ(levels[1]["causes"],
            json::parse(R"([["after a failed authentication: client did not acknowledge", 1]])"));
  EXPECT_EQ(levels[2]["causes"], json::parse(R"([
      ["disconnect on wlan-5000mhz", 2], ["connect on wlan-2400mhz", 1]])"));
  EXPECT_EQ(levels[3]["causes"], json::array());
  EXPECT_EQ(levels[4]["causes"], json::parse(R"([["client was silent", 1]])"));
  const json names = data["clients"];
  ASSERT_EQ(levels[0]["clients"].size(), 1U);
  EXPECT_EQ(names[levels[0]["clients"][0][0].get<std::size_t>()], "B");
  EXPECT_EQ(levels[0]["clients"][0][1], 2);
  EXPECT_EQ(levels[0]["clients"][0][2], 3);
}

TEST_F(ReportTest, TheUserSetsLimitsAndGoals) {
  StoreFourDays();
  const json levels =
      Data({"--time-limit", "3", "--signal-limit", "-75", "--goal", "time=12.5"})["levels"];
  EXPECT_EQ(levels[1]["good"], 2);
  EXPECT_EQ(levels[1]["goal"], 12.5);
  EXPECT_EQ(levels[2]["good"], 6);
  EXPECT_EQ(Data({"--time-limit", "2.999"})["levels"][1]["good"], 1);
  EXPECT_EQ(Data({"--time-limit", "1.005"})["limits"]["time"], 1005);
  EXPECT_EQ(Data({"--signal-limit", "-74"})["levels"][2]["good"], 5);
}

TEST_F(ReportTest, TheSummaryIsPrintedAndTheStatusSaysWhetherAGoalIsMissed) {
  StoreFourDays();
  const std::string page = (directory_.path() / "page.html").native();
  const Outcome outcome = ReportPeriod({"-o", page});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out,
            "Successful connects   66.7 %  goal 95 %, missed\n"
            "Time to connect       50.0 %  goal 90 %, missed\n"
            "Coverage              57.1 %  goal 90 %, missed\n"
            "Steering             100.0 %  goal 70 %\n"
            "Stability             75.0 %  goal 90 %, missed\n" +
                page + ": 15 events of 2 clients\n");
  EXPECT_EQ(ReportPeriod({"-o", page, "--goal", "connects=66", "--goal", "time=50", "--goal",
                          "coverage=0", "--goal", "stability=75"})
                .status,
            0);
}

TEST_F(ReportTest, ChangedFailuresAreCountedByStatus) {
  const std::string refused = "event_type: ASSOCIATE is_event_success: false frame_status_code: ";
  Add(-1, "A", WLAN_5000MHZ, refused + "17");
  Add(1, "A", WLAN_5000MHZ, refused + "5 event_reason: NO_ACK");
  for (const char* status : {"5", "5", "17", "17", "17", "17", "17"}) {
    Add(2, "A", WLAN_5000MHZ, refused + status);
  }
  Add(3, "A", WLAN_5000MHZ, refused + "6 event_reason: NO_ACK");
  Add(4, "A", WLAN_5000MHZ, refused + "0");
  Store(events_);
  const json rows = Data()["changes"]["rows"];
  EXPECT_EQ(json(std::vector<json>(rows.begin() + 7, rows.end())), json::parse(R"([
    ["Failed association: status 17", 1, 5, ""],
    ["Failed association: status 5", 0, 2, ""],
    ["Failed association: client did not acknowledge", 0, 2, ""],
    ["Failed association: no reason given", 0, 1, ""]])"));
}

TEST_F(ReportTest, AShareIsNotRoundedUpToAGoalThatItMisses) {
  StoreFourDays();
  const Outcome outcome =
      ReportPeriod({"-o", (directory_.path() / "page.html").native(), "--goal", "connects=66.7"});
  EXPECT_THAT(outcome.out, HasSubstr("connects   66.6 %  goal 66.7 %, missed\n"));
  const auto level = [&](const char* goal) { return Data({"--goal", goal})["levels"][0]; };
  EXPECT_EQ(level("connects=66.7")["share"], "66.6 %");
  EXPECT_EQ(level("connects=66.7")["missed"], true);
  EXPECT_EQ(level("connects=66.6")["share"], "66.7 %");
  EXPECT_EQ(level("connects=66.6")["missed"], false);
}

TEST_F(ReportTest, AShareThatEqualsItsGoalMeetsIt) {
  for (std::int64_t i = 0; i < 500; ++i) {
    Add(i, "A", WLAN_5000MHZ,
        fmt::format("event_type: CONNECT is_event_success: {}", i < 161 ? "true" : "false"));
  }
  Store(events_);
  EXPECT_EQ(ReportPeriod({"--json", "--goal", "connects=32.2", "--goal", "time=0"}).status, 0);
  EXPECT_EQ(ReportPeriod({"--json", "--goal", "connects=32.3", "--goal", "time=0"}).status, 1);
}

TEST_F(ReportTest, TheRestOfThePageAgreesWithACountByHand) {
  StoreFourDays();
  const json data = Data();
  EXPECT_EQ(data["counts"]["events"], 15);
  EXPECT_EQ(data["counts"]["clients"], 2);
  EXPECT_EQ(data["counts"]["unnamed"], 1);
  EXPECT_EQ(data["period"]["labels"], json::parse(R"(["Mon 9", "Tue 10", "Wed 11", "Thu 12"])"));
  EXPECT_EQ(data["joins"]["failures"], json::parse(R"([
      ["authentication: client did not acknowledge", "wlan-2400mhz", 1, 1],
      ["connect: wrong passphrase", "wlan-2400mhz", 1, 1]])"));
  EXPECT_EQ(data["disconnects"], json::parse(R"([
      ["steered", "wlan-5000mhz", 2, 1, true],
      ["client deauthenticated", "wlan-5000mhz", 1, 1, true],
      ["client was silent", "wlan-2400mhz", 1, 1, false],
      ["no reason given", "wlan-2400mhz", 1, 1, null]])"));
  EXPECT_EQ(data["signals"], json::parse(R"([
      ["wlan-2400mhz", -75, 1], ["wlan-2400mhz", -60, 1], ["wlan-2400mhz", -50, 1],
      ["wlan-5000mhz", -80, 1], ["wlan-5000mhz", -75, 1], ["wlan-5000mhz", -65, 1],
      ["wlan-5000mhz", -60, 1]])"));
  EXPECT_EQ(data["changes"]["come"], 2);
  EXPECT_EQ(data["changes"]["gone"], 1);
  EXPECT_EQ(data["changes"]["rows"][0], json::parse(R"(["Events", 1, 15, ""])"));
  EXPECT_EQ(data["changes"]["rows"][5],
            json::parse(R"(["Median time to connect", null, 500, "ms"])"));
}

TEST_F(ReportTest, SteersAndVisitsAreListed) {
  StoreFourDays();
  const json data = Data();
  EXPECT_EQ(data["steers"]["outcomes"], json::parse(R"([["better", 2, 1], ["unknown", 3, 1]])"));
  const json list = data["steers"]["list"];
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0], json::array({At(3 * kDay), nullptr, "wlan-5000mhz", nullptr, nullptr, nullptr,
                                  nullptr, "unknown"}));
  EXPECT_EQ(list[1][3], -80);
  EXPECT_EQ(list[1][5], -60);
  EXPECT_EQ(list[1][6], 5000);
  // A is busier than B.
  const json lines = data["timelines"];
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0]["visits"],
            json::array({{At(500), At(60'500), "wlan-5000mhz"},
                         {At(2 * kDay), At(2 * kDay + 600'000), "wlan-5000mhz"},
                         {At(2 * kDay + 605'000), At(2 * kDay + 700'000), "wlan-2400mhz"}}));
  EXPECT_EQ(lines[0]["marks"], json::array({{At(2 * kDay + 600'000), "steer"}}));
  EXPECT_EQ(lines[1]["marks"],
            json::array({{At(kDay), "failure"}, {At(kDay + 95'000), "failure"}}));
}

TEST_F(ReportTest, AVisitMayBeginBeforeThePeriod) {
  const std::string connect = "event_type: CONNECT is_event_success: true";
  Add(-3 * kDay, "A", WLAN_5000MHZ, connect);
  Add(-2 * kDay, "A", WLAN_2400MHZ, connect);
  Add(kDay, "A", WLAN_2400MHZ, "event_type: DISCONNECT");
  // This one ends before the period.
  Add(-2 * kDay, "B", WLAN_2400MHZ, connect);
  Add(0, "B", WLAN_2400MHZ, "event_type: DISCONNECT");
  Add(1, "B", WLAN_2400MHZ, "event_type: AUTHENTICATE is_event_success: false");
  Store(events_);
  const json lines = Data()["timelines"];
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0]["visits"], json::array());
  EXPECT_EQ(lines[0]["marks"], json::array({{At(1), "failure"}}));
  EXPECT_EQ(lines[1]["visits"], json::array({{At(0), At(kDay), "wlan-2400mhz"}}));
}

TEST_F(ReportTest, ATimeLineCountsTheVisitsThatItLacks) {
  for (std::int64_t i = 0; i < 1502; ++i) {
    Add(i * 1000, "A", WLAN_5000MHZ, "event_type: CONNECT is_event_success: true");
    Add(i * 1000, "A", WLAN_5000MHZ, "event_type: CONNECT is_event_success: false");
  }
  Add(0, "B", WLAN_5000MHZ, "event_type: CONNECT is_event_success: true");
  Store(events_);
  const json lines = Data()["timelines"];
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0]["visits"].size(), 1500U);
  EXPECT_EQ(lines[0]["marks"].size(), 1500U);
  EXPECT_EQ(lines[0]["omitted"], 4);
  EXPECT_EQ(lines[1]["omitted"], 0);
}

// Each row: what follows a steer at -80 dBm from 5 GHz, and the outcome.
TEST_F(ReportTest, OutcomesOfSteers) {
  struct Row {
    const char* after;
    std::int64_t away;
    access_infrastructure::proto::WifiInterface interface;
    const char* outcome;
  };
  const std::string connect = "event_type: CONNECT is_event_success: true ";
  const std::vector<Row> rows = {{"average_rssi_in_dbm: -79", 60'000, WLAN_5000MHZ, "better"},
                                 {"average_rssi_in_dbm: -80", 1000, WLAN_5000MHZ, "same"},
                                 {"average_rssi_in_dbm: -80", 1000, WLAN_2400MHZ, "other"},
                                 {"average_rssi_in_dbm: -50", 60'001, WLAN_2400MHZ, "late"},
                                 {"", 1000, WLAN_2400MHZ, "unknown"},
                                 {nullptr, 0, WLAN_2400MHZ, "gone"}};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string client = std::to_string(i);
    const auto time = static_cast<std::int64_t>(i) * 1000;
    Add(time, client, WLAN_5000MHZ,
        "event_type: DISCONNECT steering_reason: STEER rssi_in_dbm: -80");
    if (rows[i].after == nullptr) continue;
    // A failed attempt does not count as a return.
    Add(time + 1, client, WLAN_5000MHZ, "event_type: CONNECT is_event_success: false");
    Add(time + rows[i].away, client, rows[i].interface, connect + rows[i].after);
  }
  Store(events_);
  const json list = Data()["steers"]["list"];
  ASSERT_EQ(list.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(list[rows.size() - 1 - i].back(), rows[i].outcome);
  }
}

// Each row: events before a connect that is slow, and the cause.
TEST_F(ReportTest, CausesOfSlowness) {
  const std::string authentication = "event_type: AUTHENTICATE is_event_success: true";
  const std::string association = "event_type: ASSOCIATE is_event_success: true";
  const std::string connect = "event_type: CONNECT is_event_success: true";
  const auto add = [&](const std::string& client, std::int64_t ms, const std::string& text) {
    Add(ms, client, WLAN_5000MHZ, text);
  };
  add("handshake", 0, authentication);
  add("handshake", 1000, association);
  add("association", 0, authentication);
  add("association", 3000, association);
  add("again", 0, authentication);
  add("again", 2000, authentication);
  add("bare", 0, authentication);
  add("failed", 0, authentication);
  add("failed", 10, "event_type: ASSOCIATE is_event_success: false frame_status_code: 30");
  // An earlier attempt is over a minute ago, or ended by a connect.
  add("quick", -60'000, authentication);
  add("quick", 4500, authentication);
  add("once", 0, authentication);
  add("once", 10, connect);
  add("once", 4900, authentication);
  for (const char* client :
       {"handshake", "association", "again", "bare", "failed", "quick", "once"}) {
    add(client, 5000, connect);
  }
  Store(events_);
  const json level = Data()["levels"][1];
  EXPECT_EQ(level["all"], 8);
  EXPECT_EQ(level["causes"], json::parse(R"([
      ["after a failed association: status 30", 1], ["association not recorded", 1],
      ["authenticated more than once", 1], ["slow association", 1], ["slow key handshake", 1]])"));
}

TEST_F(ReportTest, ALogAddsSteersThatTheDatabaseLacks) {
  const platform::FilePath salt = directory_.path() / "salt";
  const platform::FilePath log = directory_.path() / "daemon.log";
  testbed::WriteFile(salt, "secret");
  std::string id;
  ASSERT_TRUE(ap::StationIdGenerator(salt).GenerateIdFromText("02:00:00:00:00:01", &id));
  for (const std::int64_t ms : {0, 9'950, 40'000, 70'001}) {
    Add(ms, id, WLAN_5000MHZ, "event_type: DISCONNECT rssi_in_dbm: -80");
  }
  Store(events_);
  const std::string steer =
      ".000000 INFO optimizer/client_steer.cc:1] Steer Client 02:00:00:00:00:01 "
      "link_quality_metric 20 last_steer_link_quality_metric 0\n";
  testbed::WriteFile(log, "2026-03-09 00:00:00" + steer + "2026-03-09 00:00:30" + steer +
                              "2026-03-09 00:01:00" + steer + "2026-03-13 00:00:00" + steer +
                              "2026-03-09 00:02:00.000000 INFO optimizer/cl");
  const json data = Data({"--log", log.native(), "--salt", salt.native()});
  EXPECT_EQ(data["log"], json::parse(R"({"steers": 3, "without_disconnect": 1})"));
  EXPECT_EQ(data["steers"]["outcomes"], json::parse(R"([["gone", 0, 2]])"));
  EXPECT_EQ(Data()["steers"]["outcomes"], json::array());

  const Outcome no_salt = ReportPeriod({"--log", log.native(), "--salt", "/nonexistent"});
  EXPECT_EQ(no_salt.status, 69);
  testbed::WriteFile(log, "Mar 09 00:00:00 host sshd[1]: hello\n");
  const Outcome other = ReportPeriod({"--log", log.native(), "--salt", salt.native()});
  EXPECT_EQ(other.status, 65);
  EXPECT_EQ(other.err, fmt::format("wavelarkctl: {}: no line of the daemon\n", log.native()));
  EXPECT_EQ(ReportPeriod({"--log", "/nonexistent"}).status, 69);
}

TEST_F(ReportTest, BouncesAndMoves) {
  for (const std::int64_t ms : {0, 300'000, 600'001}) {
    Add(ms, "A", ms == 300'000 ? WLAN_2400MHZ : WLAN_5000MHZ,
        "event_type: CONNECT is_event_success: true");
  }
  Store(events_);
  const json data = Data();
  EXPECT_EQ(data["bouncing"], json::parse("[[0, 3, 3, 0, 0, 2, 1, null]]"));
  EXPECT_EQ(data["busiest"], data["bouncing"]);
}

TEST_F(ReportTest, AnEmptyDatabaseMakesAPageWithoutFigures) {
  Store({});
  const Outcome outcome = ReportPeriod({"-o", (directory_.path() / "page.html").native()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("Successful connects  no data  goal 95 %\n"));
  EXPECT_THAT(outcome.out, HasSubstr("0 events of 0 clients\n"));
}

TEST_F(ReportTest, EventsWithoutFieldsAreOnlyCounted) {
  Execute(
      fmt::format("INSERT INTO records (id, received_ms, type) VALUES (1, {}, 'x');"
                  "INSERT INTO client_events (record_id) VALUES (1), (1)",
                  At(5)));
  const json data = Data();
  EXPECT_EQ(data["counts"]["events"], 2);
  EXPECT_EQ(data["counts"]["unnamed"], 2);
  for (const json& level : data["levels"]) EXPECT_EQ(level["all"], 0);
}

TEST_F(ReportTest, EventsWithoutAClientAreCountedAsNotMeasured) {
  Add(0, "", WLAN_5000MHZ, "event_type: AUTHENTICATE is_event_success: true");
  Add(100, "", WLAN_5000MHZ, "event_type: CONNECT is_event_success: true");
  Add(200, "", WLAN_5000MHZ, "event_type: DISCONNECT steering_reason: STEER");
  Store(events_);
  const json levels = Data()["levels"];
  for (const std::size_t i : {std::size_t{1}, std::size_t{3}}) {  // time and steering
    EXPECT_EQ(levels[i]["all"], 0) << levels[i]["key"];
    EXPECT_EQ(levels[i]["unmeasured"], 1) << levels[i]["key"];
  }
}

TEST_F(ReportTest, ValuesOfAnotherKindAreIgnored) {
  Execute(fmt::format(
      "INSERT INTO records (id, received_ms, type) VALUES (1, {}, 'x');"
      "INSERT INTO client_events (record_id, event_time_in_milliseconds, event_type,"
      " is_event_success, average_rssi_in_dbm, client_shmac) VALUES"
      " (1, NULL, 'CONNECT', 'yes', 'loud', 7), (1, NULL, 'CONNECT', 300, 2147483647, x'00ff'),"
      " (1, 'soon', 'CONNECT', 1, -1e300, 'A')",
      At(5)));
  const json data = Data();
  EXPECT_EQ(data["counts"]["events"], 2);
  EXPECT_EQ(data["levels"][0]["all"], 0);
  EXPECT_EQ(data["signals"], json::array());
}

TEST_F(ReportTest, TextFromOutsideStaysData) {
  const std::string evil = "</script><script>alert(1)</script><!--";
  Execute(
      fmt::format("INSERT INTO records (id, received_ms, type) VALUES (1, {0}, 'x');"
                  "INSERT INTO client_events (record_id, event_type, is_event_success, interface,"
                  " event_reason, client_shmac, average_rssi_in_dbm) VALUES"
                  " (1, 'CONNECT', 1, '{1}', NULL, '{1}', -50),"
                  " (1, 'CONNECT', 0, '{1}', '{1}', '{1}', -50),"
                  " (1, 'DISCONNECT', NULL, '{1}', CAST(x'fffe3c' AS TEXT), '{1}', -50)",
                  At(5), evil));
  const std::string page = Page();
  const std::string data = DataIn(page);
  EXPECT_THAT(data, Not(HasSubstr("<")));
  EXPECT_EQ(json::parse(data)["clients"][0], evil);
  EXPECT_EQ(json::parse(data)["signals"][0][0], evil);
  // No mark of the template is left, and the data appears only once.
  EXPECT_EQ(page.find(evil), std::string::npos);
  EXPECT_EQ(page.find("@DATA@"), std::string::npos);
}

TEST_F(ReportTest, ThePageNeedsNoOtherFile) {
  StoreFourDays();
  const std::string page = Page();
  EXPECT_THAT(page, HasSubstr("Chart.js v3"));
  EXPECT_THAT(page, HasSubstr("Permission is hereby granted"));
  for (const char* outside : {" src=", "@import", "url(", "<link", "@STYLE@", "@SCRIPT@"}) {
    EXPECT_EQ(page.find(outside), std::string::npos) << outside;
  }
  const Outcome outcome = ReportPeriod({"-o", "-"});
  EXPECT_THAT(outcome.out, testing::StartsWith("<!DOCTYPE html>"));
  EXPECT_THAT(outcome.out, testing::EndsWith("</html>\n"));
}

TEST_F(ReportTest, DaysBeginAtLocalMidnight) {
  Store({});
  testbed::SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const Outcome outcome =
      Report({"--since", "2026-03-27 12:00", "--until", "2026-03-31", "--json"});
  const json period = json::parse(outcome.out)["period"];
  EXPECT_EQ(period["labels"], json::parse(R"(["Fri 27", "Sat 28", "Sun 29", "Mon 30"])"));
  EXPECT_EQ(period["steps"][1].get<std::int64_t>() - period["steps"][0].get<std::int64_t>(),
            kDay / 2);
  EXPECT_EQ(period["steps"][3].get<std::int64_t>() - period["steps"][2].get<std::int64_t>(),
            kDay - 3'600'000);
}

// The ninth is a Monday in February and March 2026.
TEST_F(ReportTest, LabelsDoNotRepeat) {
  Store({});
  for (const char* begin : {"2026-02-10Z", "2026-02-09Z", "2025-02-14Z"}) {
    const Outcome outcome = Report({"--since", begin, "--until", "2026-03-10Z", "--json"});
    const json labels = json::parse(outcome.out)["period"]["labels"];
    EXPECT_EQ(std::set<std::string>(labels.begin(), labels.end()).size(), labels.size()) << begin;
  }
}

TEST_F(ReportTest, HoursThatClocksRepeatHaveDifferentLabels) {
  Store({});
  testbed::SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const json period =
      json::parse(Report({"--since", "2026-10-25 01:00", "--until", "2026-10-25 03:30", "--json"})
                      .out)["period"];
  EXPECT_EQ(period["labels"],
            json({"Sun 01:00 CEST", "Sun 02:00 CEST", "Sun 02:00 CET", "Sun 03:00 CET"}));
}

TEST_F(ReportTest, HoursAreFullHoursOfLocalTime) {
  Store({});
  testbed::SetTimeZone("IST-5:30");
  const json period =
      json::parse(Report({"--since", "2026-10-24 22:15", "--until", "2026-10-25 01:00", "--json"})
                      .out)["period"];
  EXPECT_EQ(period["labels"], json({"Sat 22:15", "Sat 23:00", "Sun 00:00"}));
}

TEST_F(ReportTest, LocalTimeHasAnOffsetForEachPartOfTheYear) {
  Execute("INSERT INTO records (id, received_ms, type) VALUES (1, 946684800000, 'x')");  // 2000
  testbed::SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const std::int64_t spring = 1'774'746'000'000;  // 2026-03-29 01:00 UTC
  const std::int64_t autumn = 1'792'890'000'000;  // 2026-10-25 01:00 UTC
  // Without those of the first record and of the present time.
  const auto offsets = [&](const char* since, const char* until) {
    const json data = json::parse(Report({"--since", since, "--until", until, "--json"}).out);
    json found = data["period"]["offsets"];
    EXPECT_EQ(found[0], json::parse("[946684800000, 3600]"));
    found.erase(found.begin());
    if (found.back()[0] >= data["period"]["until"]) found.erase(found.size() - 1);
    return found;
  };
  // Both periods count.
  EXPECT_EQ(offsets("2026-03-30", "2026-04-02"), json::array({{spring, 7200}}));
  EXPECT_EQ(offsets("2026-08-01", "2026-11-01").back(), json::array({autumn, 3600}));
  EXPECT_EQ(offsets("2026-05-01", "2026-05-02").size(), 1U);
  // Here the clock changes by half an hour, at a half hour of UTC or at a full one.
  testbed::SetTimeZone("XXX-10:30YYY-11,M10.1.0,M4.1.0");
  const json period = json::parse(
      Report({"--since", "2026-04-04", "--until", "2026-04-06", "--json"}).out)["period"];
  EXPECT_THAT(period["offsets"], testing::Contains(json::parse("[1775314800000, 37800]")));
}

TEST_F(ReportTest, ShortPeriodsHaveHours) {
  Store({});
  const json period =
      json::parse(Report({"--since", "2026-03-09 10:30", "--until", "2026-03-09 12:00", "--json"})
                      .out)["period"];
  EXPECT_EQ(period["labels"], json::parse(R"(["Mon 10:30", "Mon 11:00"])"));
}

TEST_F(ReportTest, AnotherProcessMayWriteToTheDatabase) {
  StoreFourDays();
  SQLite::Database writer(path_.native(), SQLite::OPEN_READWRITE);
  writer.exec("BEGIN IMMEDIATE; DELETE FROM client_events");
  EXPECT_EQ(Data()["counts"]["events"], 15);
  writer.exec("COMMIT");
  EXPECT_EQ(Data()["counts"]["events"], 0);
}

TEST_F(ReportTest, WrongOptionsAreReportedInOneLine) {
  Store({});
  EXPECT_EQ(ReportPeriod({"--goal", "speed=5"}).err,
            "wavelarkctl: --goal: 'speed=5' is not LEVEL=PERCENT; the levels are connects time "
            "coverage steering stability\n");
  for (const char* goal : {"connects", "connects=", "connects=101", "connects=-1", "connects=nan",
                           "connects=5x", "=5", ""}) {
    EXPECT_EQ(ReportPeriod({"--goal", goal}).status, 64) << goal;
  }
  EXPECT_EQ(Report({"--since", kEnd, "--until", kBegin}).status, 64);
  EXPECT_EQ(Report({"--since", "2024-01-01", "--until", kBegin}).status, 64);
  EXPECT_EQ(ReportPeriod({"--signal-limit", "5"}).status, 64);
  for (const char* limit : {"nan", "inf", "-1", "60.001", "2s", "1e1", ""}) {
    EXPECT_EQ(ReportPeriod({"--time-limit", limit, "--json"}).err,
              fmt::format("wavelarkctl: --time-limit: '{}' is not 0 to 60 seconds\n", limit));
  }
  EXPECT_EQ(ReportPeriod({"-o", ""}).status, 64);
  const Outcome outcome = ReportPeriod({"-o", (directory_.path() / "no/page.html").native()});
  EXPECT_EQ(outcome.status, 69);
  EXPECT_THAT(outcome.err, HasSubstr("no/page.html: can't be written: No such file or directory"));
}

// The recorder's own views, and other queries, count the same.
TEST_F(ReportTest, AWeekAgreesWithTheDatabase) {
  const auto events =
      testbed::PlayDays({.end = ParseTimeOption("", kEnd), .days = 4, .clients = 40, .seed = 7});
  Store(events);
  SQLite::Database database(path_.native());
  const auto number = [&](const std::string& query) {
    return database.execAndGet(query).getInt64();
  };
  const json data = Data();
  const std::string until = fmt::format(" AND event_time_in_milliseconds < {}", At(4 * kDay));
  EXPECT_GT(events.size(), 3000U);
  EXPECT_EQ(data["levels"][0]["good"],
            number("SELECT count(*) FROM client_events WHERE event_type = 'CONNECT' AND "
                   "is_event_success = 1" +
                   until));
  EXPECT_EQ(data["levels"][0]["all"],
            number("SELECT count(*) FROM client_events WHERE (event_type = 'CONNECT' OR "
                   "is_event_success = 0)" +
                   until));
  EXPECT_EQ(data["levels"][2]["good"],
            number("SELECT count(*) FROM client_events JOIN event_signals ON event_rowid = "
                   "client_events.rowid WHERE (event_type = 'DISCONNECT' OR event_type = 'CONNECT' "
                   "AND is_event_success = 1) AND signal_dbm >= -70" +
                   until));
  EXPECT_EQ(
      data["levels"][4]["all"].get<std::int64_t>() - data["levels"][4]["good"].get<std::int64_t>(),
      number("SELECT count(*) FROM client_events WHERE event_type = 'DISCONNECT' AND "
             "event_reason IN ('DISCONNECT_INACTIVITY', 'DISCONNECT_LOW_ACK', "
             "'DISCONNECT_GTK_M1_TIMEOUT')" +
             until));
  EXPECT_EQ(
      data["steers"]["list"].size(),
      std::min<std::int64_t>(100, number("SELECT count(*) FROM client_events WHERE event_type "
                                         "= 'DISCONNECT' AND steering_reason = 'STEER'" +
                                         until)));
}

TEST_F(ReportTest, PlayedDaysAreTheSameEachTime) {
  const testbed::PlayedDays plan = {.end = ParseTimeOption("", kEnd), .days = 1, .clients = 5};
  const auto one = testbed::PlayDays(plan);
  const auto other = testbed::PlayDays(plan);
  ASSERT_EQ(one.size(), other.size());
  for (std::size_t i = 0; i < one.size(); ++i) {
    EXPECT_EQ(one[i].info.SerializeAsString(), other[i].info.SerializeAsString());
  }
}

}  // namespace
}  // namespace orvane::wavelarkctl
