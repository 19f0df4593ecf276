#include "recorder/record_store.h"

#include <SQLiteCpp/Statement.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/files.h"
#include "proto/event.pb.h"
#include "testbed/log_capture.h"
#include "testbed/temporary_directory.h"

namespace orvane::recorder {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::Event;
using platform::FilePath;
using testing::AllOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kEventType[] = "type.example.org/access_infrastructure.proto.Event";
constexpr char kId[] = "0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF";

std::string BytesOf(const std::string& text) {
  Event event;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &event));
  return event.SerializeAsString();
}

// A batch of `size` events.
std::string Batch(int size) {
  Event event;
  event.set_interface(access_infrastructure::proto::WLAN_5000MHZ);
  for (int i = 0; i < size; ++i) {
    ClientEventInfo* info = event.add_client_event_info();
    info->set_client_shmac(kId);
    info->set_event_time_in_milliseconds(1'700'000'000'000U + static_cast<unsigned>(i));
    info->set_event_type(ClientEventInfo::CONNECT);
    info->set_is_event_success(true);
    info->set_average_rssi_in_dbm(-60);
  }
  return event.SerializeAsString();
}

class RecordStoreTest : public testing::Test {
 protected:
  void Open() { store_.emplace(DatabaseOptions{.path = path_, .max_size = max_size_}); }

  bool Add(const std::string& type, const std::string& data, std::int64_t received_ms = 1) {
    if (!store_) Open();
    error_.reset();
    return store_->AddData(
        {.type = type,
         .data = {reinterpret_cast<const std::uint8_t*>(data.data()), data.size()},
         .received_ms = received_ms},
        &error_);
  }

  // Returns the rows of a query with their values separated by "|"; NULL is "-".
  std::vector<std::string> Query(const std::string& sql) const {
    SQLite::Database database(path_.native());
    SQLite::Statement statement(database, sql);
    std::vector<std::string> rows;
    while (statement.executeStep()) {
      std::string row;
      for (int i = 0; i < statement.getColumnCount(); ++i) {
        if (i > 0) row += "|";
        row += statement.isColumnNull(i) ? "-" : statement.getColumn(i).getString();
      }
      rows.push_back(row);
    }
    return rows;
  }
  std::string QueryOne(const std::string& sql) const {
    const std::vector<std::string> rows = Query(sql);
    EXPECT_THAT(rows, SizeIs(1)) << sql;
    return rows.empty() ? "" : rows.front();
  }

  std::string MetricsNow() { return FormatMetrics(store_->ReadMetrics()); }

  void PruneAll(std::int64_t oldest_ms = 0) {
    while (store_->Prune(oldest_ms)) {
    }
  }

  testbed::TemporaryDirectory directory_;
  FilePath path_ = directory_.path() / "records.db";
  std::int64_t max_size_ = std::int64_t{64} << 20;
  testbed::LogCapture log_;
  std::optional<RecordStore> store_;
  std::unique_ptr<platform::Error> error_;
};

TEST_F(RecordStoreTest, AnEventBecomesRows) {
  ASSERT_TRUE(Add(kEventType, BytesOf(R"(
      interface: WLAN_5000MHZ
      client_event_info {
        client_shmac: 'A' event_time_in_milliseconds: 1700000000123 event_type: DISCONNECT
        is_event_success: false event_reason: DISCONNECT_LOW_ACK rssi_in_dbm: -70
        data_rate { mcs_index: 7 legacy_ht_vht: VHT is_long_guard_interval: true }
        probe_delta_in_milliseconds: 18446744073709551615
        client_capability { number_of_spatial_streams: 2 }
      }
      client_event_info {}
      client_probe_request_info { probe_request_rssi_in_dbm: -61 }
    )"),
                  1234));
  EXPECT_EQ(QueryOne("SELECT id, received_ms, type, data FROM records"),
            std::string("1|1234|") + kEventType + "|-");
  EXPECT_EQ(
      QueryOne("SELECT * FROM client_events WHERE client_shmac = 'A'"),
      "1|WLAN_5000MHZ|A|1700000000123|DISCONNECT|0|DISCONNECT_LOW_ACK|-|-|-70|-|-|1|7|-|VHT|-|"
      "-1|-|-|-|-|2");
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events WHERE client_shmac IS NULL AND "
                     "event_type IS NULL AND interface = 'WLAN_5000MHZ'"),
            "1");
  EXPECT_EQ(QueryOne("SELECT * FROM probe_reports"), "1|WLAN_5000MHZ|-|-61|-|-");
}

