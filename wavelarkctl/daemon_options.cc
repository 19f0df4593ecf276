#include "wavelarkctl/daemon_options.h"

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

std::string_view Unquote(std::string_view value) {
  const bool is_quoted = value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
                         value.back() == value.front();
  return is_quoted ? value.substr(1, value.size() - 2) : value;
}

std::vector<std::string> SplitWords(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

}  // namespace

std::string FindDaemonOptions(std::string_view environment) {
  std::string_view found;
  while (!environment.empty()) {
    const std::string_view line = environment.substr(0, environment.find('\n'));
    environment.remove_prefix(std::min(line.size() + 1, environment.size()));
    const std::string_view trimmed = platform::TrimWhitespace(line);
    if (trimmed.starts_with(kVariable)) found = trimmed.substr(kVariable.size());
  }
  return std::string(Unquote(found));
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
