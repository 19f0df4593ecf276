#include "wavelarkctl/trace/trace_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <string>
#include <vector>

#include "testbed/temporary_directory.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const std::string kHeader = std::string(kTraceHeader) + "\n";
const std::string kRow = "1,a,02:00:00:00:00:01,-71,1\n";

class TraceReaderTest : public ::testing::Test {
 protected:
  std::vector<std::string> Read(const std::string& text) {
    testbed::WriteFile(path_, text);
    TraceReader reader(path_);
    return Rest(reader);
  }

  static std::vector<std::string> Rest(TraceReader& reader) {
    std::vector<std::string> rows;
    TraceRow row;
    while (reader.Next(&row)) rows.push_back(FormatTraceRow(row));
    return rows;
  }

  // The message after the file's name.
  std::string ErrorOf(const std::string& text, ExitStatus status = ExitStatus::kData) {
    try {
      Read(text);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.status(), status);
      const std::string message = failure.what();
      EXPECT_EQ(message.find(path_.native() + ":"), 0U);
      return message.substr(path_.native().size());
    }
    return "";
  }

  testbed::TemporaryDirectory directory_;
  platform::FilePath path_ = directory_.path() / "trace.csv";
};

TEST_F(TraceReaderTest, RowsComeInTheOrderOfTheFile) {
  const std::string other = "0,b,02:00:00:00:00:02,,0\n";
  EXPECT_THAT(Read(kHeader), IsEmpty());
  EXPECT_THAT(Read(kHeader + kRow + other), ElementsAre(kRow, other));
}

TEST_F(TraceReaderTest, LinesMayEndInCrLf) {
  EXPECT_THAT(Read(std::string(kTraceHeader) + "\r\n1,a,02:00:00:00:00:01,-71,1\r\n"),
              ElementsAre(kRow));
}

TEST_F(TraceReaderTest, AFileOfSomethingElseIsRefused) {
  const std::string problem = ":1: the header is not \"" + std::string(kTraceHeader) + "\"";
  EXPECT_EQ(ErrorOf(""), problem);
  EXPECT_EQ(ErrorOf("\n"), problem);
  EXPECT_EQ(ErrorOf(kRow), problem);
  EXPECT_EQ(ErrorOf("time,interface,address,signal\n"), problem);
  EXPECT_EQ(ErrorOf("\xef\xbb\xbf" + kHeader), problem);
}

TEST_F(TraceReaderTest, AWrongRowIsNamedByItsLine) {
  EXPECT_EQ(ErrorOf(kHeader + kRow + "\n"), ":3: not five fields");
  EXPECT_EQ(ErrorOf(kHeader + kRow + kRow + "2,a,02:00:00:00:00:01,weak,1\n"),
            ":4: the signal is not -128 to 127 dBm");
}

TEST_F(TraceReaderTest, TheLastLineNeedsNoEnd) {
  const std::string row = kRow.substr(0, kRow.size() - 1);
  EXPECT_THAT(Read(std::string(kTraceHeader)), IsEmpty());
  EXPECT_THAT(Read(kHeader + row), ElementsAre(kRow));
  EXPECT_THAT(Read(kHeader + kRow + row), ElementsAre(kRow, kRow));
}

TEST_F(TraceReaderTest, ARowThatIsCutOffIsRefused) {
  for (std::size_t length = 1; length < kRow.size() - 1; ++length) {
    EXPECT_THAT(ErrorOf(kHeader + kRow + kRow.substr(0, length)), StartsWith(":3: ")) << length;
  }
}

TEST_F(TraceReaderTest, RowsThatAreAddedLaterAreNotRead) {
  testbed::WriteFile(path_, kHeader + kRow);
  TraceReader reader(path_);
  EXPECT_THAT(Rest(reader), ElementsAre(kRow));
  std::ofstream(path_, std::ios::app) << kRow;
  EXPECT_THAT(Rest(reader), IsEmpty());
  reader.Rewind();
  EXPECT_THAT(Rest(reader), ElementsAre(kRow));
}

TEST_F(TraceReaderTest, ALongLineIsRefusedWithoutBeingKept) {
  EXPECT_EQ(ErrorOf(kHeader + std::string(257, 'x') + "\n"), ":2: over 256 characters");
  EXPECT_EQ(ErrorOf(kHeader + kRow + std::string(3'000'000, 'x')), ":3: over 256 characters");
}

TEST_F(TraceReaderTest, AFileThatCannotBeReadIsUnavailable) {
  EXPECT_THROW(TraceReader(directory_.path() / "none"), Failure);
  EXPECT_THROW(TraceReader(directory_.path()), Failure);
  ASSERT_EQ(mkfifo((directory_.path() / "pipe").c_str(), 0600), 0);
  try {
    TraceReader reader(directory_.path() / "pipe");
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), ExitStatus::kUnavailable);
    EXPECT_THAT(failure.what(), EndsWith("pipe: not a regular file"));
  }
}

// Larger than the reader's buffer, with lines of different lengths across its ends.
TEST_F(TraceReaderTest, AMillionRowsAreReadTwice) {
  constexpr int kRows = 1'000'000;
  std::string text = kHeader;
  for (int i = 0; i < kRows; ++i) text += std::to_string(i) + kRow.substr(1);
  testbed::WriteFile(path_, text);
  TraceReader reader(path_);
  for (int pass = 0; pass < 2; ++pass) {
    TraceRow row;
    int expected = 0;
    while (reader.Next(&row))
      ASSERT_EQ(row.time.time_since_epoch(), std::chrono::seconds(expected++));
    EXPECT_EQ(expected, kRows);
    EXPECT_EQ(reader.line_number(), kRows + 1U);
    reader.Rewind();
  }
}

}  // namespace
}  // namespace orvane::wavelarkctl
