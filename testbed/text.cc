#include "testbed/text.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace orvane::testbed {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// The forms of a UTF-8 sequence: the bits that mark its first byte, and the smallest code point of
// that length.
struct SequenceForm {
  std::uint8_t mask;
  std::uint8_t mark;
  std::size_t length;
  std::uint32_t least;
};
constexpr std::array<SequenceForm, 4> kSequenceForms = {{
    {.mask = 0x80, .mark = 0x00, .length = 1, .least = 0x1},  // not zero
    {.mask = 0xe0, .mark = 0xc0, .length = 2, .least = 0x80},
    {.mask = 0xf0, .mark = 0xe0, .length = 3, .least = 0x800},
    {.mask = 0xf8, .mark = 0xf0, .length = 4, .least = 0x10000},
}};

constexpr std::uint32_t kLastCodePoint = 0x10ffff;

bool IsSurrogate(std::uint32_t code_point) { return (code_point >> 11) == 0x1b; }

// Returns the length of the UTF-8 sequence at the start of `text`, or 0 if it is invalid.
std::size_t SequenceLength(std::string_view text) {
  const auto first = static_cast<std::uint8_t>(text[0]);
  const auto* form = std::find_if(kSequenceForms.begin(), kSequenceForms.end(),
                                  [&](const auto& f) { return (first & f.mask) == f.mark; });
  if (form == kSequenceForms.end() || text.size() < form->length) return 0;
  std::uint32_t code_point = first & ~std::uint32_t{form->mask} & 0xff;
  for (const char next : text.substr(1, form->length - 1)) {
    const auto byte = static_cast<std::uint8_t>(next);
    if ((byte & 0xc0) != 0x80) return 0;
    code_point = code_point << 6 | (byte & 0x3fU);
  }
  const bool good =
      code_point >= form->least && code_point <= kLastCodePoint && !IsSurrogate(code_point);
  return good ? form->length : 0;
}

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

bool IsBusString(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace orvane::testbed
