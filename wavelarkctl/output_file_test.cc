#include "wavelarkctl/output_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "testbed/temporary_directory.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

using platform::FilePath;

class OutputFileTest : public testing::Test {
 protected:
  struct stat Status() const {
    struct stat status = {};
    EXPECT_EQ(lstat(path_.c_str(), &status), 0);
    return status;
  }

  // Also counts a draft that is left.
  std::ptrdiff_t CountFiles() const {
    return std::distance(std::filesystem::directory_iterator(directory_.path()), {});
  }

  // The message of the failure to write `contents`.
  std::string Fail(const FilePath& path, const std::string& contents) const {
    try {
      WriteOutputFile(path, contents);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.status(), ExitStatus::kUnavailable);
      return failure.what();
    }
    return "";
  }

  testbed::TemporaryDirectory directory_;
  FilePath path_ = directory_.path() / "page.html";
};

TEST_F(OutputFileTest, AnOldFileStaysUntilTheNewOneIsComplete) {
  testbed::WriteFile(path_, "old");
  EXPECT_EXIT(
      {
        testbed::LimitFileSize(100);
        const std::string message = Fail(path_, std::string(1000, 'x'));
        _exit(message == path_.native() + ": can't be written: File too large (27)" ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EQ(platform::ReadFileToString(path_), "old");
  EXPECT_EQ(CountFiles(), 1);
}

// A reader that has opened the file still reads its old contents.
TEST_F(OutputFileTest, AFileIsReplacedAndKeepsItsModeAndOwner) {
  testbed::WriteFile(path_, "a longer text");
  ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
  if (geteuid() == 0) {
    ASSERT_EQ(chown(path_.c_str(), 1, 1), 0);
  }
  const struct stat before = Status();
  const platform::ScopedFd reader(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
  WriteOutputFile(path_, "new");
  EXPECT_EQ(platform::ReadUpTo(reader.get(), 100), "a longer text");
  EXPECT_EQ(platform::ReadFileToString(path_), "new");
  EXPECT_EQ(Status().st_mode, before.st_mode);
  EXPECT_EQ(Status().st_uid, before.st_uid);
  EXPECT_EQ(Status().st_gid, before.st_gid);
  EXPECT_EQ(CountFiles(), 1);
}

TEST_F(OutputFileTest, TheUmaskGivesANewFileItsMode) {
  const mode_t mask = umask(0027);
  WriteOutputFile(path_, "new");
  EXPECT_EQ(umask(mask), 0027U);
  EXPECT_EQ(Status().st_mode & 07777U, 0640U);
}

TEST_F(OutputFileTest, LinksDevicesAndPipesAreWrittenInPlace) {
  const FilePath target = directory_.path() / "target.html";
  std::filesystem::create_symlink(target, path_);
  for (const char* contents : {"first", "2nd"}) {  // without the target, and with it
    WriteOutputFile(path_, contents);
    EXPECT_TRUE(S_ISLNK(Status().st_mode));
    EXPECT_EQ(platform::ReadFileToString(target), contents);
  }
  std::filesystem::remove(path_);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const platform::ScopedFd reader(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  WriteOutputFile(path_, "text");
  EXPECT_TRUE(S_ISFIFO(Status().st_mode));
  EXPECT_EQ(platform::ReadUpTo(reader.get(), 100), "text");
  EXPECT_EQ(Fail("/dev/full", "text"), "/dev/full: can't be written: No space left on device (28)");
}

TEST_F(OutputFileTest, AFileBesideWhichNoneCanBeCreatedIsWrittenInPlace) {
  const std::string name(250, 'x');  // no room for a longer name
  const FilePath path = directory_.path() / name;
  testbed::WriteFile(path, "a longer text");
  WriteOutputFile(path, "new");
  EXPECT_EQ(platform::ReadFileToString(path), "new");
}

}  // namespace
}  // namespace orvane::wavelarkctl
