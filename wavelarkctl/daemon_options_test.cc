#include "wavelarkctl/daemon_options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orvane::wavelarkctl {
namespace {

// The values that systemd 257 passes. systemd 252 differs only in the first case.
TEST(DaemonOptionsTest, AnEnvironmentFileIsReadAsBySystemd) {
  struct Case {
    std::string file, value;
  };
  for (const auto& [file, value] : std::vector<Case>{
           {"# comment \\\nDAEMON_OPTS=one\n", "one"},
           {"# comment \\\n; comment \\\n# comment\nDAEMON_OPTS=two", "two"},
           {" DAEMON_OPTS = three \nOTHER=1\n", "three"},
           {"DAEMON_OPTS=a\nDAEMON_OPTS=b\n", "b"},
           {"DAEMON_OPTS=a \"b\" # c\n", "a \"b\" # c"},
           {"DAEMON_OPTS=a\\\n  b\nOTHER=1\n", "a  b"},
           {"DAEMON_OPTS=a\\\"b\n", "a\"b"},
           {"DAEMON_OPTS=\"a \\\n b\" c\n", "a  bc"},
           {"DAEMON_OPTS=\"a\n b\"\nOTHER=1\n", "a\n b"},
           {"DAEMON_OPTS=\"a\"b\"c\"\n", "ab\"c\""},
           {"DAEMON_OPTS=\"a\" 'b'\n", "ab"},
           {"DAEMON_OPTS=\"--a\" \\\n  --b\n", "--a  --b"},
           {"DAEMON_OPTS=\"a\\d\"\n", "a\\d"},
           {"DAEMON_OPTS='a\\\n  b'\n", "a\\\n  b"},
           {"DAEMON_OPTS=\"a\nOTHER=1", "a\nOTHER=1"},
           {"OTHER=\"x\nDAEMON_OPTS=a\n\"\nX=1\n", ""},
           {"OTHER=x\\\nDAEMON_OPTS=a\n", ""},
           {"no assignment \\\nDAEMON_OPTS=a\n", "a"},
           {"export DAEMON_OPTS=a\n", ""},
           {"DAEMON_OPTS=a\\", "a"},
           {"DAEMON_OPTS=", ""},
           {"DAEMON_OPTS=a\nDAEMON_OPTS=\n", ""},
       }) {
    EXPECT_EQ(FindDaemonOptions(file), value) << file;
  }
}

TEST(DaemonOptionsTest, QuotesInTheValueAreRemoved) {
  for (const char* text :
       {"--client_steering_poll_interval=\"30\"", "'--client_steering_poll_interval=30'"}) {
    EXPECT_EQ(ParseDaemonOptions(text).error, "") << text;
  }
}

}  // namespace
}  // namespace orvane::wavelarkctl
