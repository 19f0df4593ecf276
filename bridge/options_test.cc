#include "bridge/options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orvane::bridge {
namespace {

std::optional<int> Parse(std::vector<const char*> arguments, Options* options) {
  arguments.insert(arguments.begin(), "ap-wavelark-bridge");
  return ParseOptions(static_cast<int>(arguments.size()), arguments.data(), options);
}

TEST(OptionsTest, HasDefaults) {
  Options options;
  EXPECT_EQ(Parse({}, &options), std::nullopt);
  EXPECT_EQ(options.hostapd_directory, "/run/hostapd");
  EXPECT_EQ(options.directory, "/run/ap-wavelark/hostapd");
  EXPECT_EQ(options.queue_lines, 4096U);
  EXPECT_EQ(options.metrics_file, "");
  ASSERT_EQ(options.interfaces.size(), 2U);
  EXPECT_EQ(options.interfaces[0].served, "wlan-2400mhz");
  EXPECT_EQ(options.interfaces[0].hostapd, "wlan-2400mhz");
  EXPECT_EQ(options.interfaces[1].served, "wlan-5000mhz");
}

TEST(OptionsTest, AcceptsEveryOption) {
  Options options;
  EXPECT_EQ(
      Parse({"--hostapd-directory=/a", "--directory", "/b", "--interface", "wlan-2400mhz=wlan0",
             "--interface=guest-2400mhz", "--queue-lines=1", "--metrics-file=/c"},
            &options),
      std::nullopt);
  EXPECT_EQ(options.hostapd_directory, "/a");
  EXPECT_EQ(options.directory, "/b");
  EXPECT_EQ(options.queue_lines, 1U);
  EXPECT_EQ(options.metrics_file, "/c");
  ASSERT_EQ(options.interfaces.size(), 2U);
  EXPECT_EQ(options.interfaces[0].served, "wlan-2400mhz");
  EXPECT_EQ(options.interfaces[0].hostapd, "wlan0");
  EXPECT_EQ(options.interfaces[1].served, "guest-2400mhz");
  EXPECT_EQ(options.interfaces[1].hostapd, "guest-2400mhz");
}

TEST(OptionsTest, RejectsInvalidValues) {
  for (const char* argument :
       {"--interface=../x", "--interface=.", "--interface=a b", "--interface=a\xff",
        "--interface=a\x01", "--interface=a=b/c", "--interface=a=", "--queue-lines=-1",
        "--queue-lines=1x", "--directory=relative",
        "--hostapd-directory=", "--metrics-file=relative", "stray"}) {
    Options options;
    EXPECT_EQ(Parse({argument}, &options), 64) << argument;
  }
}

TEST(OptionsTest, RejectsNamesThatAreGivenTwice) {
  const auto parse = [](const char* first, const char* second) {
    Options options;
    return Parse({first, second}, &options);
  };
  EXPECT_EQ(parse("--interface=a", "--interface=a=b"), 64);
  EXPECT_EQ(parse("--interface=a=c", "--interface=b=c"), 64);
  EXPECT_EQ(parse("--interface=a=b", "--interface=b=a"), std::nullopt);
}

}  // namespace
}  // namespace orvane::bridge
