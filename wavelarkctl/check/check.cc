// The subcommand "check": whether this machine is ready for the daemon.

#include "wavelarkctl/check/check.h"

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <array>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "platform/logging.h"
#include "wavelarkctl/check/checks.h"
#include "wavelarkctl/commands.h"
#include "wavelarkctl/events/event_words.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/json_text.h"

namespace orvane::wavelarkctl {
namespace {

// In the order of Level.
constexpr std::array<Colour, 3> kColours = {Colour::kGreen, Colour::kYellow, Colour::kRed};

std::string JsonOf(std::string_view subject, const Finding& finding) {
  nlohmann::ordered_json json;
  json["level"] = LevelText(finding.level);
  json["subject"] = subject;
  json["finding"] = finding.text;
  json["advice"] = finding.advice;
  return JsonText(json);
}

std::string TextOf(std::string_view subject, const Finding& finding, bool is_colour_wanted) {
  const std::string level = fmt::format("{:<7}", LevelText(finding.level));
  std::string text =
      fmt::format("{}  {:<9}  {}",
                  Paint(level, kColours[static_cast<std::size_t>(finding.level)], is_colour_wanted),
                  subject, Printable(finding.text));
  if (!finding.advice.empty()) {
    text += fmt::format("\n{:20}-> {}", "", Printable(finding.advice));
  }
  return text;
}

constexpr char kExamples[] = R"(Examples:
  wavelarkctl check
      what is missing, and what to do
  wavelarkctl check --json | jq -r 'select(.level == "failure") | .finding'
      the failures, for a script

What this user is not allowed to check is a warning: run it as root to check everything.
Exit status: 0 if all is ok, otherwise 1.)";

}  // namespace

ExitStatus RunChecks(Machine& machine, const CheckOutput& output, std::ostream& out) {
  std::array<std::size_t, 3> counts = {};
  for (const Check& check : AllChecks()) {
    for (const Finding& finding : check.run(machine)) {
      ++counts[static_cast<std::size_t>(finding.level)];
      out << (output.is_json ? JsonOf(check.subject, finding)
                             : TextOf(check.subject, finding, output.is_colour_wanted))
          << std::endl;
    }
  }
  const auto& [ok, warnings, failures] = counts;
  if (!output.is_json) {
    out << fmt::format("{} ok, {}, {}\n", ok, Count(warnings, "warning"),
                       Count(failures, "failure"));
  }
  return warnings + failures == 0 ? ExitStatus::kOk : ExitStatus::kFound;
}

void AddCheck(CLI::App& app, Action* action) {
  CLI::App* command =
      app.add_subcommand("check", "Check whether this machine is ready for the daemon");
  command->footer(kExamples);
  const auto is_json = std::make_shared<bool>(false);
  command->add_flag("--json", *is_json, "Print a JSON object for each finding");
  command->callback([action, is_json] {
    *action = [is_json] {
      platform::InitLog(0, "");  // findings replace the log lines of the daemon's code
      Machine machine;
      return RunChecks(machine, {.is_json = *is_json, .is_colour_wanted = IsColourWanted()},
                       std::cout);
    };
  });
}

}  // namespace orvane::wavelarkctl
