#include "flags/flags_publisher.h"

#include <chrono>
#include <utility>

#include "flags/flags_directories.h"
#include "platform/logging.h"
#include "platform/time.h"

namespace orvane::flags {
namespace {

// Changes are collected for this time before the files are read.
constexpr platform::TimeSpan kSettleTime = std::chrono::milliseconds(50);

// After that, the files must stay unchanged for this time. A truncated file can be seen empty long
// before the kernel reports the change: as long as the file system takes to write its journal.
constexpr platform::TimeSpan kQuietTime = std::chrono::milliseconds(250);

// A file that is being written for longer than this is logged.
constexpr platform::TimeSpan kPatience = std::chrono::seconds(10);

}  // namespace

FlagsPublisher::FlagsPublisher(platform::Loop& loop, std::vector<platform::FilePath> directories,
                               std::function<void()> on_published)
    : directories_(std::move(directories)),
      on_published_(std::move(on_published)),
      settle_timer_(loop),
      patience_timer_(loop),
      watch_(loop, directories_, [this] { OnChange(); }),
      candidate_(ReadFlagsDirectories(directories_)) {
  Update();
}

void FlagsPublisher::OnChange() {
  candidate_.reset();
  settle_timer_.Start(kSettleTime, [this] { Update(); });
}

void FlagsPublisher::Update() {
  if (WaitForWriter()) return;
  Reading reading = ReadFlagsDirectories(directories_);
  VLOG(1) << "Read " << reading.flags.size() << " flags";
  if (watch_.Poll()) {
    OnChange();
  } else if (candidate_ != reading) {
    candidate_ = std::move(reading);
    settle_timer_.Start(kQuietTime, [this] { Update(); });
  } else {
    Take(std::move(reading));
  }
}

void FlagsPublisher::Take(Reading reading) {
  Report(reading);
  if (!reading.errors.empty() || reading.flags == flags_) return;
  flags_ = std::move(reading.flags);
  LOG(INFO) << "Publishing " << flags_.size() << " flags";
  on_published_();
}

// The end of the write is a change, which leads back to Update.
bool FlagsPublisher::WaitForWriter() {
  if (watch_.UnfinishedFile().empty()) {
    patience_timer_.Stop();
    return false;
  }
  if (!patience_timer_.IsRunning()) {
    patience_timer_.Start(kPatience, [this] {
      LOG(WARNING) << "Waiting for the writer of " << watch_.UnfinishedFile() << " to close it";
    });
  }
  return true;
}

void FlagsPublisher::Report(const Reading& reading) {
  if (std::exchange(warnings_, reading.warnings) != reading.warnings) {
    for (const std::string& warning : warnings_) LOG(WARNING) << "Flags: " << warning;
  }
  if (std::exchange(errors_, reading.errors) == reading.errors || errors_.empty()) return;
  for (const std::string& error : errors_) LOG(ERROR) << "Bad flags: " << error;
  LOG(ERROR) << (flags_.empty() ? "No flags are published" : "The last good flags stay in force");
}

}  // namespace orvane::flags
