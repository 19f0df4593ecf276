#include <SQLiteCpp/Database.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/mac_address.h"
#include "optimizer/station_id_generator.h"
#include "platform/files.h"
#include "testbed/child_process.h"
#include "testbed/tool_test.h"

namespace orvane::wavelarkctl {
namespace {

using testbed::PlayedEvent;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::chrono::milliseconds kLongEnough(20'000);

class EventsTest : public testbed::ToolTest {
 protected:
  Outcome Events(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"events", "--database", path_.native()});
    return Run(options);
  }

  // The output of the tool, which must succeed.
  std::string Lines(const std::vector<std::string>& options = {}) const {
    const Outcome outcome = Events(options);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }

  void ExpectRefused(int status, const std::string& reason) const {
    const Outcome outcome = Events();
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.err, fmt::format("wavelarkctl: {}: {}\n", path_.native(), reason));
    EXPECT_EQ(outcome.out, "");
  }

  // A connect of a client whose identifier begins with `id`.
  static PlayedEvent Connect(const std::string& id, std::int64_t time_ms) {
    return EventOf(
        fmt::format("client_shmac: '{:A<64}' event_type: CONNECT is_event_success: true "
                    "event_time_in_milliseconds: {}",
                    id, time_ms));
  }
};

TEST_F(EventsTest, EventsAreToldInWords) {
  const std::string head =
      "client_shmac: '0123456789ABCDEF' event_time_in_milliseconds: 1700000000123 ";
  Store({EventOf(head + "event_type: AUTHENTICATE is_event_success: true "
                        "event_frame_rssi_in_dbm: -70 frame_status_code: 0"),
         EventOf(head + "event_type: ASSOCIATE is_event_success: false frame_status_code: 17 "
                        "event_reason: FAILED_TO_ADD_STA"),
         EventOf(head + "event_type: CONNECT is_event_success: true rssi_in_dbm: -60 "
                        "average_rssi_in_dbm: -61 steering_reason: STEER "
                        "steer_delta_in_milliseconds: 2345 "
                        "data_rate { bitrate_kbps: 433300 bandwidth_mhz: 80 }"),
         EventOf(head + "event_type: DISCONNECT event_reason: DISCONNECT_LOW_ACK rssi_in_dbm: -80 "
                        "data_rate { bitrate_kbps: 6000 }"),
         EventOf(head + "event_type: DISCONNECT steering_reason: STEER"),
         EventOf(head + "event_type: DISCONNECT steering_reason: NOSTEER_WEAK_SIGNAL "
                        "event_reason: UNKNOWN_CLIENT_EVENT_REASON")});
  const std::string start = "2023-11-14 22:13:20.123  wlan-5000mhz   01234567  ";
  EXPECT_EQ(Lines(),
            start + "authenticated, signal -70 dBm\n" +  //
                start + "failed to associate: access point could not add the client, status 17\n" +
                start +
                "connected, 2.3 s after it was steered, signal -61 dBm, 433.3 Mbit/s at "
                "80 MHz\n" +
                start +
                "disconnected: too many frames not acknowledged, signal -80 dBm, "
                "6.0 Mbit/s\n" +
                start + "disconnected, steered\n" + start +
                "disconnected: unknown reason, not steered: weak signal\n");
}

TEST_F(EventsTest, JsonHasTheFieldsThatAreSet) {
  Store(
      {EventOf("client_shmac: 'AB' event_time_in_milliseconds: 1700000000123 event_type: CONNECT "
               "is_event_success: false probe_delta_in_milliseconds: 18446744073709551615 "
               "rssi_in_dbm: -60 data_rate { is_long_guard_interval: true }")});
  EXPECT_EQ(Lines({"--json"}),
            R"({"time":"2023-11-14T22:13:20.123Z","interface":"WLAN_5000MHZ","client_shmac":"AB",)"
            R"("event_time_in_milliseconds":1700000000123,"event_type":"CONNECT",)"
            R"("is_event_success":false,"rssi_in_dbm":-60,"data_rate_is_long_guard_interval":true,)"
            R"("probe_delta_in_milliseconds":18446744073709551615})"
            "\n");
}

