#include "platform/logging.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace orvane::platform {
namespace {

struct SeverityRow {
  spdlog::level::level_enum level;
  std::string_view name;
  std::string_view priority;  // as systemd's journal takes it at the beginning of a line
};

// In the order of Severity.
constexpr std::array<SeverityRow, 5> kSeverities = {{
    {spdlog::level::debug, "VERBOSE1", "<7>"},
    {spdlog::level::info, "INFO", "<6>"},
    {spdlog::level::warn, "WARNING", "<4>"},
    {spdlog::level::err, "ERROR", "<3>"},
    {spdlog::level::critical, "FATAL", "<2>"},
}};

const SeverityRow& RowOf(Severity severity) {
  return kSeverities[static_cast<std::size_t>(severity)];
}

// The library is only ever given levels of ours.
const SeverityRow& RowOf(spdlog::level::level_enum level) {
  return *std::ranges::find(kSeverities, level, &SeverityRow::level);
}

// %* in a pattern: our own name of the severity.
class SeverityFlag : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& message, const std::tm& /*time*/,
              spdlog::memory_buf_t& out) override {
    const std::string_view name = RowOf(message.level).name;
    out.append(name.data(), name.data() + name.size());
  }

  std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<SeverityFlag>();
  }
};

std::unique_ptr<spdlog::formatter> MakeFormatter(unsigned options, const std::string& line_end) {
  auto formatter =
      std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::local, line_end);
  formatter->add_flag<SeverityFlag>('*');
  formatter->set_pattern((options & kLogHeader) != 0 ? "%Y-%m-%d %H:%M:%S.%f %* %g:%#] %v" : "%v");
  return formatter;
}

// Each line of a message with its priority before it, which the journal takes off.
class JournalFormatter : public spdlog::formatter {
 public:
  explicit JournalFormatter(std::unique_ptr<spdlog::formatter> message)
      : message_(std::move(message)) {}

  void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& out) override {
    const std::string_view priority = RowOf(message.level).priority;
    spdlog::memory_buf_t text;
    message_->format(message, text);
    bool begins = true;
    for (const char character : text) {
      if (begins) out.append(priority.data(), priority.data() + priority.size());
      out.push_back(character);
      begins = character == '\n';
    }
  }

  std::unique_ptr<spdlog::formatter> clone() const override {
    return std::make_unique<JournalFormatter>(message_->clone());
  }

 private:
  std::unique_ptr<spdlog::formatter> message_;
};

// systemd tells which file it has given as standard error; somebody may have put another in its
// place.
bool StderrIsTheJournal() {
  const char* journal = std::getenv("JOURNAL_STREAM");
  struct stat file = {};
  return journal != nullptr && fstat(STDERR_FILENO, &file) == 0 &&
         fmt::format("{}:{}", file.st_dev, file.st_ino) == journal;
}

std::unique_ptr<spdlog::formatter> MakeStderrFormatter(unsigned options) {
  auto formatter = MakeFormatter(options, "\n");
  if (!StderrIsTheJournal()) return formatter;
  return std::make_unique<JournalFormatter>(std::move(formatter));
}

std::unique_ptr<spdlog::logger> MakeLogger(unsigned options, const std::string& name) {
  std::vector<spdlog::sink_ptr> sinks;
  if ((options & kLogToStderr) != 0) {
    sinks.push_back(std::make_shared<spdlog::sinks::stderr_sink_st>());
    sinks.back()->set_formatter(MakeStderrFormatter(options));
  }
  if ((options & kLogToSystemLog) != 0) {
    sinks.push_back(std::make_shared<spdlog::sinks::syslog_sink_st>(name, LOG_PID, LOG_DAEMON,
                                                                    /*enable_formatting=*/true));
    // Each datagram to the system log is a line; an end of line would be part of its text.
    sinks.back()->set_formatter(MakeFormatter(options, ""));
  }
  auto logger = std::make_unique<spdlog::logger>(name, sinks.begin(), sinks.end());
  logger->set_level(spdlog::level::trace);
  // A failing sink (standard error closed, say) must not be reported on that very sink.
  logger->set_error_handler([](const std::string& /*text*/) {});
  return logger;
}

std::unique_ptr<spdlog::logger>& CurrentLogger() {
  static auto& logger =
      *new std::unique_ptr<spdlog::logger>(MakeLogger(kLogToStderr | kLogHeader, ""));
  return logger;
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
  // A logger that goes closes the system log, so it has to go before the new one opens it.
  CurrentLogger().reset();
  CurrentLogger() = MakeLogger(options, name);
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
  CurrentLogger()->log(spdlog::source_loc(file_, line_, ""), RowOf(severity_).level,
                       spdlog::string_view_t(text_.data(), text_.size()));
  for (const LogListener* listener = current_listener; listener != nullptr;
       listener = listener->previous_) {
    listener->callback_(severity_, std::string_view(text_.data(), text_.size()));
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
