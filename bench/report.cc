#include "bench/report.h"

#include <fmt/format.h>

namespace orvane::bench {
namespace {

constexpr char kColumns[] = "{:<15} {:>22} {:>22} {:>7} {:>7}  {:<7} {}\n";

// Larger values need fewer decimals.
std::string Number(double value) {
  if (value >= 100) return fmt::format("{:.0f}", value);
  if (value >= 10) return fmt::format("{:.1f}", value);
  return fmt::format("{:.2f}", value);
}

std::string Text(const Figure& figure) {
  return fmt::format("{} ({} - {})", Number(figure.median), Number(figure.low),
                     Number(figure.high));
}

const char* Verdict(const Result& result) {
  if (!result.row.goal) return "";
  return result.IsMet() ? "ok" : "missed";
}

// The texts of a row are plain words, so nothing needs escaping.
std::string JsonFigure(const Figure& figure) {
  return fmt::format(R"({{"median": {:.4g}, "p20": {:.4g}, "p80": {:.4g}}})", figure.median,
                     figure.low, figure.high);
}

std::string JsonRow(const Result& result) {
  const auto& [row, measured] = result;
  std::string text = fmt::format(R"({{"row": "{}", "what": "{}", "unit": "{}", "ours": {}, )",
                                 row.name, row.what, row.unit, JsonFigure(measured.ours));
  if (measured.floor) {
    text += fmt::format(R"("floor": {}, "ratio": {:.4g}, )", JsonFigure(*measured.floor),
                        result.Value());
  }
  if (row.goal) text += fmt::format(R"("goal": {}, )", *row.goal);
  return text + fmt::format(R"("ok": {}}})", result.IsMet());
}

}  // namespace

std::string TableHead() {
  return fmt::format(kColumns, "row", "ours (p20 - p80)", "floor (p20 - p80)", "ratio", "goal", "",
                     "what");
}

std::string TableLine(const Result& result) {
  const auto& [row, measured] = result;
  const bool has_floor = measured.floor.has_value();
  return fmt::format(kColumns, row.name, Text(measured.ours),
                     has_floor ? Text(*measured.floor) : "-",
                     has_floor ? Number(result.Value()) : "-", row.goal ? Number(*row.goal) : "-",
                     Verdict(result), row.what + ", " + row.unit);
}

std::string Json(const std::vector<Result>& results) {
  std::string text = "{\"rows\": [";
  for (const Result& result : results) {
    text += &result == &results.front() ? "\n  " : ",\n  ";
    text += JsonRow(result);
  }
  return text + "\n]}\n";
}

}  // namespace orvane::bench
