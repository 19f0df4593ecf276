#include "recorder/schema.h"

#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/logging.h"
#include "proto/event.pb.h"

namespace orvane::recorder {
namespace {

// The length of the time in a name of AsideName.
constexpr std::size_t kTimeLength = std::string_view("YYYYMMDDTHHMMSSZ").size();

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::ClientProbeRequestInfo;

// How long to wait for another writer.
constexpr int kBusyTimeoutMs = 2000;

// SQL that updates a database from each version to the next; the first one creates it. Tables
// derived from messages are created before.
constexpr std::array<const char*, kSchemaVersion> kMigrations = {R"(
  CREATE TABLE records (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    received_ms INTEGER NOT NULL,
    type TEXT NOT NULL,
    data);
  CREATE TABLE metric_fields (
    record_id INTEGER NOT NULL REFERENCES records (id),
    key TEXT NOT NULL,
    value TEXT NOT NULL);
  CREATE TABLE counters (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL,
    labels TEXT NOT NULL,
    value INTEGER NOT NULL,
    UNIQUE (name, labels));
  CREATE INDEX client_events_record ON client_events (record_id);
  CREATE INDEX probe_reports_record ON probe_reports (record_id);
  CREATE INDEX metric_fields_record ON metric_fields (record_id);

  CREATE VIEW joins AS
    SELECT interface, event_type, is_event_success, event_reason, frame_status_code,
           count(*) AS events, count(DISTINCT client_shmac) AS clients
    FROM client_events
    WHERE event_type IN ('AUTHENTICATE', 'ASSOCIATE', 'CONNECT')
    GROUP BY interface, event_type, is_event_success, event_reason, frame_status_code;
  CREATE VIEW disconnects AS
    SELECT interface, event_reason, count(*) AS events, count(DISTINCT client_shmac) AS clients
    FROM client_events
    WHERE event_type = 'DISCONNECT'
    GROUP BY interface, event_reason;
  CREATE VIEW event_signals AS
    SELECT rowid AS event_rowid, interface,
           coalesce(average_rssi_in_dbm, rssi_in_dbm, event_frame_rssi_in_dbm) AS signal_dbm
    FROM client_events
    WHERE signal_dbm IS NOT NULL;
  CREATE VIEW signal_distribution AS
    SELECT interface, 5 * CAST(floor(signal_dbm / 5.0) AS INTEGER) AS from_dbm, count(*) AS events
    FROM event_signals
    GROUP BY interface, from_dbm;
  CREATE VIEW timeline AS
    SELECT client_shmac,
           strftime('%Y-%m-%d %H:%M:%f', event_time_in_milliseconds / 1000.0, 'unixepoch') AS time,
           client_events.interface AS interface, event_type, is_event_success, event_reason,
           steering_reason, signal_dbm, data_rate_bitrate_kbps
    FROM client_events LEFT JOIN event_signals ON event_rowid = client_events.rowid
    ORDER BY client_shmac, event_time_in_milliseconds;
)"};

[[noreturn]] void Refuse(const std::string& reason) {
  throw SQLite::Exception(reason, SQLITE_MISMATCH);
}

int Number(SQLite::Database& database, const char* query) {
  return database.execAndGet(query).getInt();
}

// If the last writer was killed, the write-ahead log stays behind with contents.
bool WasClosed(const platform::FilePath& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path.native() + kLogSuffix, error);
  return error || size == 0;
}

void Check(SQLite::Database& database) {
  const std::string verdict = database.execAndGet("PRAGMA quick_check(1)").getString();
  if (verdict != "ok") throw SQLite::Exception(verdict, SQLITE_CORRUPT);
}

void Configure(SQLite::Database& database, bool is_synchronous_full) {
  // Takes effect only before the first table is created.
  database.exec("PRAGMA auto_vacuum = INCREMENTAL");
  const std::string mode = database.execAndGet("PRAGMA journal_mode = WAL").getString();
  if (mode != "wal") throw SQLite::Exception("no write-ahead log: " + mode, SQLITE_CANTOPEN);
  database.exec(is_synchronous_full ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
  // A checkpoint takes too long to run before a reply.
  database.execAndGet("PRAGMA wal_autocheckpoint = 0");
  database.execAndGet(fmt::format("PRAGMA journal_size_limit = {}", 4 << 20));
  database.exec("PRAGMA cache_size = -1024");  // KiB
  database.exec("PRAGMA temp_store = MEMORY");
}

void CompleteTable(SQLite::Database& database, const MessageTable& table) {
  if (!database.tableExists(table.name())) {
    database.exec(table.Create());
    return;
  }
  std::set<std::string> names;
  SQLite::Statement columns(database, "SELECT name FROM pragma_table_info(?)");
  columns.bind(1, table.name());
  while (columns.executeStep()) names.insert(columns.getColumn(0).getString());
  for (const MessageTable::Column& column : table.columns()) {
    if (!names.contains(column.name)) database.exec(table.AddColumn(column));
  }
}

// Returns the version of the schema, 0 if the database is empty. Throws, without a change to the
// file, if this program can't use the database.
int UsableVersion(SQLite::Database& database) {
  const int version = Number(database, "PRAGMA user_version");
  if (version == 0 && Number(database, "SELECT count(*) FROM sqlite_schema") == 0) return version;
  if (Number(database, "PRAGMA application_id") != kApplicationId) {
    Refuse("the database belongs to another program");
  }
  if (version < 1 || version > kSchemaVersion) {
    Refuse(fmt::format("the database has the unknown version {}", version));
  }
  return version;
}

void Migrate(SQLite::Database& database, int version) {
  SQLite::Transaction transaction(database);
  CompleteTable(database, ClientEventsTable());
  CompleteTable(database, ProbeReportsTable());
  for (int next = version; next < kSchemaVersion; ++next) {
    database.exec(kMigrations[static_cast<std::size_t>(next)]);
  }
  // Records are not in the order of their times if the clock was set back.
  database.exec("CREATE INDEX IF NOT EXISTS records_received ON records (received_ms)");
  database.exec(fmt::format("PRAGMA application_id = {}", kApplicationId));
  database.exec(fmt::format("PRAGMA user_version = {}", kSchemaVersion));
  transaction.commit();
}

}  // namespace

const MessageTable& ClientEventsTable() {
  static const auto& table = *new MessageTable("client_events", *ClientEventInfo::descriptor());
  return table;
}

const MessageTable& ProbeReportsTable() {
  static const auto& table =
      *new MessageTable("probe_reports", *ClientProbeRequestInfo::descriptor());
  return table;
}

std::string AsideName(const std::string& path, std::string_view suffix) {
  return fmt::format("{}{}{:%Y%m%dT%H%M%SZ}", path, suffix, fmt::gmtime(std::time(nullptr)));
}

void DeleteOldAside(const std::string& path, std::string_view suffix, const std::string& newest) {
  // Without exceptions, since a destructor calls this.
  std::error_code error;
  const std::filesystem::path prefix = std::filesystem::absolute(path + std::string(suffix), error);
  std::map<std::string, std::vector<std::filesystem::path>> files;  // by name without kLogSuffix
  std::filesystem::directory_iterator entry(prefix.parent_path(), error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    std::string name = entry->path().filename();
    if (!name.starts_with(prefix.filename().native())) continue;
    if (name.ends_with(kLogSuffix)) name.resize(name.size() - std::strlen(kLogSuffix));
    if (name.size() != prefix.filename().native().size() + kTimeLength) continue;
    files[name].push_back(entry->path());
  }
  const std::size_t kept =
      kKeptAside - files.erase(std::filesystem::path(newest).filename().native());
  for (; files.size() > kept; files.erase(files.begin())) {
    for (const auto& file : files.begin()->second) {
      if (!std::filesystem::remove(file, error)) continue;
      LOG(WARNING) << "Deleted " << file.native() << ": the last " << kKeptAside << " are kept";
    }
  }
}

SQLite::Database OpenDatabase(const DatabaseOptions& options) {
  const bool was_closed = WasClosed(options.path);
  SQLite::Database database(options.path.native(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE,
                            kBusyTimeoutMs);
  const int version = UsableVersion(database);
  if (!was_closed) Check(database);
  // The journal mode is stored in the file.
  Configure(database, options.is_synchronous_full);
  Migrate(database, version);
  return database;
}

}  // namespace orvane::recorder
