#include "flags/flags_publisher.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>

#include "platform/manual_loop.h"
#include "testbed/log_capture.h"
#include "testbed/temporary_directory.h"

namespace orvane::flags {
namespace {

using platform::FilePath;
using platform::Severity;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::_;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

// Has a file open for writing.
class Writer {
 public:
  explicit Writer(const FilePath& path)
      : fd_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)) {
    EXPECT_TRUE(fd_.is_valid());
  }
  void Write(std::string_view text) {
    EXPECT_EQ(write(fd_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

 private:
  platform::ScopedFd fd_;
};

class FlagsPublisherTest : public testing::Test {
 protected:
  void Start() {
    publisher_ = std::make_unique<FlagsPublisher>(loop_, std::vector<FilePath>{etc_, run_},
                                                  [this] { ++published_; });
  }

  // Lets time pass until changes are published.
  void Settle() {
    loop_.RunUntilIdle();
    loop_.AdvanceBy(milliseconds(400));
  }

  const FlagMap& Flags() {
    Settle();
    return publisher_->flags();
  }

  testbed::TemporaryDirectory directory_;
  FilePath etc_ = directory_.path() / "etc/flags.d";
  FilePath run_ = directory_.path() / "run/flags.d";
  FilePath file_ = etc_ / "a.conf";
  platform::ManualLoop loop_;
  testbed::LogCapture log_;
  int published_ = 0;
  std::unique_ptr<FlagsPublisher> publisher_;
};

// A fixture with both directories.
class FlagsFilesTest : public FlagsPublisherTest {
 protected:
  FlagsFilesTest() {
    std::filesystem::create_directories(etc_);
    std::filesystem::create_directories(run_);
    testbed::WriteFile(file_, "a=1\n");
    Start();
    log_.Clear();
    published_ = 0;
  }
};

TEST_F(FlagsPublisherTest, DirectoriesMayBeCreatedLater) {
  Start();
  EXPECT_THAT(Flags(), IsEmpty());
  std::filesystem::create_directories(run_);
  testbed::WriteFile(run_ / "a.conf", "a=run\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "run")));
  std::filesystem::create_directories(etc_);
  testbed::WriteFile(file_, "a=etc\nb=etc\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "run"), Pair("b", "etc")));
  EXPECT_EQ(published_, 2);
}

TEST_F(FlagsFilesTest, FilesAreReadAtTheStart) {
  EXPECT_THAT(publisher_->flags(), ElementsAre(Pair("a", "1")));
}

TEST_F(FlagsFilesTest, AFileMayBeWrittenReplacedAndRemoved) {
  testbed::WriteFile(file_, "a=2\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "2")));
  testbed::ReplaceFile(file_, "a=3\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "3")));
  std::filesystem::create_symlink("somewhere", etc_ / "ignored");
  std::filesystem::remove(file_);
  EXPECT_THAT(Flags(), IsEmpty());
  EXPECT_EQ(published_, 3);
}

TEST_F(FlagsFilesTest, ALinkIsFollowed) {
  testbed::WriteFile(directory_.path() / "target", "b=2\n");
  std::filesystem::create_symlink(directory_.path() / "target", etc_ / "b.conf");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1"), Pair("b", "2")));
  std::filesystem::create_hard_link(directory_.path() / "target", etc_ / "c.conf");
  testbed::WriteFile(etc_ / "c.conf", "b=3\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1"), Pair("b", "3")));
}

TEST_F(FlagsFilesTest, AnUnchangedMapIsNotPublished) {
  testbed::WriteFile(file_, "# the same\na=1\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1")));
  EXPECT_EQ(published_, 0);
}

TEST_F(FlagsFilesTest, AFileIsReadWhenItsWriterClosesIt) {
  {
    Writer writer(file_);
    EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1"))) << "truncated";
    writer.Write("a=2");
    EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1"))) << "half a line";
    writer.Write("2\n");
    EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1"))) << "half a file";
    writer.Write("b=3\n");
  }
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "22"), Pair("b", "3")));
  EXPECT_EQ(published_, 1);
}

TEST_F(FlagsFilesTest, ANewEmptyFileIsReadWhenItsWriterClosesIt) {
  std::filesystem::remove(file_);
  {
    Writer writer(file_);
    EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1")));
    writer.Write("a=2\n");
  }
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "2")));
}

// Some programs write a file under another name, link it and remove the other name.
TEST_F(FlagsFilesTest, AFileMayBeLinkedFromATemporaryOne) {
  const FilePath temporary = etc_ / "temporary";
  testbed::WriteFile(temporary, "b=2\n");
  std::filesystem::create_hard_link(temporary, etc_ / "b.conf");
  std::filesystem::remove(temporary);
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1"), Pair("b", "2")));
}

TEST_F(FlagsFilesTest, TheWaitForAWriterIsLogged) {
  Writer writer(file_);
  Settle();
  loop_.AdvanceBy(seconds(9));
  EXPECT_TRUE(log_.empty());
  loop_.AdvanceBy(seconds(100));
  EXPECT_THAT(log_.Lines(Severity::kWarning),
              ElementsAre("Waiting for the writer of a.conf to close it"));
}

