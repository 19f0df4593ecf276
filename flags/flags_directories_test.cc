#include "flags/flags_directories.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "testbed/temporary_directory.h"

namespace orvane::flags {
namespace {

using platform::FilePath;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class FlagsDirectoriesTest : public testing::Test {
 protected:
  FlagsDirectoriesTest() {
    std::filesystem::create_directory(first_);
    std::filesystem::create_directory(second_);
  }

  Reading Read() const { return ReadFlagsDirectories({first_, second_}); }

  // Returns the only error, without the path of the file.
  std::string ErrorOf(const FilePath& file) const {
    const Reading reading = Read();
    EXPECT_EQ(reading.errors.size(), 1U);
    if (reading.errors.empty()) return "";
    EXPECT_TRUE(reading.errors.front().starts_with(file.native() + ": "));
    return reading.errors.front().substr(file.native().size() + 2);
  }

  testbed::TemporaryDirectory directory_;
  FilePath first_ = directory_.path() / "first";
  FilePath second_ = directory_.path() / "second";
};

TEST_F(FlagsDirectoriesTest, LaterFilesAndDirectoriesWin) {
  testbed::WriteFile(first_ / "9.conf", "a=first 9\nb=first 9\nc=first 9\n");
  testbed::WriteFile(first_ / "10.conf", "a=first 10\nd=first 10\n");
  testbed::WriteFile(second_ / "1.conf", "b=second\n");
  EXPECT_THAT(Read().flags, ElementsAre(Pair("a", "first 9"), Pair("b", "second"),
                                        Pair("c", "first 9"), Pair("d", "first 10")));
}

TEST_F(FlagsDirectoriesTest, OnlyFlagsFilesAreRead) {
  for (const char* name : {"a.conf~", ".a.conf", "a.conf.new", "a", "conf"}) {
    testbed::WriteFile(first_ / name, "no flags\n");
  }
  const Reading reading = Read();
  EXPECT_THAT(reading.errors, IsEmpty());
  EXPECT_THAT(reading.flags, IsEmpty());
}

TEST_F(FlagsDirectoriesTest, AMissingDirectoryHasNoFlags) {
  const Reading reading = ReadFlagsDirectories({directory_.path() / "none", second_});
  EXPECT_THAT(reading.errors, IsEmpty());
  EXPECT_THAT(reading.flags, IsEmpty());
}

TEST_F(FlagsDirectoriesTest, AnErrorNamesItsFile) {
  testbed::WriteFile(first_ / "a.conf", "x=1\nbad\n");
  EXPECT_THAT(Read().errors, ElementsAre((first_ / "a.conf").native() + ":2: no \"=\""));
}

TEST_F(FlagsDirectoriesTest, ASpecialFileIsAnErrorAndDoesNotBlock) {
  const FilePath file = first_ / "a.conf";
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(ErrorOf(file), "not a regular file");
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  EXPECT_EQ(ErrorOf(file), "not a regular file");
}

TEST_F(FlagsDirectoriesTest, ALinkIsFollowedAndMustLeadToAFile) {
  const FilePath file = first_ / "a.conf";
  std::filesystem::create_symlink("../second/target", file);
  EXPECT_EQ(ErrorOf(file), "No such file or directory (2)");
  testbed::WriteFile(second_ / "target", "a=1\n");
  EXPECT_THAT(Read().flags, ElementsAre(Pair("a", "1")));
}

TEST_F(FlagsDirectoriesTest, ATooLargeFileIsAnError) {
  const FilePath file = first_ / "a.conf";
  testbed::WriteFile(file, std::string(kMaxFileSize, '\n'));
  EXPECT_THAT(Read().errors, IsEmpty());
  testbed::WriteFile(file, std::string(kMaxFileSize + 1, '\n'));
  EXPECT_EQ(ErrorOf(file), "over 65536 bytes");
}

TEST_F(FlagsDirectoriesTest, TooManyFilesAreAnError) {
  for (std::size_t i = 0; i <= kMaxFiles; ++i) {
    testbed::WriteFile(first_ / (std::to_string(i) + ".conf"), "");
  }
  EXPECT_THAT(Read().errors, ElementsAre("101 files, over 100"));
}

TEST_F(FlagsDirectoriesTest, AFileInPlaceOfADirectoryIsAnError) {
  std::filesystem::remove(first_);
  testbed::WriteFile(first_, "");
  EXPECT_EQ(ErrorOf(first_), "Not a directory");
}

}  // namespace
}  // namespace orvane::flags