// The names of the columns are an interface: users' queries contain them.
TEST_F(RecordStoreTest, ColumnsAreNamedAsTheFields) {
  Open();
  ASSERT_TRUE(store_->Open(&error_));
  EXPECT_EQ(QueryOne("SELECT group_concat(name || ' ' || type, ', ') FROM "
                     "pragma_table_info('probe_reports')"),
            "record_id INTEGER, interface TEXT, client_shmac TEXT, "
            "probe_request_rssi_in_dbm INTEGER, client_capability_ht_vht_capability TEXT, "
            "client_capability_number_of_spatial_streams INTEGER");
  EXPECT_EQ(QueryOne("SELECT group_concat(name, ' ') FROM pragma_table_info('client_events')"),
            "record_id interface client_shmac event_time_in_milliseconds event_type "
            "is_event_success event_reason frame_status_code steering_reason rssi_in_dbm "
            "data_rate_bitrate_kbps data_rate_bandwidth_mhz data_rate_is_long_guard_interval "
            "data_rate_mcs_index data_rate_number_of_spatial_streams data_rate_legacy_ht_vht "
            "first_time_seen probe_delta_in_milliseconds steer_delta_in_milliseconds "
            "event_frame_rssi_in_dbm average_rssi_in_dbm client_capability_ht_vht_capability "
            "client_capability_number_of_spatial_streams");
  EXPECT_EQ(QueryOne("PRAGMA user_version"), "1");
}

TEST_F(RecordStoreTest, FieldsWithoutAColumnAreStoredRaw) {
  const std::string entry = "client_event_info { event_type: CONNECT }";
  const std::string unknown = "\x98\x06\x01";
  for (const std::string& data :
       {BytesOf(entry + " group_id: 'g'"), BytesOf("interface: WLAN_5000MHZ"), std::string(),
        BytesOf(entry) + unknown, std::string("\x22\x03", 2) + unknown}) {
    ASSERT_TRUE(Add(kEventType, data));
    EXPECT_EQ(QueryOne("SELECT hex(data) FROM records ORDER BY id DESC LIMIT 1"), [&data] {
      std::string hex;
      for (const char byte : data) hex += fmt::format("{:02X}", static_cast<std::uint8_t>(byte));
      return hex;
    }());
  }
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events"), "3");
}

TEST_F(RecordStoreTest, OtherDataIsStoredRaw) {
  // The second entry is truncated: the first one must not stay.
  const std::string half =
      BytesOf("client_event_info { event_type: CONNECT }") + std::string("\x22\x02\x0a\x05", 4);
  ASSERT_TRUE(Add(kEventType, "garbage"));
  ASSERT_TRUE(Add(kEventType, half));
  ASSERT_TRUE(Add("some.other.Type", std::string("a\0b", 3)));
  ASSERT_TRUE(Add("xaccess_infrastructure.proto.Event", ""));
  EXPECT_THAT(Query("SELECT id, length(CAST(data AS BLOB)) FROM records"),
              ElementsAre("1|7", fmt::format("2|{}", half.size()), "3|3", "4|0"));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events"), "0");
  EXPECT_THAT(MetricsNow(), HasSubstr("errors_total{kind=\"not_an_event\"} 2\n"));
  EXPECT_THAT(MetricsNow(), HasSubstr("records_total{type=\"other\"} 2\n"));
}

