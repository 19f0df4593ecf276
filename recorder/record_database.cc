#include "recorder/record_database.h"

#include <SQLiteCpp/Transaction.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <variant>

#include "platform/logging.h"
#include "proto/event.pb.h"

namespace orvane::recorder {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::ClientProbeRequestInfo;
using access_infrastructure::proto::Event;
using google::protobuf::FieldDescriptor;

// Values of the label "type" for records that are not an Event.
constexpr std::string_view kMetricType = "metric";
constexpr std::string_view kOtherType = "other";

constexpr char kMovedSuffix[] = ".moved-";

// Number of free pages that one step returns to the file system.
constexpr int kPagesPerStep = 256;

// The tables whose rows belong to a record, by record_id.
constexpr std::array<const char*, 3> kRowTables = {"client_events", "probe_reports",
                                                   "metric_fields"};

const std::string& EventTypeName() { return Event::descriptor()->full_name(); }

// Accepts the full name of the message, alone or after the last "/" of a type URL.
bool IsEventType(std::string_view type) {
  const std::string_view name = EventTypeName();
  return type == name || (type.ends_with(name) && type[type.size() - name.size() - 1] == '/');
}

// Runs a bound statement and resets it.
void Run(SQLite::Statement& statement) {
  statement.exec();
  statement.reset();
}

// Returns the first column of the first row, and resets the statement.
std::optional<std::int64_t> ReadNumber(SQLite::Statement& query) {
  std::optional<std::int64_t> number;
  if (query.executeStep()) number = query.getColumn(0).getInt64();
  query.reset();
  return number;
}

// Renames the log of a moved database that is incomplete due to `problem`.
void SetLogAside(const std::string& path, const std::string& problem) {
  const std::string log = path + kLogSuffix;
  const std::string aside = AsideName(path, kMovedSuffix);
  std::error_code error;
  std::filesystem::rename(log, aside + kLogSuffix, error);
  if (!error) {
    LOG(WARNING) << "The renamed database cannot be completed: " << problem
                 << ". Its last records are in " << aside << kLogSuffix;
    DeleteOldAside(path, kMovedSuffix, aside);
  } else if (error != std::errc::no_such_file_or_directory) {
    LOG(ERROR) << "Failed to rename " << log << ": " << error.message();
  }
}

// Returns whether the rows of an Event contain all of its header.
bool IsInRows(const Event& header) {
  if (HasMoreThanColumns(header)) return false;
  std::vector<const FieldDescriptor*> fields;
  header.GetReflection()->ListFields(header, &fields);
  return std::ranges::all_of(fields, [](const FieldDescriptor* field) {
    return field->number() == Event::kInterfaceFieldNumber;
  });
}

void BindValue(const platform::bus::Any& value, int index, SQLite::Statement* statement) {
  std::visit(
      [&](const auto& held) {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, std::string>) {
          statement->bindNoCopy(index, held);
        } else if constexpr (std::is_same_v<T, double>) {
          statement->bind(index, held);
        } else {
          statement->bind(index, static_cast<std::int64_t>(held));
        }
      },
      value);
}

}  // namespace

RecordDatabase::RecordDatabase(const DatabaseOptions& options)
    : max_size_(options.max_size),
      database_(OpenDatabase(options)),
      page_size_(database_.execAndGet("PRAGMA page_size").getInt64()),
      log_id_(LogId()),
      add_client_event_(database_, ClientEventsTable().Insert()),
      add_probe_report_(database_, ProbeReportsTable().Insert()),
      add_record_(database_, "INSERT INTO records (received_ms, type) VALUES (?, ?)"),
      set_data_(database_, "UPDATE records SET data = ? WHERE id = ?"),
      add_field_(database_, "INSERT INTO metric_fields (record_id, key, value) VALUES (?, ?, ?)"),
      add_count_(database_,
                 "INSERT INTO counters (name, labels, value) VALUES (?, ?, ?) "
                 "ON CONFLICT DO UPDATE SET value = value + excluded.value"),
      pages_(database_,
             "SELECT page_count, freelist_count FROM pragma_page_count, pragma_freelist_count"),
      expired_(database_,
               "SELECT id FROM records WHERE received_ms < ? ORDER BY received_ms LIMIT 1"),
      first_(database_, "SELECT id FROM records ORDER BY id LIMIT 1") {
  sqlite3_wal_hook(database_.getHandle(), &OnCommit, this);
}