TEST_F(EventsTest, AnEventWithoutFieldsIsALineToo) {
  Execute(
      "INSERT INTO records (id, received_ms, type) VALUES (1, 1700000000000, 'x');"
      "INSERT INTO client_events (record_id) VALUES (1)");
  EXPECT_EQ(Lines(), "2023-11-14 22:13:20.000  -              -         event without a type\n");
  EXPECT_EQ(Lines({"--json"}), "{\"time\":\"2023-11-14T22:13:20.000Z\"}\n");
}

TEST_F(EventsTest, TimesBeyondTheCalendarAreLinesToo) {
  Execute(
      "INSERT INTO records (id, received_ms, type) VALUES (1, 0, 'x');"
      "INSERT INTO client_events (record_id, event_type, event_time_in_milliseconds) VALUES"
      " (1, 'CONNECT', 9223372036854775807), (1, 'CONNECT', -9223372036854775808)");
  EXPECT_EQ(Lines(),
            "287168-08-24 16:00:00.000  -              -         connect\n"
            "-283229-05-10 08:00:00.000  -              -         connect\n");
}

TEST_F(EventsTest, TextOfStrangersIsHarmless) {
  Execute(
      "INSERT INTO records (id, received_ms, type) VALUES (1, 1700000000000, 'x');"
      "INSERT INTO client_events (record_id, interface, client_shmac, event_type, event_reason,"
      " rssi_in_dbm) VALUES (1, 'a' || char(27) || '[2J', char(27) || ']0;x' || char(7),"
      " 'N' || char(10), x'ff0a', 'text')");
  EXPECT_EQ(Lines(), "2023-11-14 22:13:20.000  a?[2j          ?]0;x?    N?: ??\n");
  EXPECT_EQ(Lines({"--json"}),
            "{\"time\":\"2023-11-14T22:13:20.000Z\",\"interface\":\"a\\u001b[2J\","
            "\"client_shmac\":\"\\u001b]0;x\\u0007\",\"event_type\":\"N\\n\","
            "\"event_reason\":\"\\ufffd\\n\",\"rssi_in_dbm\":\"text\"}\n");
}

TEST_F(EventsTest, SinceLeavesOutWhatWasBefore) {
  Store({Connect("0", 1'700'000'000'000), Connect("1", 1'700'000'060'000)});
  EXPECT_EQ(Lines({"--since", "2023-11-14 22:14"}),
            "2023-11-14 22:14:20.000  wlan-5000mhz   1AAAAAAA  connected\n");
  EXPECT_EQ(Lines({"--since", "30s"}), "");
  const Outcome outcome = Events({"--since", "soon"});
  EXPECT_EQ(outcome.status, 64);
  EXPECT_THAT(outcome.err, StartsWith("wavelarkctl: --since: 'soon' is not a time, such as 7d, "));
}

TEST_F(EventsTest, EventsOfSeveralPagesComeInOrder) {
  std::vector<PlayedEvent> events;
  std::string expected;
  for (int i = 0; i < 2500; ++i) {
    events.push_back(Connect(fmt::format("{:08}", i), 1'700'000'000'000));
    expected += fmt::format("2023-11-14 22:13:20.000  wlan-5000mhz   {:08}  connected\n", i);
  }
  Store(events);
  EXPECT_EQ(Lines(), expected);
}

TEST_F(EventsTest, ClientIsAnIdentifierOrItsBeginning) {
  Store({Connect("01", 1'700'000'000'000), Connect("0B", 1'700'000'000'000)});
  const std::string line = "2023-11-14 22:13:20.000  wlan-5000mhz   0BAAAAAA  connected\n";
  EXPECT_EQ(Lines({"--client", "0b"}), line);
  EXPECT_EQ(Lines({"--client", fmt::format("{:A<64}", "0B")}), line);
  EXPECT_EQ(Lines({"--client", "0C"}), "");
  for (const char* text : {"", "%", "0%", "x", "02:00:00", "02:00:00:00:00:00:00"}) {
    EXPECT_EQ(Events({"--client", text}).status, 64) << text;
  }
}

