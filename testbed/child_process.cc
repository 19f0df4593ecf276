#include "testbed/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/logging.h"

namespace orvane::testbed {
namespace {

using platform::RetryOnEintr;
using platform::ScopedFd;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// Interval between reads of captured output, since a write to it causes no event.
constexpr milliseconds kPollInterval(2);

milliseconds TimeLeft(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
  return std::max(left, milliseconds(0));
}

// Returns whether the process ends within `timeout`. A pidfd is readable once it has ended.
bool WaitForPidfd(int pidfd, milliseconds timeout) {
  pollfd watched = {.fd = pidfd, .events = POLLIN, .revents = 0};
  return poll(&watched, 1, static_cast<int>(timeout.count())) > 0;
}

// Returns this process's variables with `changes` added, each as "name=value".
std::vector<std::string> MergeEnvironment(const ChildProcess::Environment& changes) {
  std::vector<std::string> merged;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text(*variable);
    if (!changes.contains(std::string(text.substr(0, text.find('='))))) merged.emplace_back(text);
  }
  for (const auto& [name, value] : changes) merged.push_back(name + "=" + value);
  return merged;
}

// Returns the arguments for exec, valid as long as `texts`.
std::vector<const char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<const char*> pointers;
  for (const std::string& text : texts) pointers.push_back(text.c_str());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

CapturedOutput::CapturedOutput() : file_(memfd_create("captured-output", MFD_CLOEXEC)) {
  CHECK(file_.is_valid()) << "Can't capture output";
}

void CapturedOutput::ReadMore() {
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t length = RetryOnEintr([&] {
      return pread(file_.get(), buffer.data(), buffer.size(), static_cast<off_t>(text_.size()));
    });
    if (length <= 0) return;
    text_.append(buffer.data(), static_cast<std::size_t>(length));
  }
}

// Searches the whole lines from `*searched` on, and moves it past those that don't match.
std::optional<std::string> CapturedOutput::TakeLine(std::string_view text, std::size_t* searched) {
  for (;;) {
    const std::size_t end = text_.find('\n', *searched);
    if (end == std::string::npos) return std::nullopt;
    const std::string_view line = std::string_view(text_).substr(*searched, end - *searched);
    *searched = end + 1;
    if (line.find(text) != std::string_view::npos) {
      next_line_ = *searched;
      return std::string(line);
    }
  }
}

std::optional<std::string> CapturedOutput::WaitForLine(std::string_view text,
                                                       milliseconds timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  std::size_t searched = next_line_;
  for (;;) {
    // Checked before reading, so that the child's last lines are not missed.
    const bool ended = WaitForPidfd(pidfd_, milliseconds(0));
    ReadMore();
    if (std::optional<std::string> line = TakeLine(text, &searched)) return line;
    if (ended || Clock::now() >= deadline) return std::nullopt;
    WaitForPidfd(pidfd_, std::min(kPollInterval, TimeLeft(deadline)));
  }
}

const std::string& CapturedOutput::Text() {
  ReadMore();
  return text_;
}

std::size_t CapturedOutput::Count(std::string_view text) {
  ReadMore();
  std::size_t count = 0;
  for (std::size_t at = text_.find(text); at != std::string::npos; at = text_.find(text, at + 1)) {
    ++count;
  }
  return count;
}

std::unique_ptr<ChildProcess> ChildProcess::Start(const Arguments& arguments,
                                                  const Environment& environment,
                                                  std::string* error) {
  // Nothing may allocate between fork and exec, so everything is prepared before.
  const std::vector<std::string> variables = MergeEnvironment(environment);
  const std::vector<const char*> argument_pointers = Pointers(arguments);
  const std::vector<const char*> variable_pointers = Pointers(variables);
  std::array<int, 2> ends;
  CHECK(pipe2(ends.data(), O_CLOEXEC) == 0);
  const ScopedFd read_end(ends[0]);
  ScopedFd write_end(ends[1]);

  std::unique_ptr<ChildProcess> child(new ChildProcess);
  const pid_t parent = getpid();
  child->pid_ = fork();
  CHECK(child->pid_ >= 0) << "Can't fork";
  if (child->pid_ == 0) {
    child->Exec(argument_pointers.data(), variable_pointers.data(), parent, write_end.get());
  }
  child->pidfd_ = ScopedFd(static_cast<int>(syscall(SYS_pidfd_open, child->pid_, 0)));
  CHECK(child->pidfd_.is_valid());
  child->out_.pidfd_ = child->err_.pidfd_ = child->pidfd_.get();

  // A successful exec closes the pipe with nothing written to it.
  write_end = ScopedFd();
  int exec_error = 0;
  const ssize_t length =
      RetryOnEintr([&] { return read(read_end.get(), &exec_error, sizeof(exec_error)); });
  if (length == 0) return child;
  *error = "Can't start " + arguments.front() + ": " + platform::SystemErrorText(exec_error);
  return nullptr;
}

// Runs in the child. Never returns.
void ChildProcess::Exec(const char* const* arguments, const char* const* environment, pid_t parent,
                        int error_pipe) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(EXIT_FAILURE);  // the parent died before prctl
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  dup2(nothing, STDIN_FILENO);
  dup2(out_.file_.get(), STDOUT_FILENO);
  dup2(err_.file_.get(), STDERR_FILENO);
  close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
  execvpe(arguments[0], const_cast<char* const*>(arguments), const_cast<char* const*>(environment));
  const int error = errno;
  [[maybe_unused]] const ssize_t written = write(error_pipe, &error, sizeof(error));
  _exit(EXIT_FAILURE);
}

ChildProcess::~ChildProcess() {
  Signal(SIGKILL);
  if (!exit_status_) Reap();
}

void ChildProcess::Signal(int signal_number) {
  if (!exit_status_) kill(pid_, signal_number);
}

std::optional<ExitStatus> ChildProcess::WaitForExit(milliseconds timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  while (!exit_status_) {
    const milliseconds left = TimeLeft(deadline);
    if (WaitForPidfd(pidfd_.get(), left)) {
      Reap();
    } else if (left.count() == 0) {
      return std::nullopt;
    }
  }
  return exit_status_;
}

void ChildProcess::Reap() {
  int status = 0;
  RetryOnEintr([&] { return waitpid(pid_, &status, 0); });
  exit_status_.emplace();
  if (WIFEXITED(status)) exit_status_->code = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) exit_status_->signal = WTERMSIG(status);
}

std::unique_ptr<ChildProcess> StartProcess(const ChildProcess::Arguments& arguments,
                                           const ChildProcess::Environment& environment) {
  std::string error;
  auto child = ChildProcess::Start(arguments, environment, &error);
  CHECK(child != nullptr) << error;
  return child;
}

}  // namespace orvane::testbed
