#include "testbed/private_bus.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <utility>

#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::platform::bus {
namespace {

// Not a type of bus that dbus-daemon knows, so that no other configuration comes in.
constexpr char kConfig[] = R"(<!DOCTYPE busconfig PUBLIC
  "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
  "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>%ADDRESS%</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
    %RULES%
  </policy>
</busconfig>
)";

// Runs in the child; only what may be called between fork and exec.
[[noreturn]] void ExecDaemon(int address_fd, int log_fd, const char* config_argument,
                             const char* address_argument) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  fcntl(address_fd, F_SETFD, 0);
  dup2(log_fd, STDERR_FILENO);
  execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", "--nosyslog", config_argument,
         address_argument, static_cast<char*>(nullptr));
  _exit(127);
}

// The daemon writes its address when it listens, and nothing when it fails.
bool WaitForAddress(int fd) {
  char buffer[512];
  return RetryOnEintr([&] { return read(fd, buffer, sizeof(buffer)); }) > 0;
}

}  // namespace

PrivateBus::PrivateBus(std::string rules) : rules_(std::move(rules)) {
  // Short, and so not below TMPDIR: the path of a socket has 107 characters at most.
  char folder[] = "/tmp/wavelark-bus-XXXXXX";
  CHECK(mkdtemp(folder) != nullptr);
  folder_ = folder;
  address_ = "unix:path=" + (folder_ / "bus").string();
  WriteConfig();
  CHECK(setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), /*replace=*/1) == 0);
  Start();
}

PrivateBus::~PrivateBus() {
  Kill();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void PrivateBus::WriteConfig() const {
  std::string text = kConfig;
  const auto fill = [&text](const std::string& placeholder, const std::string& value) {
    text.replace(text.find(placeholder), placeholder.size(), value);
  };
  fill("%ADDRESS%", address_);
  fill("%RULES%", rules_);
  std::ofstream(ConfigPath()) << text;
}

void PrivateBus::Start() {
  CHECK(pid_ == -1);
  int ends[2];
  CHECK(pipe2(ends, O_CLOEXEC) == 0);
  ScopedFd read_end(ends[0]);
  ScopedFd write_end(ends[1]);
  const ScopedFd log(open(LogPath().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  CHECK(log.is_valid());
  const std::string config_argument = "--config-file=" + ConfigPath().string();
  const std::string address_argument = "--print-address=" + std::to_string(write_end.get());
  pid_ = fork();
  CHECK(pid_ >= 0);
  if (pid_ == 0) {
    ExecDaemon(write_end.get(), log.get(), config_argument.c_str(), address_argument.c_str());
  }
  write_end = ScopedFd();
  CHECK(WaitForAddress(read_end.get())) << "dbus-daemon does not start; is it installed? "
                                        << ReadFileToString(LogPath()).value_or("");
}

void PrivateBus::Kill() {
  if (pid_ == -1) return;
  kill(pid_, SIGKILL);
  RetryOnEintr([this] { return waitpid(pid_, nullptr, 0); });
  pid_ = -1;
}

}  // namespace orvane::platform::bus
