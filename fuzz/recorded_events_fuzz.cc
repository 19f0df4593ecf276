// Rows of the recorder's database with any values in any column, read like `events` and `report`
// do.

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

#include "fuzz/fuzz_target.h"
#include "platform/logging.h"
#include "recorder/schema.h"
#include "wavelarkctl/events/recorded_event.h"
#include "wavelarkctl/report/report_data.h"
#include "wavelarkctl/report/report_events.h"

namespace orvane {
namespace {

using nlohmann::json;

constexpr std::int64_t kSince = 1'000'000;
constexpr std::int64_t kUntil = 2'000'000;
constexpr int kMostRows = 64;

// A temporary directory for the database.
class DatabaseDirectory {
 public:
  DatabaseDirectory() : path_(mkdtemp(name_.data())) {}
  DatabaseDirectory(const DatabaseDirectory&) = delete;
  DatabaseDirectory& operator=(const DatabaseDirectory&) = delete;
  ~DatabaseDirectory() { std::filesystem::remove_all(path_); }
  std::filesystem::path database() const { return path_ / "records.db"; }

 private:
  std::string name_ = "/tmp/fuzz-XXXXXX";
  std::filesystem::path path_;
};

SQLite::Database& Database() {
  static const DatabaseDirectory directory;
  static SQLite::Database database = [] {
    SQLite::Database made = recorder::OpenDatabase({.path = directory.database()});
    made.exec("PRAGMA synchronous = OFF");
    return made;
  }();
  return database;
}

// Valid names, so that the fuzzer need not find them.
const std::string& NameOf(std::uint8_t number) {
  static const auto kNames =
      std::to_array<std::string>({"AUTHENTICATE", "ASSOCIATE", "CONNECT", "DISCONNECT", "STEER",
                                  "NO_ACK", "DISCONNECT_STEER_CLIENT", "DISCONNECT_INACTIVITY",
                                  "WLAN_2400MHZ", "WLAN_5000MHZ", "A", "B", "</script>"});
  return kNames[number % kNames.size()];
}

void BindValue(fuzz::Input* input, int index, SQLite::Statement* insert) {
  switch (input->TakeByte() % 7) {
    case 0:
      return insert->bind(index);
    case 1:
      return insert->bind(index, static_cast<std::int8_t>(input->TakeByte()));
    case 2:
      return insert->bind(index, kSince - 70'000 + std::int64_t{input->TakeU16()} * 20);
    case 3:
      return insert->bind(index, std::int64_t{input->TakeU16()} << 48);
    case 4:
      return insert->bind(index, std::string(input->TakeText()));
    case 5:
      return insert->bind(index, NameOf(input->TakeByte()));
    default: {
      const std::string_view bytes = input->TakeText();
      return insert->bind(index, bytes.data(), static_cast<int>(bytes.size()));
    }
  }
}

// Inserts rows with some columns set. The input selects each column by number.
void InsertRows(fuzz::Input* input, SQLite::Database& database) {
  const auto& table = recorder::ClientEventsTable();
  SQLite::Statement insert(database, table.Insert());
  for (int row = 0; row < kMostRows && !input->IsEmpty(); ++row) {
    insert.clearBindings();
    insert.bind(1, 1);
    for (int count = input->TakeByte() % 16; count > 0; --count) {
      BindValue(input, 2 + input->TakeByte() % static_cast<int>(table.columns().size() + 1),
                &insert);
    }
    insert.exec();
    insert.reset();
  }
}

void ReadEvents(SQLite::Database& database) {
  wavelarkctl::EventReader reader(database, {});
  for (const auto& event : reader.ReadSome()) {
    const std::string text = EventText(event, /*has_colour=*/false);
    CHECK(std::ranges::all_of(text, [](char byte) { return byte >= ' ' && byte < 0x7f; }));
    const std::string line = EventJson(event);
    CHECK(line.find('\n') == std::string::npos);
    CHECK(json::parse(line).contains("time"));
  }
}

void ReadReport(SQLite::Database& database) {
  const wavelarkctl::ReportScope scope = {.since_ms = kSince,
                                          .until_ms = kUntil,
                                          .steps = {kSince, kSince + 400'000},
                                          .time_limit_ms = 2000,
                                          .signal_limit_dbm = -70};
  const json data = ReportData(ReadReportEvents(database, scope), {95, 90, 90, 70, 90});
  for (const json& level : data["levels"]) {
    CHECK(level["good"] <= level["all"]);
    std::int64_t all = 0;
    for (const json& step : level["trend"]) all += step[1].get<std::int64_t>();
    CHECK(level["all"] == all);
    std::int64_t bad = 0;
    for (const json& cause : level["causes"]) bad += cause[1].get<std::int64_t>();
    CHECK(level["all"].get<std::int64_t>() - level["good"].get<std::int64_t>() == bad);
  }
  for (const json& line : data["timelines"]) {
    for (const json& visit : line["visits"]) CHECK(visit[0] <= visit[1]);
  }
  // The result must be valid JSON, whatever the texts are.
  const std::string text = data.dump(-1, ' ', false, json::error_handler_t::replace);
  CHECK(json::accept(text));
}

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  fuzz::Input input(bytes);
  SQLite::Database& database = Database();
  database.exec("BEGIN; INSERT INTO records (id, received_ms, type) VALUES (1, 1500000, 'x')");
  InsertRows(&input, database);
  ReadEvents(database);
  ReadReport(database);
  database.exec("ROLLBACK");
}

}  // namespace orvane
