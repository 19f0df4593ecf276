#include "recorder/recorder.h"

#include <chrono>
#include <utility>

#include "platform/logging.h"
#include "recorder/metrics.h"

namespace orvane::recorder {
namespace {

using platform::Error;
using platform::TimeSpan;

// How often old records are deleted while no new ones arrive.
constexpr TimeSpan kPrunePeriod = std::chrono::hours(1);

// The write-ahead log is emptied when no record has arrived for this time, or when it has its
// maximum size.
constexpr TimeSpan kCheckpointDelay = std::chrono::seconds(1);

// Delay from a record to the writing of the metrics.
constexpr TimeSpan kMetricsDelay = std::chrono::seconds(5);

std::int64_t Milliseconds(TimeSpan span) {
  return std::chrono::floor<std::chrono::milliseconds>(span).count();
}

}  // namespace

Recorder::Recorder(platform::Loop& loop, RecorderOptions options)
    : loop_(loop),
      options_(std::move(options)),
      store_(options_.database),
      age_timer_(loop),
      checkpoint_timer_(loop),
      metrics_timer_(loop) {}

std::int64_t Recorder::NowMs() const { return Milliseconds(loop_.Now().time_since_epoch()); }

void Recorder::Start() {
  std::unique_ptr<Error> error;
  if (!store_.Open(&error)) LOG(ERROR) << "Failed to open the database: " << error->message();
  PruneLater();
  WriteMetrics();
}

void Recorder::Stop() {
  if (metrics_timer_.IsRunning()) WriteMetrics();
}

bool Recorder::RecordData(const std::string& type, Bytes data, ErrorHolder error) {
  const bool is_stored =
      store_.AddData({.type = type, .data = data, .received_ms = NowMs()}, error);
  if (is_stored) VLOG(1) << "Stored a record of " << data.size() << " bytes";
  return Finish(is_stored, error);
}

bool Recorder::RecordMetric(const std::string& name,
                            const std::map<std::string, std::string>& fields,
                            const platform::bus::Any& value, ErrorHolder error) {
  const bool is_stored = store_.AddMetric(
      {.name = name, .fields = fields, .value = value, .received_ms = NowMs()}, error);
  if (is_stored) VLOG(1) << "Stored a metric of " << fields.size() << " fields";
  return Finish(is_stored, error);
}

bool Recorder::Finish(bool is_stored, ErrorHolder error) {
  WriteMetricsLater();
  if (is_stored) {
    PruneLater();
  } else {
    LOG(ERROR) << "Failed to store a record: " << (*error)->message();
  }
  return is_stored;
}

void Recorder::PruneLater() {
  if (std::exchange(is_pruning_, true)) return;
  loop_.PostTask(platform::BindWeak(weak_factory_.GetWeakPtr(), &Recorder::Prune));
}

// Works in steps, so that calls are served in between.
void Recorder::Prune() {
  is_pruning_ = false;
  if (store_.Prune(NowMs() - Milliseconds(options_.max_age))) {
    PruneLater();
  } else {
    age_timer_.Start(kPrunePeriod, [this] { PruneLater(); });
  }
  if (store_.log_size() > RecordStore::kMaxLogSize) {
    store_.Checkpoint();
  } else {
    checkpoint_timer_.Start(kCheckpointDelay, [this] { store_.Checkpoint(); });
  }
}

void Recorder::WriteMetricsLater() {
  if (!metrics_timer_.IsRunning()) metrics_timer_.Start(kMetricsDelay, [this] { WriteMetrics(); });
}

void Recorder::WriteMetrics() {
  if (!options_.metrics_file) return;
  const bool is_bad =
      !platform::ReplaceFile(*options_.metrics_file, FormatMetrics(store_.ReadMetrics()));
  // Log the first failure only.
  if (is_bad && !is_metrics_file_bad_) PLOG(ERROR) << "Failed to write the metrics";
  if (is_bad) store_.CountError(kMetricsFileFailed);
  is_metrics_file_bad_ = is_bad;
}

}  // namespace orvane::recorder
