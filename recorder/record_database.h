#ifndef RECORDER_RECORD_DATABASE_H_
#define RECORDER_RECORD_DATABASE_H_

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "recorder/event_parts.h"
#include "recorder/metrics.h"
#include "recorder/record.h"
#include "recorder/schema.h"
#include "recorder/tally.h"

namespace orvane::recorder {

// The open database; docs/recorder.md describes its tables. The constructor and each method throw a
// SQLite::Exception on failure; nothing has been stored then.
//
// Other processes may read it at the same time. A process that writes to it blocks each method, for
// two seconds at most.
class RecordDatabase {
 public:
  explicit RecordDatabase(const DatabaseOptions& options);
  RecordDatabase(const RecordDatabase&) = delete;
  RecordDatabase& operator=(const RecordDatabase&) = delete;

  // If the file was moved, completes it and deletes its write-ahead log: SQLite would apply the log
  // to the next database with the old name. If that fails, or a reader prevents it for two seconds,
  // the log is renamed to "NAME.moved-YYYYMMDDTHHMMSSZ-wal". The log of another database, which has
  // taken the place of this one, is not touched.
  ~RecordDatabase();

  // Each stores a record, its own tally and `tally` in one transaction. Returns the number of new
  // rows.
  std::int64_t AddData(const DataRecord& record, Tally tally);
  std::int64_t AddMetric(const MetricRecord& record, Tally tally);

  // Stores a tally without a record.
  void AddCounts(const Tally& tally);

  // Deletes up to `rows` of the oldest rows if records are older than `oldest_ms` or the database
  // exceeds its maximum size. Returns whether there was anything to do.
  bool Prune(std::int64_t oldest_ms, std::int64_t rows);

  // Moves the contents of the write-ahead log into the database file, except the part that a reader
  // must not see yet.
  void Checkpoint();

  // Returns whether the file has been renamed or deleted since it was opened.
  bool WasMoved() const;

  // The size of the part of the write-ahead log that is not in the database yet, in bytes.
  std::int64_t log_size() const { return log_size_; }

  Metrics ReadMetrics();

 private:
  // Returns nothing if an entry is malformed.
  std::optional<std::int64_t> AddEvent(const DataRecord& record, const EventParts& parts,
                                       Tally tally);
  template <typename Entry>
  bool AddEntries(const std::vector<Bytes>& entries, std::int64_t record_id,
                  const std::string* interface, const MessageTable& table,
                  SQLite::Statement* insert, Tally* tally, bool* is_more);
  std::int64_t AddRecord(const std::string& type, std::int64_t received_ms);
  void SetData(std::int64_t record_id, Bytes data);
  void AddTally(const Tally& tally);

  // In bytes.
  struct Sizes {
    std::int64_t file;
    std::int64_t free;  // in pages of the file without contents
  };
  Sizes CountPages();
  std::optional<std::int64_t> RecordToDelete(std::int64_t oldest_ms);
  bool DeleteOldest(std::int64_t oldest_ms, std::int64_t rows);
  bool Shrink();
  // Device and inode.
  using FileId = std::pair<std::uint64_t, std::uint64_t>;
  // Returns the file that now has the name of the write-ahead log, or zeros if there is none.
  FileId LogId() const;
  static int OnCommit(void* self, sqlite3* database, const char* name, int pages);

  std::int64_t max_size_;
  std::int64_t log_size_ = 0;
  SQLite::Database database_;
  std::int64_t page_size_;
  FileId log_id_;  // when the database was opened
  SQLite::Statement add_client_event_;
  SQLite::Statement add_probe_report_;
  SQLite::Statement add_record_;
  SQLite::Statement set_data_;
  SQLite::Statement add_field_;
  SQLite::Statement add_count_;
  SQLite::Statement pages_;
  SQLite::Statement expired_;
  SQLite::Statement first_;
};

}  // namespace orvane::recorder

#endif  // RECORDER_RECORD_DATABASE_H_
