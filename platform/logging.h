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
//   CHECK_TEXT(ok, "a fixed text");          // as CHECK, the condition's text given apart
//
// What is streamed is written as fmt writes it; integers of every width are decimal numbers. A line
// that is off costs one comparison and evaluates nothing to the right of its macro.

namespace orvane::platform {

// By consequence. kVerbose: only for somebody who asked. kInfo: a state that changed. kWarning:
// something did not work and will be tried again or is lost. kError: a system call or a peer
// failed. kFatal: the process ends.
enum class Severity : std::uint8_t { kVerbose, kInfo, kWarning, kError, kFatal };

// Options of InitLog, to be or-ed together.
inline constexpr unsigned kLogToSystemLog = 1;
inline constexpr unsigned kLogToStderr = 2;
inline constexpr unsigned kLogHeader = 4;  // time, severity, file and line before each message

// Sets where log lines go; until then, to standard error, with a header. To the journal each begins
// with its priority (sd-daemon(3)). Also makes an exception that nobody catches a FATAL line with
// its text. `name` is the program's in the system log, whose absence is no error.
void InitLog(unsigned options, const std::string& name);

// Verbose lines up to this level are written. The start value is 0: none.
void SetVerboseLevel(int level);

namespace internal {
class LogMessage;
}

// Takes every line that is logged while it is alive, beside the usual places. For tests. The one
// that was made last is to be destroyed first.
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

// One log line, written when it is destroyed. A kFatal one then ends the process by SIGABRT.
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
  // By the function that the library has ready. Formatting right into the buffer would be a
  // template of its own, 80 kB of it.
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

// A log line that ends with the system error that was current when it was begun.
class ErrnoLogMessage {
 public:
  ErrnoLogMessage(Severity severity, const char* file, int line);
  ~ErrnoLogMessage();

  LogMessage& stream() { return message_; }

 private:
  int errno_;
  LogMessage message_;
};

// A kFatal line that begins with a failed check. The separator before the caller's message is
// written only where there is one.
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

// Makes both branches of the macros' conditional expression void.
struct Voidify {
  void operator&(const LogMessage&) const {}
  void operator&(const CheckFailure&) const {}
};

inline constexpr Severity kSeverityINFO = Severity::kInfo;
inline constexpr Severity kSeverityWARNING = Severity::kWarning;
inline constexpr Severity kSeverityERROR = Severity::kError;
inline constexpr Severity kSeverityFATAL = Severity::kFatal;

}  // namespace internal

// The text of a system error and its number, such as "No such file or directory (2)".
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
