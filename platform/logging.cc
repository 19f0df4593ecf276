#include "platform/logging.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "platform/files.h"

namespace orvane::platform {
namespace {

struct SeverityRow {
  std::string_view name;
  int priority;  // of syslog(3)
};

// In the order of Severity.
constexpr std::array<SeverityRow, 5> kSeverities = {{
    {"VERBOSE1", LOG_DEBUG},
    {"INFO", LOG_INFO},
    {"WARNING", LOG_WARNING},
    {"ERROR", LOG_ERR},
    {"FATAL", LOG_CRIT},
}};

// The destination of lines. Never destroyed, since lines may be logged after main.
struct Output {
  unsigned options = kLogToStderr | kLogHeader;
  bool stderr_is_the_journal = false;
  std::string name;  // openlog(3) keeps a pointer to it
};

Output& CurrentOutput() {
  static auto& output = *new Output;
  return output;
}

// systemd sets the variable to the file that it opened as standard error. Standard error may have
// been replaced since.
bool StderrIsTheJournal() {
  const char* journal = std::getenv("JOURNAL_STREAM");
  struct stat file = {};
  return journal != nullptr && fstat(STDERR_FILENO, &file) == 0 &&
         fmt::format("{}:{}", file.st_dev, file.st_ino) == journal;
}

// Returns "2026-01-31 23:59:59.000001", in local time.
std::string FormatTime(const timespec& time) {
  std::tm local = {};
  localtime_r(&time.tv_sec, &local);
  std::array<char, sizeof("2026-01-31 23:59:59")> seconds;
  std::strftime(seconds.data(), seconds.size(), "%F %T", &local);
  return fmt::format("{}.{:06}", seconds.data(), time.tv_nsec / 1000);
}

std::string FormatHeader(const SeverityRow& severity, const char* file, int line) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return fmt::format("{} {} {}:{}] ", FormatTime(now), severity.name, file, line);
}

// Adds "<PRIORITY>" before each line of a text that ends with a line feed (sd-daemon(3)).
std::string AddJournalPriority(std::string_view text, int priority) {
  std::string result;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n') + 1);
    result += fmt::format("<{}>{}", priority, line);
    text.remove_prefix(line.size());
  }
  return result;
}

// A line that can't be written is dropped: there is no other place to report it.
void WriteToStderr(std::string_view text) { WriteWhole(STDERR_FILENO, text); }

void WriteLine(const SeverityRow& severity, const char* file, int line, std::string_view message) {
  const Output& output = CurrentOutput();
  std::string text;
  if ((output.options & kLogHeader) != 0) text = FormatHeader(severity, file, line);
  text += message;
  if ((output.options & kLogToSystemLog) != 0) syslog(severity.priority, "%s", text.c_str());
  if ((output.options & kLogToStderr) == 0) return;
  text += '\n';
  WriteToStderr(output.stderr_is_the_journal ? AddJournalPriority(text, severity.priority) : text);
}

LogListener* current_listener = nullptr;

[[noreturn]] void LogUncaughtException() {
  try {
    if (std::current_exception()) std::rethrow_exception(std::current_exception());
    LOG(FATAL) << "Terminated without an exception";
  } catch (const std::exception& exception) {
    LOG(FATAL) << "Uncaught exception: " << exception.what();
  } catch (...) {
    LOG(FATAL) << "Uncaught exception of an unknown type";
  }
  std::abort();
}

}  // namespace

void InitLog(unsigned options, const std::string& name) {
  // Closed first, since openlog(3) keeps the pointer to the former name until then.
  closelog();
  CurrentOutput() = {options, StderrIsTheJournal(), name};
  openlog(CurrentOutput().name.c_str(), LOG_PID, LOG_DAEMON);
  std::set_terminate(LogUncaughtException);
}

void SetVerboseLevel(int level) { internal::verbose_level = level; }

LogListener::LogListener(Callback callback)
    : callback_(std::move(callback)), previous_(std::exchange(current_listener, this)) {}

LogListener::~LogListener() { current_listener = previous_; }

std::string SystemErrorText(int error_number) {
  return fmt::format("{} ({})", std::generic_category().message(error_number), error_number);
}

namespace internal {

LogMessage::LogMessage(Severity severity, const char* file, int line)
    : severity_(severity), file_(file), line_(line) {}

LogMessage::~LogMessage() {
  const std::string_view message(text_.data(), text_.size());
  WriteLine(kSeverities[static_cast<std::size_t>(severity_)], file_, line_, message);
  for (const LogListener* listener = current_listener; listener != nullptr;
       listener = listener->previous_) {
    listener->callback_(severity_, message);
  }
  if (severity_ == Severity::kFatal) std::abort();
}

ErrnoLogMessage::ErrnoLogMessage(Severity severity, const char* file, int line)
    : errno_(errno), message_(severity, file, line) {}

ErrnoLogMessage::~ErrnoLogMessage() { message_ << ": " << SystemErrorText(errno_); }

CheckFailure::CheckFailure(const char* condition, const char* file, int line)
    : message_(Severity::kFatal, file, line) {
  message_ << "Check failed: " << condition;
}

}  // namespace internal
}  // namespace orvane::platform
