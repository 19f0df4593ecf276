#ifndef TESTBED_CHILD_PROCESS_H_
#define TESTBED_CHILD_PROCESS_H_

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace orvane::testbed {

// The output of a child on one stream. It is in an anonymous file, so the child never blocks on a
// write, and the output outlives the child.
class CapturedOutput {
 public:
  CapturedOutput();

  // Returns the next whole line that contains `text`, without its line end. Earlier lines are
  // skipped, and the next wait starts behind it. Returns nothing after `timeout`, or when the child
  // has ended without such a line; the next wait then sees the same lines again.
  std::optional<std::string> WaitForLine(std::string_view text, std::chrono::milliseconds timeout);

  // Returns everything so far.
  const std::string& Text();

  // Returns how often `text` occurs so far.
  std::size_t Count(std::string_view text);

 private:
  friend class ChildProcess;

  void ReadMore();
  std::optional<std::string> TakeLine(std::string_view text, std::size_t* searched);

  platform::ScopedFd file_;
  int pidfd_ = -1;             // owned by the child
  std::string text_;           // the output read so far
  std::size_t next_line_ = 0;  // where the next wait starts in `text_`
};

// How a process ended: by an exit code, or by a signal, with code -1.
struct ExitStatus {
  int code = -1;
  int signal = 0;

  friend bool operator==(const ExitStatus&, const ExitStatus&) = default;
};

// A child process with captured output. The destructor kills it, and so does the end of the thread
// that started it. The child starts with no blocked signals, only the standard descriptors, and
// empty standard input.
class ChildProcess {
 public:
  using Arguments = std::vector<std::string>;
  using Environment = std::map<std::string, std::string>;

  // Starts the program `arguments[0]`, which is searched in PATH unless it contains "/".
  // `environment` is added to the variables of this process. On failure returns null and sets
  // `error`.
  static std::unique_ptr<ChildProcess> Start(const Arguments& arguments,
                                             const Environment& environment, std::string* error);

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  pid_t pid() const { return pid_; }
  CapturedOutput& out() { return out_; }  // standard output
  CapturedOutput& err() { return err_; }  // standard error

  // Sends a signal. Does nothing after WaitForExit has returned the exit status.
  void Signal(int signal_number);

  // Returns nothing if the child still runs after `timeout`.
  std::optional<ExitStatus> WaitForExit(std::chrono::milliseconds timeout);

 private:
  ChildProcess() = default;

  void Exec(const char* const* arguments, const char* const* environment, pid_t parent,
            int error_pipe);
  void Reap();

  pid_t pid_ = -1;
  platform::ScopedFd pidfd_;
  std::optional<ExitStatus> exit_status_;
  CapturedOutput out_;
  CapturedOutput err_;
};

// Starts a program like ChildProcess::Start. Aborts on failure.
std::unique_ptr<ChildProcess> StartProcess(const ChildProcess::Arguments& arguments,
                                           const ChildProcess::Environment& environment = {});

}  // namespace orvane::testbed

#endif  // TESTBED_CHILD_PROCESS_H_
