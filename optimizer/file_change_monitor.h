#ifndef OPTIMIZER_FILE_CHANGE_MONITOR_H_
#define OPTIMIZER_FILE_CHANGE_MONITOR_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "platform/files.h"
#include "platform/loop.h"

namespace orvane::ap {

// Runs a callback on the loop when a file is created, modified or deleted. The file need not exist,
// but its directory must: if the directory does not exist or is removed, the callback never runs
// again. The callback may destroy the monitor. The loop must outlive the monitor.
class FileChangeMonitor : public platform::FdWatcher {
 public:
  FileChangeMonitor(platform::Loop& loop, platform::FilePath file, std::function<void()> callback);
  FileChangeMonitor(const FileChangeMonitor&) = delete;
  FileChangeMonitor& operator=(const FileChangeMonitor&) = delete;

  void OnReadReady(int fd) override;
  void OnWriteReady(int fd) override;

 private:
  // Parses whole inotify records. Returns whether one of them concerns the file.
  bool HandleRecords(std::span<const char> records);
  // `mask` and `name` belong to one record.
  bool HandleRecord(std::uint32_t mask, std::string_view name);
  void WatchFile();

  platform::FilePath file_;
  std::function<void()> callback_;
  // Declared before the watch: the watch must end before the descriptor is closed.
  platform::ScopedFd inotify_fd_;
  std::unique_ptr<platform::FdWatch> watcher_;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_FILE_CHANGE_MONITOR_H_
