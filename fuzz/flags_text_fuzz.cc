// Files of flags. The daemon must be able to use each accepted value, and the accepted map must
// survive a round trip.

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>

#include "common/run_time_flags.h"
#include "flags/flags_text.h"
#include "fuzz/fuzz_target.h"
#include "platform/logging.h"

namespace orvane {
namespace {

// Converts like the daemon, whose conversion throws.
void ReadAsTheDaemon(const ap::RunTimeFlag& flag, const std::string& value) {
  if (flag.kind == ap::RunTimeFlag::Kind::kSwitch) {
    CHECK(value == ap::kEnabledValue || value == ap::kDisabledValue);
    return;
  }
  const int number = std::stoi(value);
  CHECK(number >= flag.least && number <= flag.greatest);
  CHECK(std::to_string(number) == value || value.find_first_not_of("-0123456789") == value.npos);
}

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  flags::Reading reading;
  flags::ReadFlags("file", fuzz::AsText(bytes), &reading);
  std::string text;
  for (const auto& [key, value] : reading.flags) {
    const auto* const flag = std::ranges::find(ap::kRunTimeFlags, key, &ap::RunTimeFlag::key);
    if (flag != ap::kRunTimeFlags.end()) ReadAsTheDaemon(*flag, value);
    text += key;
    text += "=" + value + "\n";
  }
  for (const std::string& error : reading.errors) {
    CHECK(std::ranges::all_of(error, [](char c) { return c >= ' ' && c <= '~'; }));
  }
  flags::Reading again;
  flags::ReadFlags("file", text, &again);
  // A key that begins with "#" would be a comment; there is no such key here.
  CHECK(again.errors.empty() && again.flags == reading.flags);
}

}  // namespace orvane