TEST_F(RecordStoreTest, AMetricKeepsItsValueAndFields) {
  Open();
  ASSERT_TRUE(store_->AddMetric(
      {.name = "m", .fields = {{"a", "1"}, {"b", "2"}}, .value = 2.5, .received_ms = 9}, &error_));
  ASSERT_TRUE(store_->AddMetric(
      {.name = "n", .fields = {}, .value = std::string("text"), .received_ms = 9}, &error_));
  EXPECT_THAT(Query("SELECT type, data, typeof(data) FROM records"),
              ElementsAre("m|2.5|real", "n|text|text"));
  EXPECT_THAT(Query("SELECT * FROM metric_fields"), ElementsAre("1|a|1", "1|b|2"));
}

TEST_F(RecordStoreTest, CountersContinueAfterARestartAndPruning) {
  ASSERT_TRUE(Add(kEventType, Batch(3)));
  store_.reset();
  ASSERT_TRUE(Add(kEventType, Batch(4)));
  const std::string sum =
      R"(client_events_total{interface="WLAN_5000MHZ",type="CONNECT",success="true",reason=""} 7)";
  EXPECT_THAT(MetricsNow(), HasSubstr(sum));
  PruneAll(/*oldest_ms=*/2);
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events"), "0");
  EXPECT_THAT(MetricsNow(), HasSubstr(sum));
}

TEST_F(RecordStoreTest, CountsOfErrorsContinueAfterARestart) {
  max_size_ = 1 << 20;
  EXPECT_FALSE(Add("type", std::string((1 << 20) + 1, 'x')));
  const std::string count = "errors_total{kind=\"too_large\"} 1\n";
  EXPECT_THAT(MetricsNow(), HasSubstr(count));
  store_.reset();
  Open();
  EXPECT_THAT(MetricsNow(), HasSubstr(count));
}

TEST_F(RecordStoreTest, ViewsAnswerQuestions) {
  ASSERT_TRUE(Add(kEventType, BytesOf(R"(
      interface: WLAN_5000MHZ
      client_event_info { client_shmac: 'A' event_type: CONNECT is_event_success: true
                          event_time_in_milliseconds: 1700000000500 average_rssi_in_dbm: -61 }
      client_event_info { client_shmac: 'A' event_type: DISCONNECT event_reason: NO_ACK
                          event_time_in_milliseconds: 1700000001000 rssi_in_dbm: -64 })")));
  EXPECT_EQ(QueryOne("SELECT * FROM joins"), "WLAN_5000MHZ|CONNECT|1|-|-|1|1");
  EXPECT_EQ(QueryOne("SELECT * FROM disconnects"), "WLAN_5000MHZ|NO_ACK|1|1");
  EXPECT_EQ(QueryOne("SELECT * FROM signal_distribution"), "WLAN_5000MHZ|-65|2");
  EXPECT_THAT(
      Query("SELECT time, event_type, signal_dbm FROM timeline WHERE client_shmac = 'A'"),
      ElementsAre("2023-11-14 22:13:20.500|CONNECT|-61", "2023-11-14 22:13:21.000|DISCONNECT|-64"));
}

TEST_F(RecordStoreTest, TheOldestRecordsAreDeletedAtTheMaximumSize) {
  max_size_ = 1 << 20;
  for (int i = 1; i <= 20; ++i) {
    ASSERT_TRUE(Add(kEventType, Batch(1000), i));
    PruneAll();
  }
  EXPECT_EQ(QueryOne("SELECT max(id) FROM records"), "20");
  EXPECT_GT(std::stoi(QueryOne("SELECT min(id) FROM records")), 10);
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events WHERE record_id NOT IN "
                     "(SELECT id FROM records)"),
            "0");
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events WHERE record_id = 20"), "1000");
  store_.reset();
  EXPECT_LE(std::filesystem::file_size(path_), 1U << 20);
}

