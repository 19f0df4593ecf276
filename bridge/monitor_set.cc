#include "bridge/monitor_set.h"

#include <algorithm>
#include <utility>

namespace orvane::bridge {

using platform::MonotonicTime;

MonitorSet::MonitorSet(std::string_view interface, std::size_t capacity, Sender send)
    : daemon_suffix_("-wavelark-" + std::string(interface)),
      capacity_(capacity),
      send_(std::move(send)) {}

bool MonitorSet::IsDaemon(const UnixAddress& monitor) const {
  return monitor.Name().ends_with(daemon_suffix_);
}

bool MonitorSet::HasDaemon() const {
  return std::ranges::any_of(monitors_,
                             [this](const auto& monitor) { return IsDaemon(monitor.first); });
}

bool MonitorSet::Attach(const UnixAddress& monitor, MonotonicTime now) {
  if (monitors_.contains(monitor)) return true;
  // Detaches a killed daemon, so that the new daemon gets its lines.
  Flush(now);
  if (monitors_.size() >= kMostMonitors) return false;
  Queue& queue = monitors_[monitor];
  if (IsDaemon(monitor)) {
    DropExpired(now);
    queue = std::exchange(backlog_, {});
  }
  return true;
}

bool MonitorSet::Detach(const UnixAddress& monitor, MonotonicTime now) {
  const auto found = monitors_.find(monitor);
  if (found == monitors_.end()) return false;
  Queue queue = std::move(found->second);
  monitors_.erase(found);
  KeepLines(monitor, &queue, now);
  return true;
}

void MonitorSet::DetachAll(MonotonicTime now) {
  while (!monitors_.empty()) {
    const UnixAddress monitor = monitors_.begin()->first;
    Detach(monitor, now);
  }
}

// If another daemon is still attached, it has had the same lines. Otherwise their life in the
// backlog begins now.
void MonitorSet::KeepLines(const UnixAddress& monitor, Queue* queue, MonotonicTime now) {
  if (!IsDaemon(monitor) || HasDaemon()) return;
  backlog_ = std::move(*queue);
  for (Line& line : backlog_) line.at = now;
}

void MonitorSet::Append(Line line, Queue* queue) {
  if (queue->size() >= capacity_) {
    queue->pop_front();
    ++dropped_count_;
  }
  queue->push_back(std::move(line));
}

void MonitorSet::Push(std::string_view line, MonotonicTime now) {
  for (auto& [monitor, queue] : monitors_) {
    // A long burst has no Flush in between.
    if (queue.size() >= capacity_) SendLines(monitor, &queue);
    Append({std::string(line), now}, &queue);
  }
  if (HasDaemon()) return;
  DropExpired(now);
  Append({std::string(line), now}, &backlog_);
}

void MonitorSet::DropExpired(MonotonicTime now) {
  while (!backlog_.empty() && now - backlog_.front().at > kBacklogLife) {
    backlog_.pop_front();
    ++expired_count_;
  }
}

void MonitorSet::Flush(MonotonicTime now) {
  for (auto monitor = monitors_.begin(); monitor != monitors_.end();) {
    if (SendLines(monitor->first, &monitor->second)) {
      ++monitor;
      continue;
    }
    const UnixAddress address = monitor->first;
    Queue queue = std::move(monitor->second);
    monitor = monitors_.erase(monitor);
    KeepLines(address, &queue, now);
  }
  DropExpired(now);
}

// Returns false if the monitor is gone.
bool MonitorSet::SendLines(const UnixAddress& monitor, Queue* queue) {
  const bool is_daemon = IsDaemon(monitor);
  while (!queue->empty()) {
    switch (send_(monitor, is_daemon, queue->front().text)) {
      case SendResult::kSent:
        queue->pop_front();
        break;
      case SendResult::kBusy:
        return true;
      case SendResult::kGone:
        return false;
    }
  }
  return true;
}

bool MonitorSet::HasWaitingLines() const {
  return std::ranges::any_of(monitors_,
                             [](const auto& monitor) { return !monitor.second.empty(); });
}

std::size_t MonitorSet::depth() const {
  std::size_t depth = backlog_.size();
  for (const auto& [monitor, queue] : monitors_) depth += queue.size();
  return depth;
}

}  // namespace orvane::bridge
