#include "testbed/record_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

using platform::ReadFileToString;

std::set<std::string> FilesIn(const platform::FilePath& directory) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    names.insert(entry.path().filename());
  }
  return names;
}

DataRecord RecordOf(const std::string& type, const std::string& data) {
  return {.type = type, .data = data};
}

TEST(RecordStoreTest, KeepsBytesAndTypeUnderANumber) {
  TemporaryDirectory temporary;
  const platform::FilePath directory = temporary.path() / "deep" / "records";
  RecordStore store(directory);
  ASSERT_EQ(store.Open(), std::nullopt);
  const std::string bytes("\x00\n\xff", 3);
  EXPECT_EQ(store.Keep(RecordOf("first", bytes)), std::nullopt);
  EXPECT_EQ(store.Keep(RecordOf("second", "")), std::nullopt);
  EXPECT_EQ(FilesIn(directory),
            (std::set<std::string>{"000001", "000001.type", "000002", "000002.type"}));
  EXPECT_EQ(ReadFileToString(directory / "000001"), bytes);
  EXPECT_EQ(ReadFileToString(directory / "000001.type"), "first");
  EXPECT_EQ(ReadFileToString(directory / "000002"), "");
}

TEST(RecordStoreTest, GoesOnAfterWhatIsThere) {
  TemporaryDirectory directory;
  WriteFile(directory.path() / "000041", "");
  WriteFile(directory.path() / "notes", "");
  RecordStore store(directory.path());
  ASSERT_EQ(store.Open(), std::nullopt);
  ASSERT_EQ(store.Keep(RecordOf("t", "d")), std::nullopt);
  EXPECT_EQ(ReadFileToString(directory.path() / "000042"), "d");
}

TEST(RecordStoreTest, ReportsFailures) {
  TemporaryDirectory directory;
  WriteFile(directory.path() / "file", "");
  EXPECT_NE(RecordStore(directory.path() / "file").Open(), std::nullopt);
  RecordStore store(directory.path() / "records");
  ASSERT_EQ(store.Open(), std::nullopt);
  std::filesystem::remove_all(directory.path() / "records");
  EXPECT_NE(store.Keep(RecordOf("t", "d")), std::nullopt);
}

}  // namespace
}  // namespace orvane::testbed
