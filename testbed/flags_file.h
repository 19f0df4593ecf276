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
  // Problems of skipped lines, each with its line number.
  std::vector<std::string> problems;
};

// Parses lines of the form "key=value". The value may be empty and may contain "=". White space
// around key and value is ignored. Empty lines and lines that begin with "#" are ignored. A line
// with another form, with a repeated key, or that is not UTF-8 is skipped.
FlagsFile ParseFlagsFile(std::string_view text);

}  // namespace orvane::testbed

#endif  // TESTBED_FLAGS_FILE_H_