TEST_F(RecordStoreTest, ASmallerSizeShrinksTheFile) {
  for (int i = 1; i <= 20; ++i) ASSERT_TRUE(Add(kEventType, Batch(1000)));
  store_.reset();
  EXPECT_GT(std::filesystem::file_size(path_), 2U << 20);
  max_size_ = 1 << 20;
  Open();
  PruneAll();
  store_.reset();
  EXPECT_LE(std::filesystem::file_size(path_), 1U << 20);
}

// The recorder always creates a database whose file can shrink, but a user may have changed it.
TEST_F(RecordStoreTest, AFileThatCannotShrinkIsNotTriedForever) {
  for (int i = 1; i <= 20; ++i) ASSERT_TRUE(Add(kEventType, Batch(1000)));
  store_.reset();
  SQLite::Database(path_.native(), SQLite::OPEN_READWRITE)
      .exec("PRAGMA auto_vacuum = NONE; VACUUM");
  max_size_ = 1 << 20;
  Open();
  for (int steps = 0; store_->Prune(/*oldest_ms=*/0); ++steps) ASSERT_LT(steps, 1000);
  EXPECT_TRUE(Add("type", "data", 2));
}

TEST_F(RecordStoreTest, ExpiredRecordsAreDeleted) {
  for (int i = 1; i <= 5; ++i) ASSERT_TRUE(Add("type", "data", i * 1000));
  PruneAll(/*oldest_ms=*/3000);
  EXPECT_THAT(Query("SELECT id FROM records"), ElementsAre("3", "4", "5"));
  PruneAll(/*oldest_ms=*/9000);
  ASSERT_TRUE(Add("type", "data", 9000));
  EXPECT_THAT(Query("SELECT id FROM records"), ElementsAre("6")) << "no number is used again";
}

TEST_F(RecordStoreTest, ARecordFromTheFutureDoesNotKeepExpiredOnes) {
  ASSERT_TRUE(Add("type", "before the clock was set back", 90'000));
  ASSERT_TRUE(Add("type", "after", 1000));
  ASSERT_TRUE(Add("type", "after", 5000));
  PruneAll(/*oldest_ms=*/3000);
  EXPECT_THAT(Query("SELECT received_ms FROM records ORDER BY id"), ElementsAre("90000", "5000"));
}

TEST_F(RecordStoreTest, ATooLargeRecordIsRefused) {
  max_size_ = 1 << 20;
  EXPECT_FALSE(Add("type", std::string((1 << 20) + 1, 'x')));
  EXPECT_EQ(error_->code(), "org.freedesktop.DBus.Error.LimitsExceeded");
}

TEST_F(RecordStoreTest, AnUnusablePathIsTriedAgain) {
  path_ = directory_.path() / "later/records.db";
  EXPECT_FALSE(Add("type", "data"));
  EXPECT_EQ(error_->code(), "org.freedesktop.DBus.Error.IOError");
  EXPECT_THAT(MetricsNow(), HasSubstr("errors_total{kind=\"storage_failed\"} 1\n"));
  std::filesystem::create_directory(path_.parent_path());
  EXPECT_TRUE(Add("type", "data"));
  EXPECT_THAT(MetricsNow(), HasSubstr("errors_total{kind=\"storage_failed\"} 1\n"));
}

std::vector<std::string> FilesIn(const FilePath& directory, const std::string& prefix) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string name = entry.path().filename();
    if (name.starts_with(prefix)) names.push_back(name);
  }
  return names;
}

TEST_F(RecordStoreTest, ADamagedDatabaseIsRenamedAndReplaced) {
  testbed::WriteFile(path_, std::string(8192, 'x'));
  EXPECT_TRUE(Add("type", "data"));
  EXPECT_EQ(QueryOne("SELECT count(*) FROM records"), "1");
  const auto aside = FilesIn(directory_.path(), "records.db.damaged-20");
  ASSERT_THAT(aside, SizeIs(1));
  EXPECT_EQ(std::filesystem::file_size(directory_.path() / aside.front()), 8192U);
  EXPECT_THAT(log_.Lines(platform::Severity::kError),
              ElementsAre(HasSubstr("The database is damaged and is renamed: ")));
  EXPECT_THAT(MetricsNow(), HasSubstr("errors_total{kind=\"database_damaged\"} 1\n"));
}

