#ifndef RECORDER_RECORDER_H_
#define RECORDER_RECORDER_H_

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/bus/any.h"
#include "platform/error.h"
#include "platform/files.h"
#include "platform/loop.h"
#include "platform/one_shot_timer.h"
#include "platform/time.h"
#include "platform/weak_ptr.h"
#include "recorder/event_parts.h"
#include "recorder/record_store.h"

namespace orvane::recorder {

struct RecorderOptions {
  DatabaseOptions database;
  platform::TimeSpan max_age = std::chrono::hours(30 * 24);
  std::optional<platform::FilePath> metrics_file;
};

// Stores records. After the reply it deletes old records, clears the write-ahead log, and writes
// the metrics.
class Recorder {
 public:
  using ErrorHolder = std::unique_ptr<platform::Error>*;

  // The loop must outlive this object.
  Recorder(platform::Loop& loop, RecorderOptions options);

  // Opens the database. A failure is logged, and each record tries again.
  void Start();

  // Writes the metrics once more.
  void Stop();

  // Return true if the record is stored permanently. Otherwise log a line and add an error. `error`
  // must not be null.
  bool RecordData(const std::string& type, Bytes data, ErrorHolder error);
  bool RecordMetric(const std::string& name, const std::map<std::string, std::string>& fields,
                    const platform::bus::Any& value, ErrorHolder error);

 private:
  std::int64_t NowMs() const;
  bool Finish(bool is_stored, ErrorHolder error);
  void PruneLater();
  void Prune();
  void WriteMetricsLater();
  void WriteMetrics();

  platform::Loop& loop_;
  RecorderOptions options_;
  RecordStore store_;
  bool is_pruning_ = false;
  bool is_metrics_file_bad_ = false;
  platform::OneShotTimer age_timer_;
  platform::OneShotTimer checkpoint_timer_;
  platform::OneShotTimer metrics_timer_;
  platform::WeakPtrFactory<Recorder> weak_factory_{this};
};

}  // namespace orvane::recorder

#endif  // RECORDER_RECORDER_H_
