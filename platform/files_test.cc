#include "platform/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <initializer_list>
#include <string>
#include <system_error>
#include <thread>

#include "testbed/temporary_directory.h"

namespace orvane::platform {
namespace {

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

int OpenSomething() { return open("/", O_RDONLY | O_CLOEXEC); }

TEST(ScopedFdTest, ClosesItsDescriptor) {
  int fd = -1;
  {
    const ScopedFd owner(OpenSomething());
    fd = owner.get();
    EXPECT_TRUE(owner.is_valid());
    EXPECT_TRUE(IsOpen(fd));
  }
  EXPECT_FALSE(IsOpen(fd));
}

TEST(ScopedFdTest, HoldsNothingByDefault) {
  const ScopedFd nothing;
  EXPECT_FALSE(nothing.is_valid());
  EXPECT_EQ(nothing.get(), -1);
}

TEST(ScopedFdTest, OwnsWhatIsMovedToIt) {
  ScopedFd first(OpenSomething());
  const int fd = first.get();
  ScopedFd second(std::move(first));
  EXPECT_FALSE(first.is_valid());  // NOLINT(bugprone-use-after-move): what is promised
  EXPECT_EQ(second.get(), fd);
  second = ScopedFd();
  EXPECT_FALSE(second.is_valid());
  EXPECT_FALSE(IsOpen(fd));
}

TEST(RetryOnEintrTest, RepeatsOnlyAnInterruptedCall) {
  int calls = 0;
  EXPECT_EQ(RetryOnEintr([&calls] {
              errno = EINTR;
              return ++calls < 3 ? -1 : 42;
            }),
            42);
  EXPECT_EQ(calls, 3);

  calls = 0;
  EXPECT_EQ(RetryOnEintr([&calls] {
              ++calls;
              errno = EIO;
              return ssize_t{-1};
            }),
            -1);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(errno, EIO);
}

class FilesTest : public testing::Test {
 protected:
  FilePath Write(const std::string& contents) {
    const FilePath path = directory_.path() / "file";
    std::ofstream(path, std::ios::binary) << contents;
    return path;
  }