TEST_F(RecordStoreTest, ADamagedPageIsDetectedAndTheRecordStored) {
  for (int i = 1; i <= 5; ++i) ASSERT_TRUE(Add(kEventType, Batch(1000)));
  store_.reset();
  // Overwrites all pages except the first, which has the schema.
  std::string bytes = *platform::ReadFileToString(path_);
  std::fill(bytes.begin() + 4096, bytes.end(), '\x55');
  testbed::WriteFile(path_, bytes);
  EXPECT_TRUE(Add("type", "data"));
  EXPECT_THAT(Query("SELECT id FROM records"), ElementsAre("1"));
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.damaged-20"), SizeIs(1));
}

TEST_F(RecordStoreTest, OnlyTheLastDamagedDatabasesAreKept) {
  for (const char* time : {"19700101T000001Z", "19700101T000002Z", "19700101T000003Z"}) {
    testbed::WriteFile(path_.native() + ".damaged-" + time, "");
    testbed::WriteFile(path_.native() + ".damaged-" + time + "-wal", "");
  }
  testbed::WriteFile(path_, std::string(8192, 'x'));
  EXPECT_TRUE(Add("type", "data"));
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.damaged-19700101T000001Z"), IsEmpty());
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.damaged-1970"), SizeIs(4));
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.damaged-20"), SizeIs(1));
  EXPECT_THAT(log_.Lines(platform::Severity::kWarning),
              AllOf(SizeIs(2), Each(ContainsRegex("Deleted .*damaged-19700101T000001Z"))));
}

TEST_F(RecordStoreTest, ADamagedDatabaseIsKeptIfTheClockIsBehind) {
  for (const char* time : {"29991231T000001Z", "29991231T000002Z", "29991231T000003Z"}) {
    testbed::WriteFile(path_.native() + ".damaged-" + time, "");
  }
  testbed::WriteFile(path_, std::string(8192, 'x'));
  EXPECT_TRUE(Add("type", "data"));
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.damaged-2999"), SizeIs(2));
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.damaged-20"), SizeIs(1));
}

TEST_F(RecordStoreTest, ADeletedDatabaseIsReplaced) {
  ASSERT_TRUE(Add("type", "data"));
  std::filesystem::remove(path_);
  ASSERT_TRUE(Add("type", "more"));
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("more"));
  EXPECT_THAT(log_.Lines(platform::Severity::kWarning),
              ElementsAre(HasSubstr("was renamed or deleted")));
}

TEST_F(RecordStoreTest, ARenamedDatabaseKeepsItsRecords) {
  ASSERT_TRUE(Add("type", "data"));
  const FilePath renamed = directory_.path() / "renamed.db";
  std::filesystem::rename(path_, renamed);
  ASSERT_TRUE(Add("type", "more"));
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("more"));
  path_ = renamed;
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("data"));
}

TEST_F(RecordStoreTest, ARenamedDatabaseKeepsItsRecordsAtTheEnd) {
  ASSERT_TRUE(Add("type", "data"));
  const FilePath original = std::exchange(path_, directory_.path() / "renamed.db");
  std::filesystem::rename(original, path_);
  store_.reset();
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("data"));
  EXPECT_FALSE(std::filesystem::exists(original.native() + "-wal"));
}

