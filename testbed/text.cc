#include "testbed/text.h"

#include <algorithm>

namespace orvane::testbed {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

}  // namespace

std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::string_view TakeWord(std::string_view* text) {
  const std::size_t end = std::min(text->find_first_of(kBlanks), text->size());
  const std::string_view word = text->substr(0, end);
  text->remove_prefix(std::min(text->find_first_not_of(kBlanks, end), text->size()));
  return word;
}

}  // namespace orvane::testbed
