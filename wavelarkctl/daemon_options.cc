#include "wavelarkctl/daemon_options.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <sstream>
#include <streambuf>
#include <utility>

#include "platform/logging.h"
#include "platform/text.h"

namespace orvane::wavelarkctl {
namespace {

constexpr std::string_view kVariable = "DAEMON_OPTS=";

// Captures what is written to a stream during the lifetime of this object.
class CapturedStream {
 public:
  explicit CapturedStream(std::ostream& stream)
      : stream_(stream), previous_(stream.rdbuf(buffer_.rdbuf())) {}
  CapturedStream(const CapturedStream&) = delete;
  CapturedStream& operator=(const CapturedStream&) = delete;
  ~CapturedStream() { stream_.rdbuf(previous_); }

  std::string text() const { return buffer_.str(); }

 private:
  std::ostringstream buffer_;
  std::ostream& stream_;
  std::streambuf* previous_;
};

// Removes each backslash at a line end together with the line end.
std::string JoinContinuedLines(std::string_view text) {
  constexpr std::string_view kContinuation = "\\\n";
  std::string joined(text);
  for (std::size_t at = joined.find(kContinuation); at != std::string::npos;
       at = joined.find(kContinuation, at)) {
    joined.erase(at, kContinuation.size());
  }
  return joined;
}

std::string_view WithoutIndent(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(" \t"), text.size()));
}

// Returns the value at the start of a text. A value in quotes may have several lines.
std::string_view ValueAt(std::string_view text) {
  text = WithoutIndent(text);
  const bool is_quoted = text.starts_with('"') || text.starts_with('\'');
  if (!is_quoted) return platform::TrimWhitespace(text.substr(0, text.find('\n')));
  const std::string_view rest = text.substr(1);
  return rest.substr(0, rest.find(text.front()));
}

std::vector<std::string> SplitWords(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

}  // namespace

std::string FindDaemonOptions(std::string_view environment) {
  const std::string text = JoinContinuedLines(environment);
  std::string_view found;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string_view line = WithoutIndent(rest);
    if (line.starts_with(kVariable)) found = ValueAt(line.substr(kVariable.size()));
    rest.remove_prefix(std::min(rest.find('\n'), rest.size() - 1) + 1);
  }
  return std::string(found);
}

DaemonOptions ParseDaemonOptions(const std::string& text) {
  DaemonOptions options = {.text = text, .flags = {}, .verbose_level = 0, .error = {}};
  const std::vector<std::string> words = SplitWords(text);
  std::vector<const char*> arguments = {"ap-wavelark"};
  for (const std::string& word : words) arguments.push_back(word.c_str());
  const int previous_level = platform::internal::verbose_level;
  const CapturedStream out(std::cout);
  const CapturedStream err(std::cerr);
  const auto exit_code =
      ap::ParseCommandLine(static_cast<int>(arguments.size()), arguments.data(), &options.flags);
  options.verbose_level = std::exchange(platform::internal::verbose_level, previous_level);
  if (exit_code == 0) {
    options.error = "the daemon prints its help or version and ends";
  } else if (exit_code) {
    options.error = platform::TrimWhitespace(err.text());
  }
  return options;
}

std::optional<DaemonOptions> ReadDaemonOptions(const platform::FilePath& root) {
  const auto environment =
      platform::ReadFileToString(root / platform::FilePath(kDaemonDefaultsFile).relative_path());
  if (!environment) return std::nullopt;
  return ParseDaemonOptions(FindDaemonOptions(*environment));
}

}  // namespace orvane::wavelarkctl
