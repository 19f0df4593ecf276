#include "platform/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace orvane::platform {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class CommandLineTest : public ::testing::Test {
 protected:
  CommandLineTest() {
    command_line_.AddText("directory", "DIR", "Where to look", [this](const std::string& text) {
      if (text.starts_with('.')) return "is not an absolute path";
      directories_.push_back(text);
      return "";
    });
  }

  std::optional<int> Parse(std::initializer_list<const char*> arguments) {
    std::vector<const char*> argv = {"program"};
    argv.insert(argv.end(), arguments);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const std::optional<int> exit_code =
        command_line_.Parse(static_cast<int>(argv.size()), argv.data());
    out_ = ::testing::internal::GetCapturedStdout();
    error_ = ::testing::internal::GetCapturedStderr();
    return exit_code;
  }

  std::vector<std::string> directories_;
  CommandLine command_line_{"usage", "version"};
  std::string out_;
  std::string error_;
};

TEST_F(CommandLineTest, ATextIsParsedEachTimeThatItIsGiven) {
  EXPECT_EQ(Parse({"--directory=/b", "--directory", "/a", "--directory=/b"}), std::nullopt);
  EXPECT_THAT(directories_, ElementsAre("/b", "/a", "/b"));
}

TEST_F(CommandLineTest, ATextThatTheParserRefusesIsAUsageError) {
  EXPECT_EQ(Parse({"--directory=.a"}), CommandLine::kUsageErrorCode);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(error_,
            "program: --directory: '.a' is not an absolute path (--help lists the flags)\n");
}

TEST_F(CommandLineTest, ATextNeedsAValue) {
  EXPECT_EQ(Parse({"--directory"}), CommandLine::kUsageErrorCode);
  EXPECT_EQ(Parse({"--directory="}), CommandLine::kUsageErrorCode);
  EXPECT_THAT(error_, HasSubstr("--directory: missing value"));
  EXPECT_EQ(Parse({"--directory", ""}), CommandLine::kUsageErrorCode);
  EXPECT_THAT(error_, HasSubstr("--directory: '' is empty"));
}

TEST_F(CommandLineTest, HelpDescribesTheValue) {
  EXPECT_EQ(Parse({"--help"}), 0);
  EXPECT_THAT(out_, HasSubstr("--directory DIR"));
}

}  // namespace
}  // namespace orvane::platform
