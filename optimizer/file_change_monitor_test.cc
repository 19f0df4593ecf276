#include "optimizer/file_change_monitor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "testbed/temporary_directory.h"

namespace orvane::ap {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FileChangeMonitorTest : public ::testing::Test {
 protected:
  platform::FilePath File() const { return directory_.path() / "wlan-2400mhz"; }

  void Watch() {
    monitor_ = std::make_unique<FileChangeMonitor>(loop_, File(), [this] { ++changes_; });
  }

  static void Write(const platform::FilePath& path) { std::ofstream(path) << "text"; }

  // Returns the number of changes noticed since the last call.
  int Changes() {
    loop_.RunUntilIdle();
    return std::exchange(changes_, 0);
  }

  testbed::TemporaryDirectory directory_;
  platform::ManualLoop loop_;
  int changes_ = 0;
  std::unique_ptr<FileChangeMonitor> monitor_;
};

TEST_F(FileChangeMonitorTest, NothingHappensWithoutAChange) {
  Write(File());
  Watch();
  EXPECT_EQ(Changes(), 0);
}

TEST_F(FileChangeMonitorTest, NoticesCreationModificationAndDeletion) {
  Watch();
  std::ofstream(File()).flush();
  EXPECT_EQ(Changes(), 1);
  Write(File());
  EXPECT_EQ(Changes(), 1);
  std::filesystem::remove(File());
  EXPECT_EQ(Changes(), 1);
  Write(File());
  EXPECT_EQ(Changes(), 1);
}

TEST_F(FileChangeMonitorTest, NoticesDeletionOfAFileThatWasThereFromTheStart) {
  Write(File());
  Watch();
  std::filesystem::remove(File());
  EXPECT_EQ(Changes(), 1);
}

TEST_F(FileChangeMonitorTest, OtherFilesOfTheDirectoryDoNotMatter) {
  Watch();
  Write(directory_.path() / "wlan-2400mhz2");
  Write(directory_.path() / "wlan-2400mh");
  Write(directory_.path() / "2400mhz");
  Write(directory_.path() / "other");
  std::filesystem::remove(directory_.path() / "other");
  EXPECT_EQ(Changes(), 0);
}

TEST_F(FileChangeMonitorTest, SeveralChangesInOneReadRunTheCallbackOnce) {
  Watch();
  for (int i = 0; i < 5; ++i) {
    Write(File());
    std::filesystem::remove(File());
  }
  Write(File());
  EXPECT_EQ(Changes(), 1);
}

TEST_F(FileChangeMonitorTest, WhatComesAfterAChangeInOneReadDoesNotHideIt) {
  Watch();
  Write(File());
  Write(directory_.path() / "other");
  EXPECT_EQ(Changes(), 1);
}

TEST_F(FileChangeMonitorTest, AFileThatIsMadeAnewInOneReadIsFollowed) {
  Write(File());
  Watch();
  std::filesystem::remove(File());
  Write(File());
  EXPECT_EQ(Changes(), 1);
  std::filesystem::remove(File());
  EXPECT_EQ(Changes(), 1);
}

TEST_F(FileChangeMonitorTest, ANameAloneIsAFileOfTheCurrentDirectory) {
  const platform::FilePath before = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path());
  const FileChangeMonitor monitor(loop_, "wlan-2400mhz", [this] { ++changes_; });
  std::filesystem::current_path(before);
  Write(File());
  EXPECT_EQ(Changes(), 1);
}

TEST_F(FileChangeMonitorTest, ADirectoryThatDoesNotExistIsNoErrorAndIsNeverNoticed) {
  const platform::FilePath file = directory_.path() / "missing" / "wlan-2400mhz";
  const FileChangeMonitor monitor(loop_, file, [this] { ++changes_; });
  std::filesystem::create_directory(file.parent_path());
  Write(file);
  EXPECT_EQ(Changes(), 0);
}

TEST_F(FileChangeMonitorTest, TheWatchDiesWithItsDirectory) {
  Watch();
  std::filesystem::remove(directory_.path());
  EXPECT_EQ(Changes(), 1);
  std::filesystem::create_directory(directory_.path());
  Write(File());
  EXPECT_EQ(Changes(), 0);
}

TEST_F(FileChangeMonitorTest, TheCallbackMayDestroyTheMonitor) {
  std::string after;
  monitor_ = std::make_unique<FileChangeMonitor>(loop_, File(),
                                                 [this, &after, big = std::string(100, 'x')] {
                                                   monitor_.reset();
                                                   after = big;  // still there
                                                 });
  Write(File());
  loop_.RunUntilIdle();
  EXPECT_EQ(monitor_, nullptr);
  EXPECT_EQ(after, std::string(100, 'x'));
}

TEST_F(FileChangeMonitorTest, DestructionClosesTheDescriptor) {
  const auto count = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = count();
  Watch();
  EXPECT_EQ(count(), before + 1);
  monitor_.reset();
  EXPECT_EQ(count(), before);
}