// An unset variable of a script does not select everything.
TEST_F(EventsTest, AnEmptyValueIsRefused) {
  Store({Connect("01", 1'700'000'000'000)});
  const Outcome client = Events({"--client", ""});
  EXPECT_EQ(client.status, 64);
  EXPECT_EQ(client.err, "wavelarkctl: --client: '' is neither an address nor an identifier\n");
  const Outcome since = Events({"--since", ""});
  EXPECT_EQ(since.status, 64);
  EXPECT_THAT(since.err, StartsWith("wavelarkctl: --since: '' is not a time, such as 7d, "));
  for (const char* option : {"--client=", "--since="}) EXPECT_EQ(Events({option}).status, 64);
  for (const char* option : {"--database", "--salt"}) {
    EXPECT_EQ(
        Run({"events", option, ""}).err,
        fmt::format("wavelarkctl: {}: the value is empty (--help lists the options)\n", option));
  }
}

// U+009B begins an escape sequence on some terminals.
TEST_F(EventsTest, JsonHasNoControlCharacters) {
  Execute(
      "INSERT INTO records (id, received_ms, type) VALUES (1, 5, 'x');"
      "INSERT INTO client_events (record_id, event_type, client_shmac) VALUES"
      " (1, 'CONNECT', CAST(x'1bc29b7fff' AS TEXT))");
  EXPECT_THAT(Events({"--json"}).out, HasSubstr(R"("client_shmac":"\u001b\u009b\u007f\ufffd")"));
}

TEST_F(EventsTest, AnUnknownCommandIsNamed) {
  const Outcome unknown = Run({"event", "--follow"});
  EXPECT_EQ(unknown.status, 64);
  EXPECT_EQ(unknown.err, "wavelarkctl: there is no command event (--help lists the commands)\n");
  const Outcome none = Run({});
  EXPECT_EQ(none.status, 64);
  EXPECT_EQ(none.err, "wavelarkctl: a command is missing (--help lists the commands)\n");
}

TEST_F(EventsTest, ClientIsAnAddressIfTheSaltCanBeRead) {
  const platform::FilePath salt = directory_.path() / "salt";
  testbed::WriteFile(salt, "secret\n");
  std::string id;
  ASSERT_TRUE(ap::StationIdGenerator(salt).GenerateIdFromText("02:00:00:00:02:0a", &id));
  Store({Connect("01", 1'700'000'000'000), Connect(id, 1'700'000'000'000)});
  EXPECT_EQ(
      Lines({"--client", "02:00:00:00:02:0A", "--salt", salt.native()}),
      fmt::format("2023-11-14 22:13:20.000  wlan-5000mhz   {}  connected\n", id.substr(0, 8)));
  const platform::FilePath missing = directory_.path() / "none";
  const Outcome outcome = Events({"--client", "02:00:00:00:02:0a", "--salt", missing.native()});
  EXPECT_EQ(outcome.status, 69);
  EXPECT_THAT(outcome.err, StartsWith("wavelarkctl: " + missing.native() +
                                      ": No such file or directory; run as root, or"));
}