// The reader keeps the write-ahead log from being copied into the renamed file.
TEST_F(RecordStoreTest, TheLogOfARenamedDatabaseInUseIsKept) {
  ASSERT_TRUE(Add("type", "data"));
  SQLite::Database reader(path_.native());
  SQLite::Statement open_read(reader, "SELECT * FROM records");
  open_read.executeStep();
  ASSERT_TRUE(Add("type", "more"));
  const FilePath renamed = directory_.path() / "renamed.db";
  std::filesystem::rename(path_, renamed);
  for (const char* second : {"1", "2", "3"}) {
    testbed::WriteFile(fmt::format("{}.moved-19700101T00000{}Z-wal", path_.native(), second), "");
  }
  // The operator's own copy.
  testbed::WriteFile(path_.native() + ".moved-1969", "");
  ASSERT_TRUE(Add("type", "new"));
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("new"));

  open_read.reset();
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.moved-1969"), SizeIs(1));
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.moved-1970"),
              ElementsAre(HasSubstr("T000002Z-wal"), HasSubstr("T000003Z-wal")));
  EXPECT_THAT(log_.Lines(platform::Severity::kWarning),
              Contains(ContainsRegex("Deleted .*moved-19700101T000001Z-wal: the last 3 are kept")));
  const auto logs = FilesIn(directory_.path(), "records.db.moved-20");
  ASSERT_THAT(logs, ElementsAre(EndsWith("Z-wal")));
  std::filesystem::rename(directory_.path() / logs.front(), renamed.native() + "-wal");
  path_ = renamed;
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("data", "more"));
}

// Two databases must not share an index of the write-ahead log.
TEST_F(RecordStoreTest, ADatabaseInUseMayBeRenamedWithItsLog) {
  ASSERT_TRUE(Add("type", "data"));
  SQLite::Database reader(path_.native());
  SQLite::Statement open_read(reader, "SELECT * FROM records");
  open_read.executeStep();
  const FilePath renamed = directory_.path() / "renamed.db";
  const FilePath old_index = directory_.path() / "old-index";
  std::filesystem::rename(path_, renamed);
  std::filesystem::rename(path_.native() + "-wal", renamed.native() + "-wal");
  std::filesystem::create_hard_link(path_.native() + "-shm", old_index);
  ASSERT_TRUE(Add("type", "new"));
  EXPECT_FALSE(std::filesystem::equivalent(path_.native() + "-shm", old_index));
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("new"));
}

// The write-ahead log of the first database is found under the name of the second.
TEST_F(RecordStoreTest, ADatabaseMayBeReplacedByAnother) {
  const FilePath original = path_;
  path_ = directory_.path() / "other.db";
  ASSERT_TRUE(Add("type", "other"));
  store_.reset();
  path_ = original;
  ASSERT_TRUE(Add("type", "data"));
  std::filesystem::rename(directory_.path() / "other.db", path_);
  ASSERT_TRUE(Add("type", "more"));
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("other", "more"));
  EXPECT_EQ(QueryOne("PRAGMA integrity_check"), "ok");
}

TEST_F(RecordStoreTest, TheDirectoryMayBeReplacedByAnother) {
  const FilePath data = directory_.path() / "data";
  const FilePath other = directory_.path() / "other";
  std::filesystem::create_directory(data);
  path_ = data / "records.db";
  ASSERT_TRUE(Add("type", "other"));
  // As after a power cut: the record is only in the log.
  std::filesystem::copy(data, other);
  store_.reset();
  std::filesystem::remove(path_);

  ASSERT_TRUE(Add("type", "data"));
  std::filesystem::rename(data, directory_.path() / "old");
  std::filesystem::rename(other, data);
  ASSERT_TRUE(Add("type", "more"));
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("other", "more"));
  path_ = directory_.path() / "old/records.db";
  EXPECT_THAT(Query("SELECT data FROM records"), ElementsAre("data"));
}