// Tests the handler with a descriptor that is not inotify's.
class FileChangeMonitorReadTest : public FileChangeMonitorTest {
 protected:
  FileChangeMonitorReadTest() {
    Watch();
    std::array<int, 2> ends;
    EXPECT_EQ(pipe(ends.data()), 0);
    read_end_ = platform::ScopedFd(ends[0]);
    write_end_ = platform::ScopedFd(ends[1]);
  }

  void WriteRecord(std::uint32_t mask, std::uint32_t length, const std::string& name) {
    const inotify_event header = {1, mask, 0, length};
    std::string record(reinterpret_cast<const char*>(&header), sizeof(header));
    record += name;
    ASSERT_EQ(write(write_end_.get(), record.data(), record.size()),
              static_cast<ssize_t>(record.size()));
  }

  platform::ScopedFd read_end_;
  platform::ScopedFd write_end_;
  std::vector<std::string> log_;
  platform::LogListener listener_{[this](platform::Severity severity, std::string_view message) {
    EXPECT_EQ(severity, platform::Severity::kWarning);
    log_.emplace_back(message);
  }};
};

TEST_F(FileChangeMonitorReadTest, AFailedSizeRequestIsLoggedAndTheBatchSkipped) {
  monitor_->OnReadReady(-1);
  EXPECT_THAT(log_, ElementsAre("Failed to retrieve buffer size"));
  EXPECT_EQ(changes_, 0);
}

TEST_F(FileChangeMonitorReadTest, AFailedReadIsLoggedAndTheBatchSkipped) {
  // FIONREAD works on the write end of a pipe, but read(2) fails.
  WriteRecord(IN_CREATE, 0, "");
  monitor_->OnReadReady(write_end_.get());
  EXPECT_THAT(log_, ElementsAre("read() failed.  Returned: -1"));
  EXPECT_EQ(changes_, 0);
}

TEST_F(FileChangeMonitorReadTest, NothingToReadIsNothing) {
  write_end_ = platform::ScopedFd();
  monitor_->OnReadReady(read_end_.get());
  EXPECT_THAT(log_, IsEmpty());
  EXPECT_EQ(changes_, 0);
}

TEST_F(FileChangeMonitorReadTest, RecordsOfOtherKindsAndWithoutNamesAreIgnored) {
  WriteRecord(IN_CREATE, 0, "");
  WriteRecord(IN_Q_OVERFLOW, 0, "");
  WriteRecord(IN_DELETE, 16, std::string("wlan-2400mhz\0\0\0\0", 16));
  monitor_->OnReadReady(read_end_.get());
  EXPECT_EQ(changes_, 0);
}

TEST_F(FileChangeMonitorReadTest, ANameMayFillItsFieldWhole) {
  WriteRecord(IN_CREATE, 12, "wlan-2400mhz");
  monitor_->OnReadReady(read_end_.get());
  EXPECT_EQ(changes_, 1);
}

TEST_F(FileChangeMonitorReadTest, WriteReadinessIsOfNoInterest) {
  WriteRecord(IN_CREATE, 12, "wlan-2400mhz");
  monitor_->OnWriteReady(read_end_.get());
  EXPECT_EQ(changes_, 0);
}

TEST_F(FileChangeMonitorReadTest, ManyRecordsMayCome) {
  for (int i = 0; i < 1000; ++i) WriteRecord(IN_CREATE, 16, std::string("wlan-2400mhz2\0\0\0", 16));
  monitor_->OnReadReady(read_end_.get());
  EXPECT_EQ(changes_, 0);
}

using FileChangeMonitorDeathTest = FileChangeMonitorReadTest;

TEST_F(FileChangeMonitorDeathTest, ATruncatedRecordIsFatal) {
  WriteRecord(IN_CREATE, 100, "wlan-2400mhz");
  EXPECT_DEATH(monitor_->OnReadReady(read_end_.get()),
               "Check failed: i \\+ event_size <= static_cast<size_t>\\(bytes_read\\)");
}

TEST_F(FileChangeMonitorDeathTest, AHeaderCutShortIsFatal) {
  ASSERT_EQ(write(write_end_.get(), "\0\0\0\0\0\0", 6), 6);
  EXPECT_DEATH(monitor_->OnReadReady(read_end_.get()), "Check failed: i \\+ event_size <= ");
}

TEST_F(FileChangeMonitorDeathTest, WithoutADescriptorThereIsNothingToWatch) {
  const auto watch_without_descriptors = [this] {
    // A sanitizer needs descriptors itself when it checks a type for the first time.
    Watch();
    LOG(WARNING) << "The last descriptors";
    rlimit none = {};
    setrlimit(RLIMIT_NOFILE, &none);
    Watch();
  };
  EXPECT_DEATH(watch_without_descriptors(),
               "Check failed: base::MessageLoopForIO::current\\(\\)->WatchFileDescriptor\\( "
               "inotify_fd_.GetPlatformFile\\(\\), true , base::MessageLoopForIO::WATCH_READ, "
               "&watcher_, this\\)");
}

}  // namespace
}  // namespace orvane::ap