TEST_F(EventsTest, AFileThatIsNotARecordersDatabaseIsRefused) {
  ExpectRefused(69, "No such file or directory");
  testbed::WriteFile(path_, "");
  ExpectRefused(65, "the database is empty: the recorder has not created its tables");
  testbed::WriteFile(path_, std::string(8192, 'x'));
  ExpectRefused(65, "file is not a database");
  std::filesystem::remove(path_);
  SQLite::Database(path_.native(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
      .exec("CREATE TABLE client_events (a)");
  ExpectRefused(65, "the database belongs to another program");
  std::filesystem::remove(path_);
  Execute("ALTER TABLE client_events DROP COLUMN first_time_seen");
  ExpectRefused(65,
                "has no column client_events.first_time_seen: a current recorder adds it when it "
                "starts");
  Execute("PRAGMA user_version = 99");
  ExpectRefused(65, "the database has version 99, this program reads version 1");
  std::filesystem::remove(path_);
  std::filesystem::create_directory(path_);
  ExpectRefused(69, "not a regular file");
}

TEST_F(EventsTest, ADamagedDatabaseIsReportedInOneLine) {
  std::vector<PlayedEvent> events(5000, Connect("0", 1'700'000'000'000));
  Store(events);
  std::string bytes = *platform::ReadFileToString(path_);
  // All pages but the first, which has the schema.
  std::fill(bytes.begin() + 4096, bytes.end(), '\x55');
  testbed::WriteFile(path_, bytes);
  ExpectRefused(65, "database disk image is malformed");
}

TEST_F(EventsTest, ATruncatedDatabaseIsReportedInOneLine) {
  Store(std::vector<PlayedEvent>(5000, Connect("0", 1'700'000'000'000)));
  const std::string bytes = *platform::ReadFileToString(path_);
  testbed::WriteFile(path_, std::string_view(bytes).substr(0, bytes.size() / 2));
  ExpectRefused(65, "database disk image is malformed");
}

// Without rights to the directory, SQLite can't create its files beside the database.
TEST_F(EventsTest, AnotherUserReadsTheDatabaseWithOrWithoutARecorder) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  Store({Connect("01", 1'700'000'000'000)});
  std::filesystem::permissions(directory_.path(), std::filesystem::perms(0755));
  std::filesystem::permissions(path_, std::filesystem::perms(0644));
  ASSERT_EQ(seteuid(65534), 0);
  const Outcome open = Events();
  EXPECT_EQ(seteuid(0), 0);
  EXPECT_EQ(open.out, "2023-11-14 22:13:20.000  wlan-5000mhz   01AAAAAA  connected\n") << open.err;
  {
    // A recorder that runs.
    SQLite::Database recorder(path_.native(), SQLite::OPEN_READWRITE);
    ASSERT_EQ(recorder.tryExec("BEGIN; UPDATE records SET received_ms = 1; COMMIT"), SQLITE_OK);
    ASSERT_EQ(seteuid(65534), 0);
    const Outcome beside = Events();
    EXPECT_EQ(seteuid(0), 0);
    EXPECT_EQ(beside.out, open.out) << beside.err;
  }
  std::filesystem::permissions(path_, std::filesystem::perms(0600));
  ASSERT_EQ(seteuid(65534), 0);
  const Outcome closed = Events();
  EXPECT_EQ(seteuid(0), 0);
  EXPECT_EQ(closed.status, 69);
  EXPECT_EQ(closed.err, fmt::format("wavelarkctl: {}: Permission denied\n", path_.native()));
}

// --follow, as a process.
class FollowTest : public EventsTest {
 protected:
  std::unique_ptr<testbed::ChildProcess> Follow() const {
    return testbed::StartProcess(
        {WAVELARKCTL_PATH, "events", "--follow", "--database", path_.native()}, {{"TZ", "UTC"}});
  }

  static void ExpectEnd(testbed::ChildProcess* child) {
    const auto status = child->WaitForExit(kLongEnough);
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(*status, (testbed::ExitStatus{.code = 0, .signal = 0})) << child->err().Text();
    EXPECT_EQ(child->err().Text(), "");
  }
};

TEST_F(FollowTest, ShowsTheLastEventsAndNewOnes) {
  std::vector<PlayedEvent> events;
  for (int i = 0; i < 15; ++i)
    events.push_back(Connect(fmt::format("{:02}", i), 1'700'000'000'000));
  Store(events);
  const auto child = Follow();
  ASSERT_TRUE(child->out().WaitForLine("14AAAAAA", kLongEnough).has_value());
  EXPECT_EQ(child->out().Count("connected\n"), 10U);
  for (const char* id : {"20", "21"}) {
    Store({Connect(id, 1'700'000'000'000)});
    EXPECT_TRUE(child->out().WaitForLine(std::string(id) + "AAAAAA", kLongEnough).has_value());
  }
  EXPECT_EQ(child->out().Count("connected\n"), 12U);
  child->Signal(SIGTERM);
  ExpectEnd(child.get());
}

TEST_F(FollowTest, ContinuesWithTheDatabaseThatReplacesADamagedOne) {
  Store({Connect("01", 1'700'000'000'000)});
  const auto child = Follow();
  ASSERT_TRUE(child->out().WaitForLine("01AAAAAA", kLongEnough).has_value());
  std::filesystem::rename(path_, directory_.path() / "records.db.damaged");
  Store({Connect("02", 1'700'000'000'000)});
  EXPECT_TRUE(child->out().WaitForLine("02AAAAAA", kLongEnough).has_value());
  child->Signal(SIGINT);
  ExpectEnd(child.get());
}

// A user without rights to the directory can start before the recorder.
TEST_F(FollowTest, ShowsAnotherUserWhatALaterRecorderAdds) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  Store({Connect("01", 1'700'000'000'000)});
  std::filesystem::permissions(directory_.path(), std::filesystem::perms(0755));
  std::filesystem::permissions(path_, std::filesystem::perms(0644));
  // The build directory may be closed to the other user.
  const platform::FilePath tool = directory_.path() / "wavelarkctl";
  std::filesystem::copy_file(WAVELARKCTL_PATH, tool);
  const auto child =
      testbed::StartProcess({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                             tool.native(), "events", "--follow", "--database", path_.native()});
  ASSERT_TRUE(child->out().WaitForLine("01AAAAAA", kLongEnough).has_value()) << child->err().Text();
  Store({Connect("02", 1'700'000'000'000)});
  EXPECT_TRUE(child->out().WaitForLine("02AAAAAA", kLongEnough).has_value());
  // A recorder that runs on: the event is only in the log.
  SQLite::Database recorder(path_.native(), SQLite::OPEN_READWRITE);
  recorder.exec(
      "BEGIN;"
      "INSERT INTO records (received_ms, type) VALUES (1, 'x');"
      "INSERT INTO client_events (record_id, client_shmac) VALUES (last_insert_rowid(), '03');"
      "COMMIT");
  EXPECT_TRUE(child->out().WaitForLine("03", kLongEnough).has_value());
  child->Signal(SIGTERM);
  ExpectEnd(child.get());
}

