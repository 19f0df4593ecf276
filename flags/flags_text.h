#ifndef FLAGS_FLAGS_TEXT_H_
#define FLAGS_FLAGS_TEXT_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::flags {

using FlagMap = std::map<std::string, std::string>;

// The result of reading so far. The map is valid only without errors.
struct Reading {
  FlagMap flags;
  // Each error and each warning is "FILE:LINE: REASON". The reason does not repeat the value, which
  // may contain anything.
  std::vector<std::string> errors;
  std::vector<std::string> warnings;

  friend bool operator==(const Reading&, const Reading&) = default;
};

// Adds the lines of a file to a reading. Each line is "KEY=VALUE", empty, or begins with "#". White
// space around line, key and value is ignored. The first "=" ends the key. If a key is repeated,
// the last value wins.
//
// Errors, except in comments and empty lines: a line without "=" or without a key; a line with
// characters other than printable ASCII and tabs, or longer than kMaxLineLength; a value that the
// daemon can't use (common/run_time_flags.h); a last line without a line end, which may be
// incomplete. An unknown key is a warning.
void ReadFlags(const std::string& file, std::string_view text, Reading* reading);

inline constexpr std::size_t kMaxLineLength = 1024;

}  // namespace orvane::flags

#endif  // FLAGS_FLAGS_TEXT_H_
