#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "bench/rows.h"
#include "platform/files.h"

namespace orvane::bench {
namespace {

constexpr double kNanosecondsPerMicrosecond = 1000;

struct Samples {
  std::vector<double> ours;
  std::vector<double> floor;
};
// By row name.
using SamplesOfRows = std::map<std::string, Samples>;

// Parses the output of the scenario: lines of a name and two times.
SamplesOfRows Read(const std::string& text) {
  SamplesOfRows rows;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string name;
    double ours = 0;
    double floor = 0;
    if (!(fields >> name >> ours >> floor)) continue;
    rows[name].ours.push_back(ours / kNanosecondsPerMicrosecond);
    rows[name].floor.push_back(floor / kNanosecondsPerMicrosecond);
  }
  return rows;
}

Row PollRow(const std::string& stations, std::optional<double> goal,
            const std::string& samples_file) {
  const std::string name = "poll_" + stations;
  const auto measure = [name, samples_file]() -> std::optional<Measured> {
    const SamplesOfRows rows = Read(platform::ReadFileToString(samples_file).value_or(""));
    const auto found = rows.find(name);
    if (found == rows.end()) return std::nullopt;
    return Measured{.ours = Summarize(found->second.ours), .floor = Summarize(found->second.floor)};
  };
  return {.name = name,
          .what = "a poll in the lab of " + stations + " of a kernel's stations",
          .unit = "us",
          .goal = goal,
          .measure = measure};
}

}  // namespace

std::vector<Row> PollRows(const std::string& samples_file) {
  return {PollRow("1", std::nullopt, samples_file), PollRow("50", 1.5, samples_file),
          PollRow("200", 1.5, samples_file)};
}

}  // namespace orvane::bench
