#include "wavelarkctl/human_text.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace orvane::wavelarkctl {
namespace {

// In the order of Colour.
constexpr std::array<std::string_view, 6> kEscapes = {"",         "\033[1m",  "\033[31m",
                                                      "\033[32m", "\033[33m", "\033[2m"};
constexpr std::string_view kPlain = "\033[0m";

}  // namespace

bool IsColourWanted() {
  const char* terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

std::string Paint(std::string_view text, Colour colour, bool is_wanted) {
  if (!is_wanted || colour == Colour::kNone) return std::string(text);
  return fmt::format("{}{}{}", kEscapes[static_cast<std::size_t>(colour)], text, kPlain);
}

std::string Count(std::size_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string FormatTable(const std::vector<std::vector<std::string>>& rows,
                        const std::vector<std::size_t>& right) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      const bool is_right = std::ranges::find(right, i) != right.end();
      text += is_right ? fmt::format("  {:>{}}", row[i], widths[i])
                       : fmt::format("  {:<{}}", row[i], widths[i]);
    }
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
  }
  return text;
}

}  // namespace orvane::wavelarkctl
