// Tests the output to the system log. Each case runs in a child process with its own /dev, and acts
// as the system log itself.

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::platform {
namespace {

using testing::ExitedWithCode;

bool WriteFile(const char* path, const std::string& contents) {
  return static_cast<bool>(std::ofstream(path) << contents << std::flush);
}

// Makes the process root of its own user namespace, which every user may do.
bool EnterPrivateDev() {
  const std::string user_map = fmt::format("0 {} 1", geteuid());
  const std::string group_map = fmt::format("0 {} 1", getegid());
  return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && WriteFile("/proc/self/uid_map", user_map) &&
         WriteFile("/proc/self/setgroups", "deny") && WriteFile("/proc/self/gid_map", group_map) &&
         mount("tmpfs", "/dev", "tmpfs", 0, nullptr) == 0;
}

bool PrivateDevIsPossible() {
  const pid_t child = fork();
  if (child == 0) _exit(EnterPrivateDev() ? 0 : 1);
  int status = 0;
  return RetryOnEintr([&] { return waitpid(child, &status, 0); }) == child && status == 0;
}

class SystemLog {
 public:
  SystemLog() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  }

  // Copies the lines that the system log received to standard error.
  void Show() {
    std::array<char, 1024> buffer;
    ssize_t length = 0;
    while ((length = recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT)) >= 0) {
      std::fprintf(stderr, "system log: %.*s\n", static_cast<int>(length), buffer.data());
    }
  }

 private:
  ScopedFd socket_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

class SystemLogDeathTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!PrivateDevIsPossible()) GTEST_SKIP() << "no namespaces for this user, or in this emulator";
  }
};

[[noreturn]] void LogOneLineOfEachSeverity() {
  EnterPrivateDev();
  SystemLog system_log;
  InitLog(kLogToSystemLog | kLogHeader, "wavelark-test");
  LOG(INFO) << "one {} %s";
  LOG(WARNING) << "two";
  LOG(ERROR) << "three";
  SetVerboseLevel(1);
  VLOG(1) << "four";
  system_log.Show();
  std::exit(0);
}

// 24 is the facility "daemon"; 3 is error, 4 warning, 6 information, 7 debug.
TEST_F(SystemLogDeathTest, SendsNameProcessAndPriority) {
  EXPECT_EXIT(LogOneLineOfEachSeverity(), ExitedWithCode(0),
              "^system log: <30>.* wavelark-test\\[[0-9]+\\]: [-0-9]+ [:.0-9]+ INFO "
              "platform/system_log_test.cc:[0-9]+\\] one \\{\\} %s\n"
              "system log: <28>.* wavelark-test.* WARNING .*\\] two\n"
              "system log: <27>.* wavelark-test.* ERROR .*\\] three\n"
              "system log: <31>.* wavelark-test.* VERBOSE1 .*\\] four\n$");
}

[[noreturn]] void InitialiseTwice() {
  EnterPrivateDev();
  SystemLog system_log;
  InitLog(kLogToSystemLog, "first-name");
  LOG(INFO) << "one";
  InitLog(kLogToSystemLog, "second-name");
  LOG(INFO) << "two";
  system_log.Show();
  std::exit(0);
}

TEST_F(SystemLogDeathTest, TheLastNameCounts) {
  EXPECT_EXIT(InitialiseTwice(), ExitedWithCode(0),
              "^system log: <30>.* first-name\\[[0-9]+\\]: one\n"
              "system log: <30>.* second-name\\[[0-9]+\\]: two\n$");
}

[[noreturn]] void LogToAnAbsentSystemLog() {
  EnterPrivateDev();
  InitLog(kLogToSystemLog | kLogToStderr, "wavelark-test");
  LOG(ERROR) << "one";
  SystemLog system_log;
  LOG(ERROR) << "two";
  system_log.Show();
  std::exit(0);
}

TEST_F(SystemLogDeathTest, AnAbsentSystemLogIsNoErrorAndMayComeLater) {
  EXPECT_EXIT(LogToAnAbsentSystemLog(), ExitedWithCode(0),
              "^one\ntwo\nsystem log: <27>.* wavelark-test\\[[0-9]+\\]: two\n$");
}

[[noreturn]] void LoseTheSystemLog() {
  EnterPrivateDev();
  InitLog(kLogToSystemLog | kLogToStderr, "wavelark-test");
  {
    SystemLog system_log;
    LOG(ERROR) << "one";
    system_log.Show();
  }
  unlink("/dev/log");
  LOG(ERROR) << "two";
  SystemLog system_log;
  LOG(ERROR) << "three";
  system_log.Show();
  std::exit(0);
}

TEST_F(SystemLogDeathTest, OutlivesARestartOfTheSystemLog) {
  EXPECT_EXIT(LoseTheSystemLog(), ExitedWithCode(0),
              "^one\nsystem log: <27>.*: one\ntwo\nthree\nsystem log: <27>.*: three\n$");
}

}  // namespace
}  // namespace orvane::platform
