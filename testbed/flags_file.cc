#include "testbed/flags_file.h"

#include <fmt/format.h>

#include "platform/bus/messages.h"
#include "platform/text.h"
#include "testbed/offline_message.h"
#include "testbed/text.h"

namespace orvane::testbed {
namespace {

// Returns whether the bus accepts the text: UTF-8 without a null character.
bool CanBeSent(std::string_view text) {
  OfflineMessages messages;
  const platform::bus::MessagePtr message = messages.New();
  platform::bus::MessageWriter writer(message.get());
  writer.AppendString(std::string(text));
  return writer.ok();
}

// Returns the problem, or an empty text if the line was added.
std::string TakeLine(std::string_view line, FlagMap* flags) {
  if (!CanBeSent(line)) return "not UTF-8";
  const std::size_t separator = line.find('=');
  if (separator == std::string_view::npos) return fmt::format(R"(no "=" in "{}")", line);
  const std::string_view key = platform::TrimWhitespace(line.substr(0, separator));
  if (key.empty()) return "no key before \"=\"";
  const std::string_view value = platform::TrimWhitespace(line.substr(separator + 1));
  if (!flags->emplace(key, value).second) return fmt::format("the key \"{}\" again", key);
  return {};
}

}  // namespace

FlagsFile ParseFlagsFile(std::string_view text) {
  FlagsFile file;
  int number = 0;
  for (const std::string_view untrimmed : SplitLines(text)) {
    ++number;
    const std::string_view line = platform::TrimWhitespace(untrimmed);
    if (line.empty() || line.front() == '#') continue;
    const std::string problem = TakeLine(line, &file.flags);
    if (!problem.empty()) file.problems.push_back(fmt::format("line {}: {}", number, problem));
  }
  return file;
}

}  // namespace orvane::testbed
