#include "flags/flags_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "common/run_time_flags.h"
#include "platform/text.h"

namespace orvane::flags {
namespace {

using ap::RunTimeFlag;

bool IsText(char character) { return character == '\t' || (character >= ' ' && character <= '~'); }

// Each of these returns the problem, or an empty string.

std::string CheckNumber(const RunTimeFlag& flag, std::string_view value) {
  std::int32_t number = 0;
  const char* end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, number);
  if (error == std::errc::invalid_argument || stop != end) return "is not a number";
  if (error != std::errc() || number < flag.least || number > flag.greatest) {
    return fmt::format("is not from {} to {} ({})", flag.least, flag.greatest, flag.unit);
  }
  return "";
}

std::string CheckSwitch(std::string_view value) {
  if (value == ap::kEnabledValue || value == ap::kDisabledValue) return "";
  return fmt::format("is neither {} nor {}", ap::kEnabledValue, ap::kDisabledValue);
}

std::string CheckValue(const RunTimeFlag& flag, std::string_view value) {
  return flag.kind == RunTimeFlag::Kind::kSwitch ? CheckSwitch(value) : CheckNumber(flag, value);
}

// Reads a line that is not empty and has no white space around it.
std::string ReadLine(std::string_view line, Reading* reading, std::string* warning) {
  if (line.size() > kMaxLineLength) return fmt::format("over {} characters", kMaxLineLength);
  if (!std::ranges::all_of(line, IsText)) return "not printable ASCII";
  const std::size_t separator = line.find('=');
  if (separator == std::string_view::npos) return "no \"=\"";
  const std::string_view key = platform::TrimWhitespace(line.substr(0, separator));
  const std::string_view value = platform::TrimWhitespace(line.substr(separator + 1));
  if (key.empty()) return "no key before \"=\"";
  const auto* const flag = std::ranges::find(ap::kRunTimeFlags, key, &RunTimeFlag::key);
  if (flag == ap::kRunTimeFlags.end()) {
    *warning = fmt::format("unknown key {}", key);
  } else if (const std::string problem = CheckValue(*flag, value); !problem.empty()) {
    return fmt::format("the value of {} {}", key, problem);
  }
  reading->flags.insert_or_assign(std::string(key), std::string(value));
  return "";
}

}  // namespace

void ReadFlags(const std::string& file, std::string_view text, Reading* reading) {
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    const bool is_whole = end != std::string_view::npos;
    const std::string_view line = platform::TrimWhitespace(text.substr(0, end));
    text.remove_prefix(is_whole ? end + 1 : text.size());
    if (line.empty() || line.front() == '#') continue;
    std::string warning;
    const std::string error = is_whole ? ReadLine(line, reading, &warning) : "no line end";
    if (!error.empty()) reading->errors.push_back(fmt::format("{}:{}: {}", file, number, error));
    if (!warning.empty()) {
      reading->warnings.push_back(fmt::format("{}:{}: {}", file, number, warning));
    }
  }
}

}  // namespace orvane::flags
