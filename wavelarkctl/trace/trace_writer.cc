#include "wavelarkctl/trace/trace_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/logging.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

constexpr std::size_t kBlockSize = std::size_t{64} << 10;
constexpr mode_t kMode = 0666;  // before the process's umask

[[noreturn]] void Fail(const std::string& name) {
  throw Failure(ExitStatus::kUnavailable, name + ": " + platform::SystemErrorText(errno));
}

}  // namespace

TraceWriter::TraceWriter(platform::ScopedFd file, std::string name, bool is_new)
    : file_(std::move(file)), name_(std::move(name)), is_new_(is_new), lines_(kTraceHeader) {
  if (!file_.is_valid()) Fail(name_);
  lines_ += '\n';
  Flush();
}

void TraceWriter::Add(const TraceRow& row) { lines_ += FormatTraceRow(row); }

void TraceWriter::FlushBlock() {
  if (lines_.size() >= kBlockSize) Flush();
}

void TraceWriter::Flush() {
  const off_t begin = is_new_ ? lseek(file_.get(), 0, SEEK_CUR) : -1;
  if (!platform::WriteWhole(file_.get(), lines_)) {
    const int error = errno;
    if (begin < 0 || ftruncate(file_.get(), begin) == 0) errno = error;
    Fail(name_);
  }
  lines_.clear();
}

TraceWriter CreateTrace(const platform::FilePath& path) {
  return {platform::ScopedFd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode)),
          path.native(), true};
}

}  // namespace orvane::wavelarkctl
