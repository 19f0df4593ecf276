#ifndef TESTBED_FLAGS_FILE_H_
#define TESTBED_FLAGS_FILE_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::testbed {

using FlagMap = std::map<std::string, std::string>;

struct FlagsFile {
  FlagMap flags;
  // Of the lines that were skipped, each with its number.
  std::vector<std::string> problems;
};

// Reads lines of the form "key=value". The value may be empty and may have further "="; white space
// around key and value is not part of them. Empty lines, and those that begin with "#", say
// nothing. A line that is not one of these, is not UTF-8 or has a key again is skipped.
FlagsFile ParseFlagsFile(std::string_view text);

}  // namespace orvane::testbed

#endif  // TESTBED_FLAGS_FILE_H_
