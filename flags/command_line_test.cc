#include "flags/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "platform/logging.h"

namespace orvane::flags {
namespace {

using testing::ElementsAre;

FlagsOptions Parse(std::initializer_list<const char*> arguments) {
  std::vector<const char*> argv = {"ap-wavelark-flags"};
  argv.insert(argv.end(), arguments);
  FlagsOptions options;
  EXPECT_EQ(ParseCommandLine(static_cast<int>(argv.size()), argv.data(), &options), std::nullopt);
  return options;
}

TEST(FlagsCommandLineTest, HasDefaults) {
  const FlagsOptions options = Parse({});
  EXPECT_THAT(options.directories,
              ElementsAre("/etc/ap-wavelark/flags.d", "/run/ap-wavelark/flags.d"));
  EXPECT_FALSE(options.check);
}

TEST(FlagsCommandLineTest, DirectoriesReplaceTheDefaults) {
  const FlagsOptions options = Parse({"--directory", "/b", "--check", "--directory=/a", "--v=1"});
  EXPECT_THAT(options.directories, ElementsAre("/b", "/a"));
  EXPECT_TRUE(options.check);
  platform::SetVerboseLevel(0);
}

}  // namespace
}  // namespace orvane::flags
