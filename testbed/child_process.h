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

// What a child wrote to one of its streams. It lies in memory of the kernel's, so that a child
// never waits for somebody to read it, and is still there when the child has died.
class CapturedOutput {
 public:
  CapturedOutput();

  // The next whole line that contains `text`, without its line end; the lines before it are passed
  // over, and the next wait begins after it. Nothing when it has not come within `timeout`, or can
  // come no more since the child has ended; the next wait then sees the same lines again.
  std::optional<std::string> WaitForLine(std::string_view text, std::chrono::milliseconds timeout);

  // Everything so far, read or not.
  const std::string& Text();

  // How often `text` is in it so far.
  std::size_t Count(std::string_view text);

 private:
  friend class ChildProcess;

  void ReadMore();
  std::optional<std::string> TakeLine(std::string_view text, std::size_t* searched);

  platform::ScopedFd file_;
  int pidfd_ = -1;             // of the child, which owns it
  std::string text_;           // what has been read
  std::size_t next_line_ = 0;  // where in it the next wait begins
};

// How a process ended: with an exit code, or by a signal (then the code is -1).
struct ExitStatus {
  int code = -1;
  int signal = 0;

  friend bool operator==(const ExitStatus&, const ExitStatus&) = default;
};

// A child process with its output captured. It never stays behind: destroying this object kills it,
// and so does the end of the thread that started it. It begins with no signal blocked, no
// descriptor but the standard three, and nothing to read on standard input.
class ChildProcess {
 public:
  using Arguments = std::vector<std::string>;
  using Environment = std::map<std::string, std::string>;

  // Starts the program `arguments[0]` (looked for in PATH when there is no "/" in it). The
  // variables of `environment` come on top of this process's own. Null with a text for people in
  // `error` when that fails.
  static std::unique_ptr<ChildProcess> Start(const Arguments& arguments,
                                             const Environment& environment, std::string* error);

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  pid_t pid() const { return pid_; }
  CapturedOutput& out() { return out_; }  // standard output
  CapturedOutput& err() { return err_; }  // standard error

  // Does nothing once the end of the child has been seen by WaitForExit.
  void Signal(int signal_number);

  // Nothing when the child is still there after `timeout`.
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

// Starts a program as ChildProcess::Start does. That it can't be started is fatal.
std::unique_ptr<ChildProcess> StartProcess(const ChildProcess::Arguments& arguments,
                                           const ChildProcess::Environment& environment = {});

}  // namespace orvane::testbed

#endif  // TESTBED_CHILD_PROCESS_H_
