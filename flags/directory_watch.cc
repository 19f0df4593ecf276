#include "flags/directory_watch.h"

#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "flags/flags_directories.h"
#include "platform/logging.h"

namespace orvane::flags {
namespace {

using platform::FilePath;

constexpr std::uint32_t kOnTheWay = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB;
// Without IN_EXCL_UNLINK, a write to a deleted or replaced file counts as one to the file that now
// has its name.
constexpr std::uint32_t kFlagsFiles = kOnTheWay | IN_MODIFY | IN_CLOSE_WRITE | IN_EXCL_UNLINK;

FilePath Absolute(const FilePath& directory) {
  const FilePath path = std::filesystem::absolute(directory).lexically_normal();
  return path.has_filename() ? path : path.parent_path();
}

// Returns whether a new file is probably still to be written: it is regular, empty and has one hard
// link. Other files need no such guess: a hard or symbolic link is complete from the start, and
// IN_MODIFY marks a file with contents as unfinished.
bool IsToBeWritten(const FilePath& file) {
  struct stat status = {};
  return lstat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         status.st_size == 0;
}

}  // namespace

DirectoryWatch::DirectoryWatch(platform::Loop& loop, std::vector<FilePath> directories,
                               std::function<void()> on_change)
    : directories_(std::move(directories)), on_change_(std::move(on_change)) {
  std::ranges::transform(directories_, directories_.begin(), &Absolute);
  WatchAll();
  fd_watch_ = loop.WatchReadable(inotify_.fd(), this);
  CHECK(fd_watch_ != nullptr);
}

bool DirectoryWatch::Poll() {
  bool is_changed = false;
  do {
    is_path_changed_ = false;
    inotify_.Read([&](int watch, std::uint32_t mask, std::string_view name) {
      is_changed |= Handle(watch, mask, name);
    });
    if (is_path_changed_) WatchAll();
  } while (is_path_changed_);
  return is_changed;
}

std::string DirectoryWatch::UnfinishedFile() const {
  return unfinished_.empty() ? "" : unfinished_.begin()->second;
}

void DirectoryWatch::OnReadReady(int /*fd*/) {
  if (Poll()) on_change_();
}

// An inotify watch stays with its directory when the directory is renamed. WatchAll therefore walks
// all paths again and removes the watches of directories that are no longer on a path.
void DirectoryWatch::WatchAll() {
  std::map<int, Folder> folders;
  for (const FilePath& directory : directories_) WatchOne(directory, &folders);
  for (const auto& [watch, folder] : folders_) {
    if (!folders.contains(watch)) inotify_.Remove(watch);
  }
  std::erase_if(unfinished_, [&](const auto& file) { return !folders.contains(file.first); });
  folders_ = std::move(folders);
}

// Starts at the root, so that a directory that is created during the walk is noticed in its parent.
void DirectoryWatch::WatchOne(const FilePath& directory, std::map<int, Folder>* folders) {
  FilePath path;
  for (auto name = directory.begin(); name != directory.end(); ++name) {
    path /= *name;
    const bool is_last = std::next(name) == directory.end();
    const int watch =
        inotify_.Add(path, (is_last ? kFlagsFiles : kOnTheWay) | IN_ONLYDIR | IN_MASK_ADD);
    if (watch < 0) {
      if (errno != ENOENT && errno != ENOTDIR) PLOG(WARNING) << "Failed to watch " << path.native();
      return;
    }
    Folder& folder = (*folders)[watch];
    folder.path = path;
    if (is_last) {
      folder.has_flags = true;
    } else {
      folder.names.insert(*std::next(name));
    }
  }
}

bool DirectoryWatch::Handle(int watch, std::uint32_t mask, std::string_view name) {
  if ((mask & IN_Q_OVERFLOW) != 0) {
    // Events were lost; the end of a write may be among them.
    unfinished_.clear();
    is_path_changed_ = true;
    return true;
  }
  const auto found = folders_.find(watch);
  if (found == folders_.end()) return false;
  const std::string file(name);
  if ((mask & IN_IGNORED) != 0 || found->second.names.contains(file)) {
    is_path_changed_ = true;
    return true;
  }
  if (!found->second.has_flags || !IsFlagsFileName(file)) return false;
  NoteFile(watch, found->second, mask, file);
  return true;
}

void DirectoryWatch::NoteFile(int watch, const Folder& folder, std::uint32_t mask,
                              const std::string& name) {
  if ((mask & IN_MODIFY) != 0 || ((mask & IN_CREATE) != 0 && IsToBeWritten(folder.path / name))) {
    unfinished_.emplace(watch, name);
  } else if ((mask & (IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO)) != 0) {
    unfinished_.erase({watch, name});
  }
}

}  // namespace orvane::flags
