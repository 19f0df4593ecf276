#include "platform/metrics_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace orvane::platform {
namespace {

TEST(MetricLabelTest, EscapesTheValue) {
  EXPECT_EQ(MetricLabel("interface", "wlan0"), R"(interface="wlan0")");
  EXPECT_EQ(MetricLabel("interface", ""), R"(interface="")");
  EXPECT_EQ(MetricLabel("interface", "a\"b\\c\nd"), R"(interface="a\"b\\c\nd")");
}

TEST(MetricsTextTest, HasAHeadForEachFamily) {
  MetricsText text;
  text.AddFamily({"lines_total", "counter", "Lines by kind."});
  text.AddSample("lines_total", "kind=\"a\",band=\"b\"", std::numeric_limits<std::uint64_t>::max());
  text.AddSample("lines_total", "kind=\"c\"", 0);
  text.AddFamily({"signal", "gauge", "The signal."});
  text.AddSample("signal", "", -51);
  EXPECT_EQ(text.Take(),
            "# HELP lines_total Lines by kind.\n"
            "# TYPE lines_total counter\n"
            "lines_total{kind=\"a\",band=\"b\"} 18446744073709551615\n"
            "lines_total{kind=\"c\"} 0\n"
            "# HELP signal The signal.\n"
            "# TYPE signal gauge\n"
            "signal -51\n"
            "# EOF\n");
}

}  // namespace
}  // namespace orvane::platform
