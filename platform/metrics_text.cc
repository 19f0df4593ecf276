#include "platform/metrics_text.h"

namespace orvane::platform {

std::string MetricLabel(std::string_view name, std::string_view value) {
  std::string label = fmt::format("{}=\"", name);
  for (const char c : value) {
    if (c == '"' || c == '\\') label += '\\';
    if (c == '\n') {
      label += "\\n";
    } else {
      label += c;
    }
  }
  return label + '"';
}

void MetricsText::AddFamily(const MetricFamily& family) {
  fmt::format_to(std::back_inserter(text_), "# HELP {0} {2}\n# TYPE {0} {1}\n", family.name,
                 family.type, family.help);
}

void MetricsText::AddName(std::string_view name, std::string_view labels) {
  const auto out = std::back_inserter(text_);
  if (labels.empty()) {
    fmt::format_to(out, "{} ", name);
  } else {
    fmt::format_to(out, "{}{{{}}} ", name, labels);
  }
}

}  // namespace orvane::platform
