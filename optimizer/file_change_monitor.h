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

// Runs a callback, on the loop, when a file is created in its directory, is modified or is deleted.
// The file need not exist. The directory must: where it doesn't, or once it is gone, the callback
// never runs. The callback may destroy the monitor. The loop must outlive it.
class FileChangeMonitor : public platform::FdWatcher {
 public:
  FileChangeMonitor(platform::Loop& loop, platform::FilePath file, std::function<void()> callback);
  FileChangeMonitor(const FileChangeMonitor&) = delete;
  FileChangeMonitor& operator=(const FileChangeMonitor&) = delete;

  void OnReadReady(int fd) override;
  void OnWriteReady(int fd) override;

 private:
  // Walks whole inotify records. Whether one of them is about the file.
  bool HandleRecords(std::span<const char> records);
  // `mask` and `name` of one record.
  bool HandleRecord(std::uint32_t mask, std::string_view name);
  void WatchFile();

  platform::FilePath file_;
  std::function<void()> callback_;
  // Declared first: the watch must end before the descriptor is closed.
  platform::ScopedFd inotify_fd_;
  std::unique_ptr<platform::FdWatch> watcher_;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_FILE_CHANGE_MONITOR_H_
