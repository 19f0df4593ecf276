#ifndef TESTBED_FILE_WATCH_H_
#define TESTBED_FILE_WATCH_H_

#include <functional>
#include <memory>
#include <string>

#include "platform/files.h"
#include "platform/inotify.h"
#include "platform/loop.h"
#include "testbed/failure.h"

namespace orvane::testbed {

// Reports every change of a file that may be created, removed and replaced: it was written and
// closed, renamed, or deleted. Changes in quick succession may be reported as one.
class FileWatch : public platform::FdWatcher {
 public:
  FileWatch(platform::Loop& loop, const platform::FilePath& file, std::function<void()> on_change);

  // Fails if the file's directory does not exist.
  [[nodiscard]] Failure Start();

  void OnReadReady(int fd) override;
  void OnWriteReady(int /*fd*/) override {}

 private:
  platform::Loop& loop_;
  platform::FilePath directory_;
  std::string name_;
  std::function<void()> on_change_;
  platform::Inotify inotify_;
  std::unique_ptr<platform::FdWatch> watch_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_FILE_WATCH_H_