RecordDatabase::~RecordDatabase() {
  if (!WasMoved()) return;
  sqlite3* const handle = database_.getHandle();
  const std::string path = sqlite3_db_filename(handle, "main");
  // Waits for readers, unlike a passive checkpoint.
  const bool is_complete = sqlite3_wal_checkpoint_v2(handle, nullptr, SQLITE_CHECKPOINT_FULL,
                                                     nullptr, nullptr) == SQLITE_OK;
  const FileId log = LogId();
  if (log != log_id_ && log != FileId()) return;
  std::error_code ignored;
  if (is_complete) {
    std::filesystem::remove(path + kLogSuffix, ignored);
  } else {
    SetLogAside(path, sqlite3_errmsg(handle));
  }
  std::filesystem::remove(path + "-shm", ignored);
}

RecordDatabase::FileId RecordDatabase::LogId() const {
  const std::string path = sqlite3_db_filename(database_.getHandle(), "main");
  struct stat status = {};
  if (stat((path + kLogSuffix).c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino};
}

int RecordDatabase::OnCommit(void* self, sqlite3* /*database*/, const char* /*name*/, int pages) {
  auto* database = static_cast<RecordDatabase*>(self);
  database->log_size_ = pages * database->page_size_;
  return SQLITE_OK;
}

std::int64_t RecordDatabase::AddData(const DataRecord& record, Tally tally) {
  const bool is_event = IsEventType(record.type);
  tally.AddRecord(is_event ? EventTypeName() : kOtherType, record.data.size());
  if (is_event) {
    if (const auto parts = SplitEvent(record.data)) {
      if (const auto rows = AddEvent(record, *parts, tally)) return *rows;
    }
    tally.AddError(kNotAnEvent);
  }
  SQLite::Transaction transaction(database_);
  SetData(AddRecord(record.type, record.received_ms), record.data);
  AddTally(tally);
  transaction.commit();
  return 1;
}

std::optional<std::int64_t> RecordDatabase::AddEvent(const DataRecord& record,
                                                     const EventParts& parts, Tally tally) {
  const Event& header = parts.header;
  const std::string& name = access_infrastructure::proto::WifiInterface_Name(header.interface());
  const std::string* interface = header.has_interface() ? &name : nullptr;
  const auto rows =
      static_cast<std::int64_t>(parts.client_events.size() + parts.probe_reports.size());
  bool is_more = rows == 0 || !IsInRows(header);

  SQLite::Transaction transaction(database_);
  const std::int64_t id = AddRecord(record.type, record.received_ms);
  if (!AddEntries<ClientEventInfo>(parts.client_events, id, interface, ClientEventsTable(),
                                   &add_client_event_, &tally, &is_more) ||
      !AddEntries<ClientProbeRequestInfo>(parts.probe_reports, id, interface, ProbeReportsTable(),
                                          &add_probe_report_, &tally, &is_more)) {
    return std::nullopt;
  }
  // Fields without a column would be lost, so the whole message is stored, too.
  if (is_more) SetData(id, record.data);
  AddTally(tally);
  transaction.commit();
  return rows + 1;
}

template <typename Entry>
bool RecordDatabase::AddEntries(const std::vector<Bytes>& entries, std::int64_t record_id,
                                const std::string* interface, const MessageTable& table,
                                SQLite::Statement* insert, Tally* tally, bool* is_more) {
  Entry entry;
  for (const Bytes bytes : entries) {
    if (!entry.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) return false;
    table.Bind(record_id, interface, entry, insert);
    Run(*insert);
    tally->AddEntry(interface == nullptr ? "" : *interface, entry);
    *is_more = *is_more || HasMoreThanColumns(entry);
  }
  return true;
}

std::int64_t RecordDatabase::AddMetric(const MetricRecord& record, Tally tally) {
  tally.AddRecord(kMetricType, 0);
  SQLite::Transaction transaction(database_);
  const std::int64_t id = AddRecord(record.name, record.received_ms);
  BindValue(record.value, 1, &set_data_);
  set_data_.bind(2, id);
  Run(set_data_);
  for (const auto& [key, value] : record.fields) {
    add_field_.bind(1, id);
    add_field_.bindNoCopy(2, key);
    add_field_.bindNoCopy(3, value);
    Run(add_field_);
  }
  AddTally(tally);
  transaction.commit();
  return static_cast<std::int64_t>(record.fields.size()) + 1;
}

void RecordDatabase::AddCounts(const Tally& tally) {
  SQLite::Transaction transaction(database_);
  AddTally(tally);
  transaction.commit();
}

std::int64_t RecordDatabase::AddRecord(const std::string& type, std::int64_t received_ms) {
  add_record_.bind(1, received_ms);
  add_record_.bindNoCopy(2, type);
  Run(add_record_);
  return database_.getLastInsertRowid();
}

void RecordDatabase::SetData(std::int64_t record_id, Bytes data) {
  // A null pointer would store NULL instead of an empty value.
  const void* bytes = data.empty() ? "" : static_cast<const void*>(data.data());
  set_data_.bindNoCopy(1, bytes, static_cast<int>(data.size()));
  set_data_.bind(2, record_id);
  Run(set_data_);
}

void RecordDatabase::AddTally(const Tally& tally) {
  for (const auto& [key, count] : tally.Counts()) {
    add_count_.bindNoCopy(1, key.first);
    add_count_.bindNoCopy(2, key.second);
    add_count_.bind(3, count);
    Run(add_count_);
  }
}

bool RecordDatabase::Prune(std::int64_t oldest_ms, std::int64_t rows) {
  return DeleteOldest(oldest_ms, rows) || Shrink();
}

RecordDatabase::Sizes RecordDatabase::CountPages() {
  pages_.executeStep();
  const Sizes sizes = {.file = pages_.getColumn(0).getInt64() * page_size_,
                       .free = pages_.getColumn(1).getInt64() * page_size_};
  pages_.reset();
  return sizes;
}

std::optional<std::int64_t> RecordDatabase::RecordToDelete(std::int64_t oldest_ms) {
  expired_.bind(1, oldest_ms);
  const std::optional<std::int64_t> expired = ReadNumber(expired_);
  const Sizes sizes = CountPages();
  if (expired || sizes.file - sizes.free <= max_size_) return expired;
  return ReadNumber(first_);
}

bool RecordDatabase::DeleteOldest(std::int64_t oldest_ms, std::int64_t rows) {
  const std::optional<std::int64_t> id = RecordToDelete(oldest_ms);
  if (!id) return false;
  SQLite::Transaction transaction(database_);
  for (const char* table : kRowTables) {
    rows -=
        database_.exec(fmt::format("DELETE FROM {0} WHERE rowid IN (SELECT rowid FROM {0} "
                                   "WHERE record_id = {1} LIMIT {2})",
                                   table, *id, std::max<std::int64_t>(rows, 0)));
  }
  if (rows > 0) database_.exec(fmt::format("DELETE FROM records WHERE id = {}", *id));
  transaction.commit();
  return true;
}

// Free pages stay in the file for later records, unless the file exceeds max_size_.
bool RecordDatabase::Shrink() {
  const Sizes before = CountPages();
  if (before.file <= max_size_ || before.free == 0) return false;
  database_.exec(fmt::format("PRAGMA incremental_vacuum({})", kPagesPerStep));
  // It has no effect if a user has switched auto_vacuum off.
  return CountPages().file < before.file;
}

void RecordDatabase::Checkpoint() {
  SQLite::Statement checkpoint(database_, "PRAGMA wal_checkpoint(PASSIVE)");
  checkpoint.executeStep();
  // The columns are: busy, pages in the log, pages copied from it.
  log_size_ =
      (checkpoint.getColumn(1).getInt64() - checkpoint.getColumn(2).getInt64()) * page_size_;
}

bool RecordDatabase::WasMoved() const {
  int was_moved = 0;
  sqlite3_file_control(database_.getHandle(), "main", SQLITE_FCNTL_HAS_MOVED, &was_moved);
  return was_moved != 0;
}

Metrics RecordDatabase::ReadMetrics() {
  Metrics metrics;
  SQLite::Statement counts(database_, "SELECT name, labels, value FROM counters ORDER BY id");
  while (counts.executeStep()) {
    metrics.counts.push_back({{counts.getColumn(0).getString(), counts.getColumn(1).getString()},
                              counts.getColumn(2).getInt64()});
  }
  SQLite::Statement last(database_, "SELECT received_ms FROM records ORDER BY id DESC LIMIT 1");
  if (last.executeStep()) metrics.last_record_ms = last.getColumn(0).getInt64();
  return metrics;
}

}  // namespace orvane::recorder
