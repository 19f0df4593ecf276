#ifndef RECORDER_RECORD_STORE_H_
#define RECORDER_RECORD_STORE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/error.h"
#include "recorder/record.h"
#include "recorder/record_database.h"
#include "recorder/tally.h"

namespace orvane::recorder {

// Stores records in a database. After a failure the next access opens the database again, so a
// repaired database is used at once. If the file was renamed or deleted, the next access opens or
// creates one with its name. A damaged database is renamed to
// "NAME.damaged-YYYYMMDDTHHMMSSZ", its write-ahead log to the same with "-wal", and a new database
// is created. The last kKeptAside damaged databases are kept.
//
// Errors have the domain platform::kDBusErrorDomain.
class RecordStore {
 public:
  using ErrorHolder = std::unique_ptr<platform::Error>*;

  // The owner calls Checkpoint when the write-ahead log is larger than this, in bytes. If a reader
  // keeps the log from being emptied, and it exceeds this size plus the maximum size of the
  // database, records are refused.
  static constexpr std::int64_t kMaxLogSize = std::int64_t{24} << 20;

  explicit RecordStore(DatabaseOptions options) : options_(std::move(options)) {}

  // Opens the database. Without this call the first access opens it.
  bool Open(ErrorHolder error);

  // Return true if the record is committed. It then survives the end of the process, and with
  // DatabaseOptions::is_synchronous_full also a power failure.
  bool AddData(const DataRecord& record, ErrorHolder error);
  bool AddMetric(const MetricRecord& record, ErrorHolder error);

  // Counts an error that does not concern the database.
  void CountError(std::string_view kind) { pending_.AddError(kind); }

  // Deletes some of the oldest rows if there are records from before `oldest_ms` (since the Unix
  // epoch), or if the database is larger than its maximum size. One call takes some milliseconds.
  // Returns whether there may be more to delete.
  bool Prune(std::int64_t oldest_ms);

  void Checkpoint();

  // The size of the part of the write-ahead log that is not in the database yet, in bytes.
  std::int64_t log_size() const { return database_ ? database_->log_size() : 0; }

  // Stores the counts that are not stored yet and returns the metrics of the database. If that
  // fails, returns the metrics of the last successful reading plus these counts.
  Metrics ReadMetrics();

 private:
  // Returns whether the write-ahead log may grow, if necessary after emptying it.
  bool HasRoomInLog();
  bool Add(const std::function<std::int64_t(RecordDatabase& database)>& add, ErrorHolder error);
  bool Run(const std::function<void(RecordDatabase& database)>& work, ErrorHolder error);
  void CloseIfMoved();
  void PutAside();

  DatabaseOptions options_;
  std::optional<RecordDatabase> database_;
  // Counts that are not stored yet.
  Tally pending_;
  // The metrics of the last successful reading.
  Metrics stored_;
  std::int64_t rows_since_prune_ = 0;
};

}  // namespace orvane::recorder

#endif  // RECORDER_RECORD_STORE_H_
