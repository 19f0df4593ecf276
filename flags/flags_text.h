#ifndef FLAGS_FLAGS_TEXT_H_
#define FLAGS_FLAGS_TEXT_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::flags {

using FlagMap = std::map<std::string, std::string>;

// What has been read so far. The map is good only while there are no errors.
struct Reading {
  FlagMap flags;
  // Each as "FILE:LINE: REASON". Values are not quoted: they may be anything.
  std::vector<std::string> errors;
  std::vector<std::string> warnings;

  friend bool operator==(const Reading&, const Reading&) = default;
};

// Adds the lines of a file to a reading. Each line is "KEY=VALUE", or empty, or begins with "#".
// White space around line, key and value do not count; a value may be
// empty and may contain "=". A key that is there already gets the new value.
//
// Errors: a line without "=" or without a key, one with anything but printable ASCII and tabs or of
// over kMaxLineLength characters, a value that the daemon can't use (common/run_time_flags.h), and
// a last line without a line end, which may be half of one. An unknown key is a warning.
void ReadFlags(const std::string& file, std::string_view text, Reading* reading);

inline constexpr std::size_t kMaxLineLength = 1024;

}  // namespace orvane::flags

#endif  // FLAGS_FLAGS_TEXT_H_
