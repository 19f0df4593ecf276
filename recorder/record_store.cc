#include "recorder/record_store.h"

#include <SQLiteCpp/Exception.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <systemd/sd-bus-protocol.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "platform/logging.h"

namespace orvane::recorder {
namespace {

using platform::Error;
using platform::FilePath;

// Number of rows that a step deletes, or more if more have been added since.
constexpr std::int64_t kRowsPerStep = 2000;

constexpr char kIoError[] = "org.freedesktop.DBus.Error.IOError";
constexpr char kLimitsExceeded[] = "org.freedesktop.DBus.Error.LimitsExceeded";
constexpr char kDamagedSuffix[] = ".damaged-";

bool IsDamage(const SQLite::Exception& exception) {
  return exception.getErrorCode() == SQLITE_CORRUPT || exception.getErrorCode() == SQLITE_NOTADB;
}

// Renames a file, if it exists.
void Move(const FilePath& from, const FilePath& to) {
  std::error_code error;
  std::filesystem::rename(from, to, error);
  if (error && error != std::errc::no_such_file_or_directory) {
    LOG(ERROR) << "Failed to move " << from.native() << ": " << error.message();
  }
}

}  // namespace

bool RecordStore::Open(ErrorHolder error) {
  return Run([](RecordDatabase& /*database*/) {}, error);
}

bool RecordStore::AddData(const DataRecord& record, ErrorHolder error) {
  if (static_cast<std::int64_t>(record.data.size()) > options_.max_size) {
    CountError(kTooLarge);
    Error::AddTo(error, platform::kDBusErrorDomain, kLimitsExceeded,
                 fmt::format("a record of {} bytes does not fit into a database of {}",
                             record.data.size(), options_.max_size));
    return false;
  }
  return Add([&](RecordDatabase& database) { return database.AddData(record, pending_); }, error);
}

bool RecordStore::AddMetric(const MetricRecord& record, ErrorHolder error) {
  return Add([&](RecordDatabase& database) { return database.AddMetric(record, pending_); }, error);
}

bool RecordStore::HasRoomInLog() {
  // The sum of both limits could overflow.
  const auto has_room = [this] { return log_size() - kMaxLogSize <= options_.max_size; };
  if (!has_room()) Checkpoint();
  return has_room();
}

bool RecordStore::Add(const std::function<std::int64_t(RecordDatabase& database)>& add,
                      ErrorHolder error) {
  const bool has_room = HasRoomInLog();
  if (!has_room) {
    Error::AddTo(error, platform::kDBusErrorDomain, kLimitsExceeded,
                 "a reader of the database keeps the write-ahead log from being emptied");
  }
  const bool is_stored =
      has_room && Run([&](RecordDatabase& database) { rows_since_prune_ += add(database); }, error);
  if (is_stored) {
    pending_ = {};
  } else {
    CountError(kStorageFailed);
  }
  return is_stored;
}

bool RecordStore::Prune(std::int64_t oldest_ms) {
  bool is_more = false;
  std::unique_ptr<Error> error;
  const std::int64_t rows = std::max(kRowsPerStep, std::exchange(rows_since_prune_, 0));
  if (!Run([&](RecordDatabase& database) { is_more = database.Prune(oldest_ms, rows); }, &error)) {
    LOG(ERROR) << "Failed to delete old records: " << error->message();
  }
  return is_more;
}

void RecordStore::Checkpoint() {
  std::unique_ptr<Error> error;
  if (!Run([](RecordDatabase& database) { database.Checkpoint(); }, &error)) {
    LOG(ERROR) << "Failed to empty the write-ahead log: " << error->message();
  }
}

Metrics RecordStore::ReadMetrics() {
  Run(
      [this](RecordDatabase& database) {
        database.AddCounts(pending_);
        pending_ = {};
        stored_ = database.ReadMetrics();
      },
      nullptr);
  Metrics metrics = stored_;
  for (const auto& [key, count] : pending_.Counts()) {
    const auto found =
        std::ranges::find(metrics.counts, key, [](const auto& row) { return row.first; });
    if (found == metrics.counts.end()) {
      metrics.counts.emplace_back(key, count);
    } else {
      found->second += count;
    }
  }
  return metrics;
}

// After any failure the database is closed. The next call opens it again.
bool RecordStore::Run(const std::function<void(RecordDatabase& database)>& work,
                      ErrorHolder error) {
  for (bool is_first = true;; is_first = false) {
    try {
      CloseIfMoved();
      if (!database_) database_.emplace(options_);
      work(*database_);
      return true;
    } catch (const SQLite::Exception& exception) {
      database_.reset();
      const std::string reason =
          fmt::format("{} ({})", exception.what(), exception.getExtendedErrorCode());
      if (is_first && IsDamage(exception)) {
        LOG(ERROR) << "The database is damaged and is renamed: " << reason;
        PutAside();
        continue;
      }
      Error::AddTo(error, platform::kDBusErrorDomain, kIoError, reason);
      return false;
    }
  }
}

void RecordStore::CloseIfMoved() {
  if (!database_ || !database_->WasMoved()) return;
  LOG(WARNING) << "The database was renamed or deleted; opening " << options_.path.native();
  database_.reset();
}

// The log is renamed first: a new database must not find the log of another one.
void RecordStore::PutAside() {
  CountError(kDatabaseDamaged);
  const std::string path = options_.path.native();
  const FilePath aside = AsideName(path, kDamagedSuffix);
  Move(path + kLogSuffix, aside.native() + kLogSuffix);
  Move(path, aside);
  std::error_code ignored;
  std::filesystem::remove(path + "-shm", ignored);
  DeleteOldAside(path, kDamagedSuffix, aside);
}

}  // namespace orvane::recorder
