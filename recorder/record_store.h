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

// Keeps records in a database that may fail. After a failure the database is opened anew for the
// next record, so that one that works again is used at once. A damaged one is put aside, as
// "NAME.damaged-YYYYMMDDTHHMMSSZ" with its log, and a new one begun; the last kKeptDamaged of
// them are kept.
//
// Errors are of the domain platform::kDBusErrorDomain.
class RecordStore {
 public:
  using ErrorHolder = std::unique_ptr<platform::Error>*;

  static constexpr std::size_t kKeptDamaged = 3;

  explicit RecordStore(DatabaseOptions options) : options_(std::move(options)) {}

  // Opens the database, which the first record would do otherwise.
  bool Open(ErrorHolder error);

  // True when the record is stored for good.
  bool AddData(const DataRecord& record, ErrorHolder error);
  bool AddMetric(const MetricRecord& record, ErrorHolder error);

  // Counts an error that has nothing to do with the database.
  void CountError(std::string_view kind) { pending_.AddError(kind); }

  // A piece of work that takes some milliseconds. Whether there may be more of it. Records of
  // before `oldest_ms` are deleted, and those for which there is no room.
  bool Prune(std::int64_t oldest_ms);

  void Checkpoint();

  // The size of the log of the database, in bytes.
  std::int64_t log_size() const { return database_ ? database_->log_size() : 0; }

  // What is in the database, or was when it could last be read, and what could not be put into it.
  Metrics ReadMetrics();

 private:
  bool Add(const std::function<std::int64_t(RecordDatabase& database)>& add, ErrorHolder error);
  bool Run(const std::function<void(RecordDatabase& database)>& work, ErrorHolder error);
  void PutAside();

  DatabaseOptions options_;
  std::optional<RecordDatabase> database_;
  // What has not been stored yet.
  Tally pending_;
  // As last read.
  Metrics stored_;
  std::int64_t rows_since_prune_ = 0;
};

}  // namespace orvane::recorder

#endif  // RECORDER_RECORD_STORE_H_
