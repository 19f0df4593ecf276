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

constexpr std::string_view kVariable = "DAEMON_OPTS";

constexpr std::string_view kBlanks = " \t\r\n";
// A backslash in double quotes has a meaning before these only.
constexpr std::string_view kEscapable = "\"\\`$\n";

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

void Skip(std::string_view* text, std::size_t length) {
  text->remove_prefix(std::min(length, text->size()));
}

// Removes the text before `end` and returns it without escapes. Joins continued lines.
std::string TakeUntil(char end, std::string_view* text) {
  std::string taken;
  while (!text->empty() && text->front() != end) {
    const bool is_escaped = end != '\'' && text->front() == '\\';
    if (is_escaped) Skip(text, 1);
    const std::string_view next = text->substr(0, 1);
    if (is_escaped && end == '"' && kEscapable.find(next) == std::string_view::npos) taken += '\\';
    if (!is_escaped || next != "\n") taken += next;
    Skip(text, 1);
  }
  return taken;
}

bool StartsWithQuote(std::string_view text) {
  return text.starts_with('"') || text.starts_with('\'');
}

std::string TakeQuoted(std::string_view* text) {
  const char quote = text->front();
  Skip(text, 1);
  std::string taken = TakeUntil(quote, text);
  Skip(text, 1);
  return taken;
}

// Removes a value, which may begin with parts in quotes, and the rest of its line.
std::string TakeValue(std::string_view* text) {
  std::string value;
  Skip(text, text->find_first_not_of(" \t"));
  while (StartsWithQuote(*text)) {
    value += TakeQuoted(text);
    Skip(text, text->find_first_not_of(" \t"));
  }
  const std::string rest = TakeUntil('\n', text);
  return value.append(rest, 0, rest.find_last_not_of(kBlanks) + 1);
}

// Splits a text as systemd splits $DAEMON_OPTS: quotes join words, and are removed.
std::vector<std::string> SplitWords(std::string_view text) {
  std::vector<std::string> words;
  for (;;) {
    Skip(&text, text.find_first_not_of(kBlanks));
    if (text.empty()) return words;
    std::string& word = words.emplace_back();
    while (!text.empty() && kBlanks.find(text.front()) == std::string_view::npos) {
      if (StartsWithQuote(text)) {
        word += TakeQuoted(&text);
      } else {
        word += text.front();
        Skip(&text, 1);
      }
    }
  }
}

}  // namespace

std::string FindDaemonOptions(std::string_view environment) {
  std::string found;
  while (!environment.empty()) {
    const std::string_view line = environment.substr(0, environment.find('\n'));
    const std::size_t equals = line.find('=');
    const std::string_view key = platform::TrimWhitespace(line.substr(0, equals));
    if (equals == std::string_view::npos || key.starts_with('#') || key.starts_with(';')) {
      Skip(&environment, line.size() + 1);
      continue;
    }
    Skip(&environment, equals + 1);
    const std::string value = TakeValue(&environment);
    if (key == kVariable) found = value;
  }
  return found;
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