TEST_F(FollowTest, EndsWhenItsReaderEnds) {
  Store({Connect("01", 1'700'000'000'000)});
  const auto child = testbed::StartProcess(
      {"bash", "-c", "set -o pipefail; \"$0\" events --follow --database \"$1\" | head -n 1",
       WAVELARKCTL_PATH, path_.native()},
      {{"TZ", "UTC"}});
  ExpectEnd(child.get());
  EXPECT_THAT(child->out().Text(), HasSubstr("01AAAAAA"));
}

// The output is larger than a pipe, so the tool writes after the reader has ended.
TEST_F(FollowTest, EndsWhenItsReaderEndsWithinAList) {
  Store(std::vector<PlayedEvent>(5000, Connect("01", 1'700'000'000'000)));
  const auto child = testbed::StartProcess(
      {"bash", "-c",
       "set -o pipefail; \"$0\" events --follow --since 2023-11-14 --database \"$1\" | head -n 1",
       WAVELARKCTL_PATH, path_.native()},
      {{"TZ", "UTC"}});
  ExpectEnd(child.get());
  EXPECT_THAT(child->out().Text(), HasSubstr("01AAAAAA"));
}

class FollowSignalTest : public FollowTest, public ::testing::WithParamInterface<int> {};

TEST_P(FollowSignalTest, EndsAWriteThatBlocks) {
  Store(std::vector<PlayedEvent>(5000, Connect("01", 1'700'000'000'000)));
  const platform::FilePath fifo = directory_.path() / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const platform::ScopedFd reader(open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const auto child = testbed::StartProcess(
      {"bash", "-c", "exec \"$0\" events --follow --since 2023-11-14 --database \"$1\" > \"$2\"",
       WAVELARKCTL_PATH, path_.native(), fifo.native()},
      {{"TZ", "UTC"}});
  // Nobody reads the pipe, so the tool can't write the whole list.
  pollfd output = {reader.get(), POLLIN, 0};
  ASSERT_EQ(poll(&output, 1, static_cast<int>(kLongEnough.count())), 1);
  child->Signal(GetParam());
  ExpectEnd(child.get());
}

INSTANTIATE_TEST_SUITE_P(Signals, FollowSignalTest, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(FollowTest, AFullDiskIsReported) {
  Store({Connect("01", 1'700'000'000'000)});
  const auto child = testbed::StartProcess(
      {"bash", "-c", "exec \"$0\" events --follow --database \"$1\" > /dev/full", WAVELARKCTL_PATH,
       path_.native()});
  const auto status = child->WaitForExit(kLongEnough);
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(*status, (testbed::ExitStatus{.code = 69, .signal = 0}));
  EXPECT_EQ(child->err().Text(), "wavelarkctl: can't write to standard output\n");
}

}  // namespace
}  // namespace orvane::wavelarkctl
