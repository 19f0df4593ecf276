#include "wavelarkctl/trace/trace_reader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/logging.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

constexpr std::size_t kBufferSize = std::size_t{256} << 10;

platform::ScopedFd Open(const platform::FilePath& path) {
  // O_NONBLOCK: opening a pipe must not wait for its writer.
  return platform::ScopedFd(platform::RetryOnEintr(
      [&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
}

[[noreturn]] void FailToRead(const std::string& name, const std::string& problem) {
  throw Failure(ExitStatus::kUnavailable, name + ": " + problem);
}

}  // namespace

TraceReader::TraceReader(const platform::FilePath& path) : TraceReader(Open(path), path.native()) {}

TraceReader::TraceReader(platform::ScopedFd file, std::string name)
    : file_(std::move(file)), name_(std::move(name)), buffer_(kBufferSize) {
  struct stat status = {};
  if (!file_.is_valid() || fstat(file_.get(), &status) != 0) {
    FailToRead(name_, platform::SystemErrorText(errno));
  }
  // The file is read twice.
  if (!S_ISREG(status.st_mode)) FailToRead(name_, "not a regular file");
  size_ = static_cast<std::size_t>(status.st_size);
  Rewind();
}

void TraceReader::Rewind() {
  if (lseek(file_.get(), 0, SEEK_SET) != 0) FailToRead(name_, platform::SystemErrorText(errno));
  begin_ = end_ = 0;
  unread_ = size_;
  line_number_ = 0;
  std::string_view line;
  if (!NextLine(&line) || line != kTraceHeader) {
    line_number_ = 1;
    Fail(fmt::format("the header is not \"{}\"", kTraceHeader));
  }
}

bool TraceReader::Next(TraceRow* row) {
  std::string_view line;
  if (!NextLine(&line)) return false;
  const std::string_view problem = ParseTraceRow(line, row);
  if (!problem.empty()) Fail(problem);
  return true;
}

bool TraceReader::NextLine(std::string_view* line) {
  const char* end = nullptr;
  do {
    end = static_cast<const char*>(std::memchr(buffer_.data() + begin_, '\n', end_ - begin_));
  } while (end == nullptr && Fill());
  if (begin_ == end_) return false;
  const char* const begin = buffer_.data() + begin_;
  if (end == nullptr) end = buffer_.data() + end_;
  ++line_number_;
  *line = std::string_view(begin, static_cast<std::size_t>(end - begin));
  begin_ = std::min(begin_ + line->size() + 1, end_);
  if (line->ends_with('\r')) line->remove_suffix(1);
  if (line->size() > kMaxTraceLine) Fail(fmt::format("over {} characters", kMaxTraceLine));
  return true;
}

bool TraceReader::Fill() {
  std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  if (end_ > kMaxTraceLine + 1) {
    ++line_number_;
    Fail(fmt::format("over {} characters", kMaxTraceLine));
  }
  const std::size_t room = std::min(buffer_.size() - end_, unread_);
  const ssize_t length =
      platform::RetryOnEintr([&] { return read(file_.get(), buffer_.data() + end_, room); });
  if (length < 0) FailToRead(name_, platform::SystemErrorText(errno));
  end_ += static_cast<std::size_t>(length);
  unread_ -= static_cast<std::size_t>(length);
  return length > 0;
}

void TraceReader::Fail(std::string_view problem) const {
  throw Failure(ExitStatus::kData, fmt::format("{}:{}: {}", name_, line_number_, problem));
}

}  // namespace orvane::wavelarkctl
