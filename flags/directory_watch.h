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

// Notices changes of the flags files in some directories, also of directories that come, go or are
// replaced, since each folder on the way to them is watched, too.
//
// A file that somebody writes counts as unfinished from the first change until it is closed. What
// was opened before the watch began shows by its next change only.
class DirectoryWatch : public platform::FdWatcher {
 public:
  // `on_change` runs on the loop when there may be something new to read. The loop must outlive
  // this.
  DirectoryWatch(platform::Loop& loop, std::vector<platform::FilePath> directories,
                 std::function<void()> on_change);
  DirectoryWatch(const DirectoryWatch&) = delete;
  DirectoryWatch& operator=(const DirectoryWatch&) = delete;

  // Takes what has happened so far, without running the callback. Whether anything has.
  bool Poll();

  // The name of a file that is being written; empty when there is none.
  std::string UnfinishedFile() const;

  void OnReadReady(int fd) override;
  void OnWriteReady(int /*fd*/) override {}

 private:
  // What is watched in one folder.
  struct Folder {
    platform::FilePath path{};
    bool has_flags = false;         // its flags files
    std::set<std::string> names{};  // folders in it that are on the way
  };

  void WatchAll();
  void WatchOne(const platform::FilePath& directory, std::map<int, Folder>* folders);
  // Whether anything has changed.
  bool Handle(int watch, std::uint32_t mask, std::string_view name);
  void NoteFile(int watch, const Folder& folder, std::uint32_t mask, const std::string& name);

  std::vector<platform::FilePath> directories_;
  std::function<void()> on_change_;
  platform::Inotify inotify_;
  std::map<int, Folder> folders_;  // by the number of the watch
  std::set<std::pair<int, std::string>> unfinished_;
  bool is_path_changed_ = false;
  std::unique_ptr<platform::FdWatch> fd_watch_;
};

}  // namespace orvane::flags

#endif  // FLAGS_DIRECTORY_WATCH_H_
