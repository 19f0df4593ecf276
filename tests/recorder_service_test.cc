// The recorder as a process: every acknowledged record is stored, even after crashes.

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "dbus_proxies/manager_proxy.h"
#include "proto/event.pb.h"
#include "testbed/access_point.h"
#include "testbed/bus_fixture.h"
#include "testbed/child_process.h"
#include "testbed/process_figures.h"
#include "testbed/temporary_directory.h"

namespace orvane::recorder {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::Event;
using org::velmora::ap::Quillary::ManagerProxy;
using platform::FilePath;
using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr char kName[] = "org.velmora.ap.Quillary";
constexpr milliseconds kLongEnough(20'000);

// A batch of `size` events, all with the time `number`.
std::string Batch(int size, std::uint64_t number) {
  Event event;
  event.set_interface(access_infrastructure::proto::WLAN_5000MHZ);
  for (int i = 0; i < size; ++i) {
    ClientEventInfo* info = event.add_client_event_info();
    info->set_client_shmac(fmt::format("{:064X}", i));
    info->set_event_time_in_milliseconds(number);
    info->set_event_type(ClientEventInfo::CONNECT);
    info->set_is_event_success(true);
    info->set_average_rssi_in_dbm(-60);
  }
  return event.SerializeAsString();
}

class RecorderServiceTest : public testbed::BusTest {
 protected:
  std::unique_ptr<testbed::ChildProcess> Launch(const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments = {AP_WAVELARK_RECORDER_PATH, "--database=" + path_.native(),
                                          "--metrics-file=" + metrics_.native()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return testbed::StartProcess(arguments);
  }

  // Launches the recorder and waits until it owns its name.
  void Start(const std::vector<std::string>& options = {}) {
    recorder_ = Launch(options);
    ASSERT_TRUE(testbed::WaitUntil(
        [this] {
          const bool has_name = sd_bus_get_name_creds(connection_->bus(), kName, 0, nullptr) >= 0;
          return has_name;
        },
        kLongEnough))
        << recorder_->err().Text();
  }

  bool Record(const std::string& data, const std::string& type = testbed::kEventTypeUrl) {
    error_.reset();
    return proxy_.RecordOfflineData(
        type, {reinterpret_cast<const std::uint8_t*>(data.data()), data.size()}, &error_, -1);
  }

  void ExpectExit(int code) {
    const auto status = recorder_->WaitForExit(kLongEnough);
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(*status, (testbed::ExitStatus{.code = code, .signal = 0})) << recorder_->err().Text();
  }

  void Kill() {
    recorder_->Signal(SIGKILL);
    ASSERT_TRUE(recorder_->WaitForExit(kLongEnough).has_value());
  }

  // Returns the first column of a query.
  std::vector<std::string> Query(const std::string& sql) const {
    SQLite::Database database(path_.native(), SQLite::OPEN_READWRITE, 5000);
    SQLite::Statement statement(database, sql);
    std::vector<std::string> rows;
    while (statement.executeStep()) rows.push_back(statement.getColumn(0).getString());
    return rows;
  }
  std::string QueryOne(const std::string& sql) const {
    const std::vector<std::string> rows = Query(sql);
    return rows.size() == 1 ? rows.front() : fmt::format("{} rows", rows.size());
  }

  testbed::TemporaryDirectory directory_;
  FilePath path_ = directory_.path() / "records.db";
  FilePath metrics_ = directory_.path() / "metrics.prom";
  ManagerProxy proxy_{connection_, kName};
  std::unique_ptr<platform::Error> error_;
  std::unique_ptr<testbed::ChildProcess> recorder_;
};

TEST_F(RecorderServiceTest, StoresRecordsOfAllMethods) {
  Start();
  EXPECT_TRUE(Record(Batch(3, 1)));
  const std::string other = "other";
  EXPECT_TRUE(proxy_.RecordStructuredData(
      "a.Type", {reinterpret_cast<const std::uint8_t*>(other.data()), other.size()}, &error_, -1));
  EXPECT_TRUE(proxy_.RecordMetric("a metric", {{"a", "1"}}, std::uint8_t{5}, &error_, -1));
  EXPECT_EQ(Query("SELECT type FROM records"),
            (std::vector<std::string>{testbed::kEventTypeUrl, "a.Type", "a metric"}));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events"), "3");
  recorder_->Signal(SIGTERM);
  ExpectExit(0);
}

TEST_F(RecorderServiceTest, MetricThatIsAContainerIsRefused) {
  Start();
  sd_bus_error error = SD_BUS_ERROR_NULL;
  EXPECT_LT(sd_bus_call_method(connection_->bus(), kName, "/org/velmora/ap/Quillary/Manager",
                               "org.velmora.ap.Quillary.Manager", "RecordMetric", &error, nullptr,
                               "sa{ss}v", "name", 0, "as", 1, "text"),
            0);
  EXPECT_STREQ(error.name, SD_BUS_ERROR_INVALID_ARGS);
  sd_bus_error_free(&error);
  EXPECT_EQ(QueryOne("SELECT count(*) FROM records"), "0");
}

TEST_F(RecorderServiceTest, MetricsEqualTheSumsOfTheDatabase) {
  Start();
  ASSERT_TRUE(Record(Batch(7, 1)));
  ASSERT_TRUE(Record("no event"));
  const auto text = [this] { return platform::ReadFileToString(metrics_).value_or(""); };
  EXPECT_TRUE(testbed::WaitUntil(
      [&] { return text().find("not_an_event\"} 1") != std::string::npos; }, milliseconds(15'000)));
  EXPECT_THAT(
      text(),
      HasSubstr("{interface=\"WLAN_5000MHZ\",type=\"CONNECT\",success=\"true\",reason=\"\"} " +
                QueryOne("SELECT count(*) FROM client_events") + "\n"));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events"), "7");
  // No identifier and no text of a sender may appear.
  for (const std::string& secret : {fmt::format("{:064X}", 3), std::string("no event")}) {
    EXPECT_EQ(text().find(secret), std::string::npos);
    EXPECT_EQ(recorder_->err().Text().find(secret), std::string::npos);
  }
}

TEST_F(RecorderServiceTest, SecondInstanceExits) {
  Start();
  const auto first = std::move(recorder_);
  recorder_ = Launch();
  ExpectExit(69);
  EXPECT_THAT(recorder_->err().Text(), HasSubstr("Failed to claim the bus name"));
  EXPECT_TRUE(Record(Batch(1, 1)));
}

// At the maximum size each record is followed by deletions, which also write to the log.
TEST_F(RecorderServiceTest, WriteAheadLogIsBoundedWhileRecordsAreDeleted) {
  Start({"--max-size=1M"});
  const std::string batch = Batch(1000, 1);
  std::uintmax_t largest = 0;
  for (int i = 0; i < 300; ++i) {
    ASSERT_TRUE(Record(batch)) << error_->message();
    largest = std::max(largest, std::filesystem::file_size(path_.native() + "-wal"));
  }
  EXPECT_GT(largest, 20U << 20) << "too few records to fill the log";
  EXPECT_LT(largest, 28U << 20);
}

// Kills the recorder WAVELARK_KILLS times, by default 20.
TEST_F(RecorderServiceTest, AcknowledgedRecordsSurviveAKill) {
  const char* kills = std::getenv("WAVELARK_KILLS");
  const int rounds = kills == nullptr ? 20 : std::atoi(kills);
  std::mt19937 random(static_cast<unsigned>(rounds));
  std::set<std::string> answered;
  std::uint64_t number = 0;
  for (int round = 0; round < rounds; ++round) {
    Start();
    ASSERT_TRUE(Record(Batch(50, ++number))) << error_->message();
    answered.insert(std::to_string(number));
    std::thread killer([this, wait = std::chrono::microseconds(random() % 50'000)] {
      std::this_thread::sleep_for(wait);
      recorder_->Signal(SIGKILL);
    });
    while (Record(Batch(50, ++number))) answered.insert(std::to_string(number));
    killer.join();
    ASSERT_TRUE(recorder_->WaitForExit(kLongEnough).has_value());
  }
  RecordProperty("answered", static_cast<int>(answered.size()));
  std::set<std::string> stored;
  for (const std::string& row : Query("SELECT event_time_in_milliseconds FROM client_events "
                                      "GROUP BY record_id")) {
    EXPECT_TRUE(stored.insert(row).second) << row << " is stored twice";
  }
  for (const std::string& row : answered) EXPECT_TRUE(stored.contains(row)) << row << " is lost";
  EXPECT_EQ(QueryOne("SELECT count(*) FROM (SELECT 1 FROM client_events GROUP BY record_id "
                     "HAVING count(*) <> 50)"),
            "0");
  EXPECT_EQ(QueryOne("SELECT value FROM counters WHERE name = 'ap_wavelark_client_events_total'"),
            QueryOne("SELECT count(*) FROM client_events"));
  EXPECT_EQ(QueryOne("PRAGMA integrity_check"), "ok");
}

// A small file system that can be full or read-only.
class SmallDiskTest : public RecorderServiceTest {
 protected:
  SmallDiskTest() {
    disk_ = directory_.path() / "disk";
    std::filesystem::create_directory(disk_);
    Mount("size=1m");
    path_ = disk_ / "records.db";
  }
  ~SmallDiskTest() override {
    recorder_.reset();
    umount2(disk_.c_str(), MNT_DETACH);
  }
  void Mount(const char* options) const {
    ASSERT_EQ(mount("tmpfs", disk_.c_str(), "tmpfs", 0, options), 0);
  }
  void Remount(unsigned long flags, const char* options) const {
    ASSERT_EQ(mount("tmpfs", disk_.c_str(), "tmpfs", MS_REMOUNT | flags, options), 0);
  }

  FilePath disk_;
};

TEST_F(SmallDiskTest, FullDiskIsReportedAndLosesNothing) {
  Start();
  int stored = 0;
  while (Record(Batch(1000, 1))) ASSERT_LT(++stored, 100);
  EXPECT_GT(stored, 0);
  EXPECT_EQ(error_->code(), "org.freedesktop.DBus.Error.IOError");
  EXPECT_THAT(error_->message(), HasSubstr("full"));
  EXPECT_FALSE(Record(Batch(1000, 1)));
  Remount(0, "size=20m");
  EXPECT_TRUE(Record(Batch(1000, 1))) << error_->message();
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events"), std::to_string((stored + 1) * 1000));
  EXPECT_EQ(QueryOne("PRAGMA integrity_check"), "ok");
  EXPECT_THAT(recorder_->err().Text(), HasSubstr("ERROR"));
}

TEST_F(SmallDiskTest, ReadOnlyDiskIsReportedUntilItIsWritable) {
  Remount(MS_RDONLY, "size=1m");
  Start();
  EXPECT_FALSE(Record(Batch(1, 1)));
  EXPECT_EQ(error_->code(), "org.freedesktop.DBus.Error.IOError");
  Remount(0, "size=1m");
  EXPECT_TRUE(Record(Batch(1, 1))) << error_->message();
}

TEST_F(RecorderServiceTest, DamagedDatabaseIsSetAside) {
  testbed::WriteFile(path_, std::string(100'000, 'x'));
  Start();
  EXPECT_TRUE(Record(Batch(1, 1)));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events"), "1");
}

// The largest messages that the bus accepts: one of plain bytes, and one of the shortest possible
// entries.
TEST_F(RecorderServiceTest, RecordOf32MebibytesIsStored) {
  constexpr std::size_t kSize = (std::size_t{32} << 20) - (std::size_t{64} << 10);
  Start();
  EXPECT_TRUE(Record(std::string(kSize, 'x'))) << error_->message();
  std::string entries;
  while (entries.size() < kSize) entries.append("\x22\x00", 2);
  EXPECT_TRUE(Record(entries)) << error_->message();
  EXPECT_EQ(Query("SELECT length(data) FROM records"),
            std::vector<std::string>(2, std::to_string(kSize)));
  if (!testbed::kIsSanitized) {
    EXPECT_LT(testbed::ProcessFile(recorder_->pid(), "status").Figure("VmHWM"), 120'000);
  }
}

}  // namespace
}  // namespace orvane::recorder
