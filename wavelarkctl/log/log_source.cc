#include "wavelarkctl/log/log_source.h"

#include <fmt/format.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <memory>

#include "platform/logging.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

constexpr std::string_view kJournal =
    "journalctl --quiet --no-pager --output=cat --unit=ap-wavelark.service";
constexpr int kCommandNotFound = 127;

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// Returns whether the file was read to its end. A line may contain NUL bytes.
bool ReadLines(std::FILE* file, const LineSink& sink) {
  std::string line;
  for (int byte = getc_unlocked(file); byte != EOF; byte = getc_unlocked(file)) {
    if (byte == '\n') {
      sink(line);
      line.clear();
    } else if (line.size() < kMaxLogLine) {
      line.push_back(static_cast<char>(byte));
    }
  }
  if (std::ferror(file) != 0) return false;
  if (!line.empty()) sink(line);
  return true;
}

// Runs a shell command and reads its output. It shares this process's standard error.
void ReadCommand(const std::string& command, const LineSink& sink) {
  std::FILE* const pipe = popen(command.c_str(), "re");
  if (pipe == nullptr) {
    throw Failure(ExitStatus::kUnavailable, "journalctl: " + platform::SystemErrorText(errno));
  }
  ReadLines(pipe, sink);
  const int status = pclose(pipe);
  if (status == 0) return;
  const bool is_missing = WIFEXITED(status) && WEXITSTATUS(status) == kCommandNotFound;
  throw Failure(ExitStatus::kUnavailable,
                is_missing ? "journalctl is missing: name a log file, or - for standard input"
                           : "journalctl failed");
}

}  // namespace

void ReadLogFile(const std::string& name, const LineSink& sink) {
  std::unique_ptr<std::FILE, Closer> opened;
  std::FILE* file = stdin;
  if (name != "-") {
    opened.reset(std::fopen(name.c_str(), "re"));
    file = opened.get();
  }
  if (file == nullptr || !ReadLines(file, sink)) {
    throw Failure(ExitStatus::kUnavailable, name + ": " + platform::SystemErrorText(errno));
  }
}

void ReadJournal(platform::WallTime since, const LineSink& sink) {
  if (since == platform::WallTime::min()) return ReadCommand(std::string(kJournal), sink);
  // journalctl refuses times before 1970.
  const std::int64_t seconds = std::max<std::int64_t>(
      std::chrono::floor<std::chrono::seconds>(since.time_since_epoch()).count(), 0);
  // journalctl fails if nothing matches, which is not an error here.
  ReadCommand(fmt::format("{0} --until=@{1} --lines=1 --grep='Client Steer Started' || true; "
                          "{0} --since=@{1}",
                          kJournal, seconds),
              sink);
}

}  // namespace orvane::wavelarkctl
