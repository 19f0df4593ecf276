#include "optimizer/file_change_monitor.h"

#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/logging.h"

namespace orvane::ap {
namespace {

// A bare file name is in the current directory.
platform::FilePath DirectoryOf(const platform::FilePath& file) {
  return file.has_parent_path() ? file.parent_path() : ".";
}

}  // namespace

FileChangeMonitor::FileChangeMonitor(platform::Loop& loop, platform::FilePath file,
                                     std::function<void()> callback)
    : file_(std::move(file)),
      callback_(std::move(callback)),
      inotify_fd_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  // Only zero is a failure: a directory that does not exist (-1) must not end the daemon.
  CHECK_TEXT(inotify_add_watch(inotify_fd_.get(), DirectoryOf(file_).c_str(), IN_CREATE) != 0,
             "inotify_add_watch(inotify_fd_.GetPlatformFile(), file_.DirName().value().c_str(), "
             "IN_CREATE)");
  WatchFile();
  watcher_ = loop.WatchReadable(inotify_fd_.get(), this);
  CHECK_TEXT(watcher_ != nullptr,
             "base::MessageLoopForIO::current()->WatchFileDescriptor( "
             "inotify_fd_.GetPlatformFile(), true , base::MessageLoopForIO::WATCH_READ, "
             "&watcher_, this)");
}

// Fails while the file does not exist. This is harmless: the directory's watch reports its
// creation.
void FileChangeMonitor::WatchFile() {
  inotify_add_watch(inotify_fd_.get(), file_.c_str(), IN_MODIFY);
}

void FileChangeMonitor::OnReadReady(int fd) {
  int size = 0;
  if (platform::RetryOnEintr([&] { return ioctl(fd, FIONREAD, &size); }) != 0) {
    LOG(WARNING) << "Failed to retrieve buffer size";
    return;
  }
  std::vector<char> buffer(static_cast<std::size_t>(size));
  const ssize_t length =
      platform::RetryOnEintr([&] { return read(fd, buffer.data(), buffer.size()); });
  if (length < 0) {
    LOG(WARNING) << "read() failed.  Returned: " << length;
    return;
  }
  if (HandleRecords({buffer.data(), static_cast<std::size_t>(length)})) {
    const std::function<void()> callback = callback_;
    callback();
  }
}

void FileChangeMonitor::OnWriteReady(int /*fd*/) {}

bool FileChangeMonitor::HandleRecords(std::span<const char> records) {
  bool is_changed = false;
  while (!records.empty()) {
    inotify_event header = {};
    std::memcpy(&header, records.data(), std::min(records.size(), sizeof(header)));
    const std::size_t event_size = sizeof(header) + header.len;
    CHECK_TEXT(event_size <= records.size(), "i + event_size <= static_cast<size_t>(bytes_read)");
    const char* name = records.data() + sizeof(header);
    is_changed |= HandleRecord(header.mask, std::string_view(name, strnlen(name, header.len)));
    records = records.subspan(event_size);
  }
  return is_changed;
}

bool FileChangeMonitor::HandleRecord(std::uint32_t mask, std::string_view name) {
  if ((mask & IN_CREATE) != 0 && !name.empty() && name == file_.filename().native()) {
    WatchFile();
    return true;
  }
  return (mask & (IN_MODIFY | IN_IGNORED)) != 0;
}

}  // namespace orvane::ap