  testbed::TemporaryDirectory directory_;
};

TEST_F(FilesTest, ReadsEveryByte) {
  const std::string contents("a\0b\r\n\xff\n\0", 8);
  EXPECT_EQ(ReadFileToString(Write(contents)), contents);
}

TEST_F(FilesTest, ReadsFilesOfAnySize) {
  for (const std::size_t size : {0, 1, 4095, 4096, 4097, 3 * 1024 * 1024}) {
    std::string contents(size, 'x');
    if (size > 0) contents.back() = 'y';
    EXPECT_TRUE(ReadFileToString(Write(contents)) == contents) << size << " bytes";
  }
}

// Files of procfs and sysfs report a size of 0 or of a page, whatever they contain.
TEST_F(FilesTest, ReadsMoreThanTheSizeThatTheFileClaims) {
  struct stat status = {};
  ASSERT_EQ(stat("/proc/self/status", &status), 0);
  ASSERT_EQ(status.st_size, 0);
  EXPECT_NE(ReadFileToString("/proc/self/status").value_or("").find("\nPid:\t"), std::string::npos);
}

TEST_F(FilesTest, GivesNothingForWhatIsNoReadableFile) {
  EXPECT_EQ(ReadFileToString(directory_.path() / "missing"), std::nullopt);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(ReadFileToString(directory_.path()), std::nullopt);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(ReadFileToString(Write("x") / "below_a_file"), std::nullopt);
  EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(FilesTest, LeavesNoDescriptorOpen) {
  const int next_fd = OpenSomething();
  close(next_fd);
  EXPECT_TRUE(ReadFileToString(Write("x")).has_value());
  EXPECT_FALSE(ReadFileToString(directory_.path()).has_value());
  EXPECT_FALSE(ReadFileToString(directory_.path() / "missing").has_value());
  const ScopedFd after(OpenSomething());
  EXPECT_EQ(after.get(), next_fd);
}

mode_t ModeOf(const FilePath& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 07777U;
}

TEST_F(FilesTest, ReplacesAFileThatEveryoneMayRead) {
  const FilePath path = Write("a longer text");
  chmod(path.c_str(), 0600);
  const mode_t mask = umask(0077);
  EXPECT_TRUE(ReplaceFile(path, "text"));
  umask(mask);
  EXPECT_EQ(ReadFileToString(path), "text");
  EXPECT_EQ(ModeOf(path), 0644U);
  EXPECT_FALSE(PathExists(path.native() + ".new"));
}

// A reader that has opened the file still reads its old contents.
TEST_F(FilesTest, ReplacesAFileInsteadOfChangingIt) {
  const FilePath path = Write("old");
  const ScopedFd reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(ReplaceFile(path, "new"));
  EXPECT_EQ(ReadUpTo(reader.get(), 10), "old");
}

TEST_F(FilesTest, LeavesNoDraftAfterAFailedReplacement) {
  EXPECT_FALSE(ReplaceFile(directory_.path() / "missing/file", ""));
  EXPECT_EQ(errno, ENOENT);
  const FilePath path = directory_.path() / "directory";
  std::filesystem::create_directory(path);
  EXPECT_FALSE(ReplaceFile(path, ""));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_FALSE(PathExists(path.native() + ".new"));
}

TEST_F(FilesTest, KeepsTheFileIfItsReplacementCannotBeWritten) {
  const FilePath path = Write("old");
  EXPECT_EXIT(
      {
        testbed::LimitFileSize(4);
        const bool is_refused = !ReplaceFile(path, "longer") && errno == EFBIG;
        _exit(is_refused ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EQ(ReadFileToString(path), "old");
  EXPECT_FALSE(PathExists(path.native() + ".new"));
}

std::atomic<int> interruptions = 0;

// Interrupts the system calls of the test's thread every millisecond.
class Interrupter {
 public:
  Interrupter() {
    struct sigaction action = {};
    action.sa_handler = [](int) { ++interruptions; };
    sigaction(SIGALRM, &action, &old_action_);
    constexpr itimerval kEachMillisecond = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &kEachMillisecond, nullptr);
  }
  ~Interrupter() {
    constexpr itimerval kNever = {};
    setitimer(ITIMER_REAL, &kNever, nullptr);
    sigaction(SIGALRM, &old_action_, nullptr);
  }

 private:
  struct sigaction old_action_ = {};
};

// Opening and reading a named pipe block, so they are really interrupted.
TEST_F(FilesTest, SurvivesInterruptions) {
  const FilePath path = directory_.path() / "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);

  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGALRM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  constexpr int kInterruptions = 5;
  const auto wait_for_interruptions = [] {
    const int before = interruptions;
    while (interruptions < before + kInterruptions) std::this_thread::yield();
  };
  std::thread writer([&] {
    wait_for_interruptions();
    std::ofstream pipe(path);
    pipe << "first" << std::flush;
    wait_for_interruptions();
    pipe << "second";
  });
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);

  std::optional<std::string> contents;
  {
    const Interrupter interrupter;
    contents = ReadFileToString(path);
  }
  writer.join();
  EXPECT_EQ(contents, "firstsecond");
}

TEST_F(FilesTest, ReportsExistingPaths) {
  EXPECT_TRUE(PathExists(directory_.path()));
  EXPECT_FALSE(PathExists(directory_.path() / "file"));
  const FilePath file = Write("");
  EXPECT_TRUE(PathExists(file));
  EXPECT_FALSE(PathExists(file / "below_a_file"));
  EXPECT_FALSE(PathExists(""));
}

TEST_F(FilesTest, FollowsLinks) {
  const FilePath link = directory_.path() / "link";
  std::filesystem::create_symlink("file", link);
  EXPECT_FALSE(PathExists(link));
  Write("");
  EXPECT_TRUE(PathExists(link));
}

// Exits with 0 if those descriptors lead to /dev/null after they were closed and filled, and no
// other descriptor was opened.
[[noreturn]] void CloseAndFill(std::initializer_list<int> closed) {
  const int next = OpenSomething();
  close(next);
  for (const int fd : closed) close(fd);
  FillStandardDescriptors();
  bool is_filled = OpenSomething() == next;
  for (const int fd : closed) {
    std::error_code error;
    const FilePath link = "/proc/self/fd/" + std::to_string(fd);
    is_filled &= std::filesystem::read_symlink(link, error) == "/dev/null";
  }
  _exit(is_filled ? 0 : 1);
}

TEST(StandardDescriptorsDeathTest, ClosedOnesAreFilled) {
  EXPECT_EXIT(CloseAndFill({}), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(CloseAndFill({STDERR_FILENO}), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(CloseAndFill({STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}),
              testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orvane::platform
