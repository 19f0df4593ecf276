#include "testbed/temporary_directory.h"

#include <gtest/gtest.h>

namespace orvane::testbed {
namespace {

TEST(TemporaryDirectoryTest, IsRemovedWithItsContents) {
  platform::FilePath path;
  {
    TemporaryDirectory directory;
    path = directory.path();
    ASSERT_TRUE(std::filesystem::is_empty(path));
    WriteFile(path / "file", "long contents");
    WriteFile(path / "file", "short");
    EXPECT_EQ(platform::ReadFileToString(path / "file"), "short");
  }
  EXPECT_FALSE(platform::PathExists(path));
}

TEST(TemporaryDirectoryTest, EachIsAnother) {
  TemporaryDirectory first;
  TemporaryDirectory second;
  EXPECT_NE(first.path(), second.path());
}

}  // namespace
}  // namespace orvane::testbed
