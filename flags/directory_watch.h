#ifndef FLAGS_DIRECTORY_WATCH_H_
#define FLAGS_DIRECTORY_WATCH_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/files.h"
#include "platform/inotify.h"
#include "platform/loop.h"

namespace orvane::flags {

// Watches the flags files of some directories. It also watches every parent directory, to notice
// directories that are created, removed or replaced.
//
// A file counts as unfinished from the first write until it is closed. A file that was opened
// before the watch began is noticed at its next change.
class DirectoryWatch : public platform::FdWatcher {
 public:
  // `on_change` runs on the loop when there may be changes to read. The loop must outlive this
  // object.
  DirectoryWatch(platform::Loop& loop, std::vector<platform::FilePath> directories,
                 std::function<void()> on_change);
  DirectoryWatch(const DirectoryWatch&) = delete;
  DirectoryWatch& operator=(const DirectoryWatch&) = delete;

  // Processes pending events without running the callback. Returns whether anything has changed.
  bool Poll();

  // Returns the name of a file that is being written, or an empty string.
  std::string UnfinishedFile() const;

  void OnReadReady(int fd) override;
  void OnWriteReady(int /*fd*/) override {}

 private:
  // What is watched in one directory.
  struct Folder {
    platform::FilePath path{};
    bool has_flags = false;         // it contains flags files
    std::set<std::string> names{};  // subdirectories on the paths to flags directories
  };

  void WatchAll();
  void WatchOne(const platform::FilePath& directory, std::map<int, Folder>* folders);
  // Returns whether anything has changed.
  bool Handle(int watch, std::uint32_t mask, std::string_view name);
  void NoteFile(int watch, const Folder& folder, std::uint32_t mask, const std::string& name);

  std::vector<platform::FilePath> directories_;
  std::function<void()> on_change_;
  platform::Inotify inotify_;
  std::map<int, Folder> folders_;  // by watch number
  std::set<std::pair<int, std::string>> unfinished_;
  bool is_path_changed_ = false;
  std::unique_ptr<platform::FdWatch> fd_watch_;
};

}  // namespace orvane::flags

#endif  // FLAGS_DIRECTORY_WATCH_H_