TEST_F(RecordStoreTest, ADatabaseOfAnotherProgramIsNotChanged) {
  {
    SQLite::Database other(path_.native(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    other.exec("CREATE TABLE t (a)");
  }
  const std::optional<std::string> content = platform::ReadFileToString(path_);
  EXPECT_FALSE(Add("type", "data"));
  EXPECT_THAT(error_->message(), HasSubstr("belongs to another program"));
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.damaged-"), IsEmpty());
  EXPECT_EQ(platform::ReadFileToString(path_), content);
}

// The database is checked for damage, because its writer did not close it.
TEST_F(RecordStoreTest, ADamagedDatabaseOfAnotherProgramIsNotRenamed) {
  {
    SQLite::Database other(path_.native(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    other.exec("PRAGMA application_id = 1; CREATE TABLE t (a); INSERT INTO t VALUES (1)");
  }
  constexpr std::streamoff kSecondPage = 4096;
  std::fstream(path_.native(), std::ios::in | std::ios::out).seekp(kSecondPage)
      << std::string(100, 'x');
  std::ofstream(path_.native() + "-wal") << "x";
  ASSERT_FALSE(Add("type", "data"));
  EXPECT_THAT(error_->message(), HasSubstr("belongs to another program"));
  EXPECT_THAT(FilesIn(directory_.path(), "records.db.damaged-"), IsEmpty());
}

TEST_F(RecordStoreTest, AnUnknownVersionIsNotChanged) {
  ASSERT_TRUE(Add("type", "data"));
  store_.reset();
  for (const int version : {99, 0, -1}) {
    SQLite::Database(path_.native(), SQLite::OPEN_READWRITE)
        .exec(fmt::format("PRAGMA user_version = {}", version));
    const std::optional<std::string> content = platform::ReadFileToString(path_);
    EXPECT_FALSE(Add("type", "data"));
    EXPECT_THAT(error_->message(),
                HasSubstr(fmt::format("the database has the unknown version {}", version)));
    EXPECT_THAT(FilesIn(directory_.path(), "records.db.damaged-"), IsEmpty());
    EXPECT_EQ(platform::ReadFileToString(path_), content);
  }
}

TEST_F(RecordStoreTest, AMissingColumnIsAdded) {
  ASSERT_TRUE(Add(kEventType, Batch(1)));
  store_.reset();
  SQLite::Database(path_.native(), SQLite::OPEN_READWRITE)
      .exec("ALTER TABLE client_events DROP COLUMN first_time_seen");
  ASSERT_TRUE(Add(kEventType, BytesOf("client_event_info { first_time_seen: true }")));
  EXPECT_THAT(Query("SELECT first_time_seen FROM client_events"), ElementsAre("-", "1"));
}

// A reader in the middle of a query keeps the log from being emptied.
TEST_F(RecordStoreTest, AReaderCannotLetTheLogGrowWithoutBound) {
  max_size_ = 1 << 20;
  ASSERT_TRUE(Add(kEventType, Batch(1000)));
  SQLite::Database reader(path_.native());
  SQLite::Statement rows(reader, "SELECT * FROM client_events");
  ASSERT_TRUE(rows.executeStep());
  const std::string batch = Batch(10'000);
  int accepted = 0;
  while (accepted < 100 && Add(kEventType, batch)) ++accepted;
  ASSERT_LT(accepted, 100);
  EXPECT_EQ(error_->code(), "org.freedesktop.DBus.Error.LimitsExceeded");
  EXPECT_LT(std::filesystem::file_size(path_.native() + "-wal"), 30U << 20);
  rows.reset();
  EXPECT_TRUE(Add(kEventType, batch));
}

TEST_F(RecordStoreTest, AnotherProcessMayRead) {
  ASSERT_TRUE(Add(kEventType, Batch(1)));
  SQLite::Database reader(path_.native());
  SQLite::Statement rows(reader, "SELECT * FROM client_events");
  ASSERT_TRUE(rows.executeStep());
  EXPECT_TRUE(Add(kEventType, Batch(1)));
  store_->Checkpoint();
  EXPECT_EQ(QueryOne("SELECT count(*) FROM client_events"), "2");
}

}  // namespace
}  // namespace orvane::recorder
