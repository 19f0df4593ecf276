// The daemon's log, explained by wavelarkctl. The input is a log of any program.

#include <stdlib.h>
#include <time.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>

#include "fuzz/fuzz_target.h"
#include "platform/logging.h"
#include "wavelarkctl/decision.h"
#include "wavelarkctl/explain/explain_text.h"
#include "wavelarkctl/explain/explainer.h"

namespace orvane {
namespace {

using wavelarkctl::ExplainedDecision;
using wavelarkctl::Explainer;
using wavelarkctl::ExplainFilter;

// In this time zone an hour occurs twice a year.
void SetZone() {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
}

// Printed text must not contain control characters.
void CheckText(std::string_view text) {
  for (const char character : text) {
    CHECK(character == '\n' || (character >= ' ' && character != '\x7f'));
  }
}

void Explain(std::span<const std::uint8_t> bytes, const ExplainFilter& filter) {
  std::size_t decisions = 0;
  Explainer explainer({}, filter, [&](const ExplainedDecision& explained) {
    ++decisions;
    CHECK(nlohmann::json::accept(wavelarkctl::JsonLine(explained.decision)));
    CHECK(explained.decision.steered == (explained.decision.why == ap::SteerVerdict::kSteered) ||
          explained.is_contradiction);
  });
  for (fuzz::Input input(bytes); !input.IsEmpty();) explainer.AddLine(input.TakeUntil('\n'));
  explainer.Finish();
  // Each line gives at most two decisions: that a client is new, and one about that client.
  CHECK(decisions <= 2 * explainer.summary().daemon_lines);
  if (explainer.summary().daemon_lines == 0) return;
  CheckText(wavelarkctl::ExplainText(explainer, filter.keep_runs, false));
}

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  static const bool is_zone_set = [] {
    SetZone();
    return true;
  }();
  CHECK(is_zone_set);
  Explain(bytes, {});
  Explain(bytes, {.client = ap::MacAddress(std::string_view("02:11:22:33:44:55")),
                  .since = {},
                  .keep_runs = true});
}

}  // namespace orvane