TEST_F(FlagsFilesTest, AReplacedFileEndsTheWaitForItsWriter) {
  Writer writer(file_);
  Settle();
  testbed::ReplaceFile(file_, "a=2\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "2")));
}

TEST_F(FlagsFilesTest, WritesToADeletedFileDoNotCount) {
  Writer writer(etc_ / "b.conf");
  Settle();
  std::filesystem::remove(etc_ / "b.conf");
  writer.Write("b=2\n");
  testbed::WriteFile(file_, "a=2\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "2")));
}

TEST_F(FlagsFilesTest, AfterAStartThereIsNoLastGoodMap) {
  testbed::WriteFile(file_, "clientSteeringInterval=abc\n");
  Start();
  EXPECT_THAT(Flags(), IsEmpty());
  EXPECT_THAT(log_.Lines(Severity::kError), ElementsAre(_, "No flags are published"));
}

TEST_F(FlagsFilesTest, ABadFileKeepsTheLastGoodMap) {
  testbed::WriteFile(file_, "a=2\nclientSteeringInterval=abc\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1")));
  EXPECT_THAT(
      log_.Lines(Severity::kError),
      ElementsAre(HasSubstr("a.conf:2: the value of clientSteeringInterval is not a number"),
                  "The last good flags stay in force"));
  testbed::WriteFile(run_ / "b.conf", "b=2\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1"))) << "a good file beside it changes nothing";
  EXPECT_EQ(log_.Lines(Severity::kError).size(), 2U) << "the same is not logged again";
  testbed::WriteFile(file_, "a=2\nclientSteeringInterval=30\n");
  EXPECT_THAT(Flags(),
              ElementsAre(Pair("a", "2"), Pair("b", "2"), Pair("clientSteeringInterval", "30")));
}

TEST_F(FlagsFilesTest, ARepeatedErrorIsLoggedAgain) {
  for (int time = 1; time <= 2; ++time) {
    testbed::WriteFile(file_, "bad\n");
    Settle();
    EXPECT_EQ(log_.Lines(Severity::kError).size(), 2U * static_cast<unsigned>(time));
    testbed::WriteFile(file_, "a=1\n");
    Settle();
  }
}

TEST_F(FlagsFilesTest, ValuesAreNotLogged) {
  testbed::WriteFile(file_, "client=02:00:00:00:00:01\nclientSteering=02:00:00:00:00:01\n");
  Settle();
  ASSERT_EQ(log_.lines().size(), 3U);
  for (const auto& [severity, text] : log_.lines()) {
    EXPECT_EQ(text.find("02:00"), std::string::npos) << text;
  }
}

TEST_F(FlagsFilesTest, ADirectoryMayBeReplaced) {
  const FilePath other = directory_.path() / "other";
  std::filesystem::create_directory(other);
  testbed::WriteFile(other / "a.conf", "a=other\n");
  std::filesystem::rename(etc_, directory_.path() / "old");
  std::filesystem::rename(other, etc_);
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "other")));
  testbed::WriteFile(directory_.path() / "old/a.conf", "a=old\n");
  testbed::WriteFile(file_, "a=new\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "new")));
  EXPECT_EQ(published_, 2);
}

TEST_F(FlagsFilesTest, TheParentOfADirectoryMayBeReplaced) {
  std::filesystem::rename(etc_.parent_path(), directory_.path() / "old");
  EXPECT_THAT(Flags(), IsEmpty());
  std::filesystem::rename(directory_.path() / "old", etc_.parent_path());
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1")));
}

TEST_F(FlagsFilesTest, ADirectoryMayBecomeALink) {
  std::filesystem::rename(etc_, directory_.path() / "target");
  std::filesystem::create_directory_symlink(directory_.path() / "target", etc_);
  testbed::WriteFile(directory_.path() / "target/a.conf", "a=2\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "2")));
}

TEST_F(FlagsFilesTest, ManyChangesArePublishedOnce) {
  for (int i = 1; i <= 1000; ++i) {
    testbed::ReplaceFile(file_, "a=" + std::to_string(i) + "\n");
    if (i % 10 == 0) loop_.AdvanceBy(milliseconds(10));  // one second in total
  }
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "1000")));
  EXPECT_EQ(published_, 1);
}

TEST_F(FlagsFilesTest, LostFileEventsCauseARead) {
  testbed::WriteFile(etc_ / "b.conf", "b=1\n");
  testbed::WriteFile(etc_ / "c.conf", "c=1\n");
  Settle();
  // More events than the queue holds (fs.inotify.max_queued_events, 16384 by default). Equal
  // consecutive events count once.
  for (int i = 0; i < 10'000; ++i) {
    for (const char* name : {"b.conf", "c.conf"}) {
      ASSERT_EQ(chmod((etc_ / name).c_str(), 0644), 0);
    }
  }
  Writer writer(file_);
  writer.Write("a=2\n");
  EXPECT_THAT(Flags(), ElementsAre(Pair("a", "2"), Pair("b", "1"), Pair("c", "1")));
}

}  // namespace
}  // namespace orvane::flags
