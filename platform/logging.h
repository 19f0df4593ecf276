#ifndef PLATFORM_LOGGING_H_
#define PLATFORM_LOGGING_H_

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

// Logging and checks.
//
//   LOG(WARNING) << "Could not attach to hostapd";
//   PLOG(ERROR) << "Failed to connect";           // adds ": " and the text and number of errno
//   VLOG(1) << "Callback: " << 7;                 // off unless the verbose level is 1 or more
//   CHECK(!started_) << "message";                // FATAL "Check failed: !started_ message"
//   CHECK_TEXT(ok, "a fixed text");               // the same, with this text as the condition
//
// Values are formatted by fmt; integers of every width are decimal numbers. A verbose line that is
// off costs one comparison and does not evaluate its arguments.

namespace orvane::platform {

// Levels are defined by consequence. kVerbose: details, off by default. kInfo: a state changed.
// kWarning: something failed and is retried or lost. kError: a system call or a peer failed.
// kFatal: the process ends.
enum class Severity : std::uint8_t { kVerbose, kInfo, kWarning, kError, kFatal };

// Options of InitLog, combined by |.
inline constexpr unsigned kLogToSystemLog = 1;
inline constexpr unsigned kLogToStderr = 2;
inline constexpr unsigned kLogHeader = 4;  // time, severity, file and line before each message

// Sets where log lines go. Before the first call they go to standard error with a header. If
// standard error is the journal, each line begins with its priority (sd-daemon(3)). `name` is the
// program's name in the system log; a missing system log is no error. From now on an uncaught
// exception logs its text at FATAL.
void InitLog(unsigned options, const std::string& name);

// Enables verbose lines up to this level. The default is 0: none.
void SetVerboseLevel(int level);

namespace internal {
class LogMessage;
}

// Also receives every log line during its lifetime. For tests. Listeners must be destroyed in
// reverse order of creation.
class LogListener {
 public:
  using Callback = std::function<void(Severity severity, std::string_view message)>;

  explicit LogListener(Callback callback);
  LogListener(const LogListener&) = delete;
  LogListener& operator=(const LogListener&) = delete;
  ~LogListener();

 private:
  friend class internal::LogMessage;

  Callback callback_;
  LogListener* previous_;
};

namespace internal {

inline int verbose_level = 0;

inline bool VerboseIsOn(int level) { return level <= verbose_level; }

// One log line, written by the destructor. A kFatal line then ends the process by SIGABRT.
class LogMessage {
 public:
  LogMessage(Severity severity, const char* file, int line);
  LogMessage(const LogMessage&) = delete;
  LogMessage& operator=(const LogMessage&) = delete;
  ~LogMessage();

  LogMessage& operator<<(std::string_view text) {
    text_.append(text.data(), text.data() + text.size());
    return *this;
  }
  LogMessage& operator<<(const char* text) { return *this << std::string_view(text); }
  LogMessage& operator<<(const std::string& text) { return *this << std::string_view(text); }
  // vformat is compiled into the library. Formatting directly into the buffer would instantiate
  // 80 kB of templates in the program.
  template <typename T>
  LogMessage& operator<<(const T& value) {
    return *this << fmt::vformat("{}", fmt::make_format_args(value));
  }

 private:
  Severity severity_;
  const char* file_;
  int line_;
  fmt::memory_buffer text_;
};

// A log line that ends with the text of errno as it was at construction.
class ErrnoLogMessage {
 public:
  ErrnoLogMessage(Severity severity, const char* file, int line);
  ~ErrnoLogMessage();

  LogMessage& stream() { return message_; }

 private:
  int errno_;
  LogMessage message_;
};

// A kFatal line that begins with the failed condition, followed by the caller's message, if any.
class CheckFailure {
 public:
  CheckFailure(const char* condition, const char* file, int line);

  template <typename T>
  CheckFailure& operator<<(const T& value) {
    if (!std::exchange(has_message_, true)) message_ << " ";
    message_ << value;
    return *this;
  }

 private:
  bool has_message_ = false;
  LogMessage message_;
};

// Gives both branches of the macros' conditional expression the type void.
struct Voidify {
  void operator&(const LogMessage&) const {}
  void operator&(const CheckFailure&) const {}
};

inline constexpr Severity kSeverityINFO = Severity::kInfo;
inline constexpr Severity kSeverityWARNING = Severity::kWarning;
inline constexpr Severity kSeverityERROR = Severity::kError;
inline constexpr Severity kSeverityFATAL = Severity::kFatal;

}  // namespace internal

// Returns the text of a system error and its number, such as "No such file or directory (2)".
std::string SystemErrorText(int error_number);

}  // namespace orvane::platform

#define LOG(severity)                                                                         \
  ::orvane::platform::internal::LogMessage(::orvane::platform::internal::kSeverity##severity, \
                                           __FILE__, __LINE__)

#define PLOG(severity)                                                                             \
  ::orvane::platform::internal::ErrnoLogMessage(::orvane::platform::internal::kSeverity##severity, \
                                                __FILE__, __LINE__)                                \
      .stream()

#define VLOG(level)                                                                          \
  !::orvane::platform::internal::VerboseIsOn(level)                                          \
      ? static_cast<void>(0)                                                                 \
      : ::orvane::platform::internal::Voidify() &                                            \
            ::orvane::platform::internal::LogMessage(::orvane::platform::Severity::kVerbose, \
                                                     __FILE__, __LINE__)

#define CHECK_TEXT(condition, text)                       \
  (condition) ? static_cast<void>(0)                      \
              : ::orvane::platform::internal::Voidify() & \
                    ::orvane::platform::internal::CheckFailure(text, __FILE__, __LINE__)

#define CHECK(condition) CHECK_TEXT(condition, #condition)

#endif  // PLATFORM_LOGGING_H_
