#include "platform/command_line.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string_view>

namespace orvane::platform {
namespace {

constexpr std::size_t kHelpColumnWidth = 60;
constexpr std::string_view kTwinPrefix = "no";

// CLI11's own error lacks the names of hidden flags.
class BadValue : public std::runtime_error {
 public:
  BadValue(const std::string& name, const std::string& text, const std::string& reason)
      : std::runtime_error("--" + name + ": '" + text + "' " + reason) {}
};

std::string ParseInt32(const std::string& text, std::int32_t* value) {
  const bool has_plus = text.starts_with('+') && !text.starts_with("+-");
  const std::string_view digits = std::string_view(text).substr(has_plus ? 1 : 0);
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, *value);
  if (error == std::errc::result_out_of_range && stop == end) return "does not fit into 32 bits";
  if (error != std::errc() || stop != end) return "is not an integer";
  return "";
}

void CheckBool(const std::string& name, const std::string& text) {
  constexpr std::array<std::string_view, 8> kTexts = {"true", "false", "1",  "0",
                                                      "yes",  "no",    "on", "off"};
  if (std::find(kTexts.begin(), kTexts.end(), text) == kTexts.end()) {
    throw BadValue(name, text, "is neither true nor false");
  }
}

// The value is set during parsing, so that the last of a flag and its opposite wins.
CLI::Option* AddFlag(CLI::App& app, const std::string& name, const std::string& help,
                     std::function<void(bool)> set) {
  return app
      .add_flag_function(
          "--" + name, [set = std::move(set)](std::int64_t count) { set(count > 0); }, help)
      ->check([name](const std::string& text) {
        CheckBool(name, text);
        return std::string();
      })
      ->trigger_on_parse();
}

// CLI11 can't distinguish "--name=" and, for a boolean, "--name={}" from "--name".
std::optional<std::string> FindLostValue(int argc, const char* const* argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const std::size_t equals = argument.find('=');
    if (!argument.starts_with("--") || equals == std::string_view::npos) continue;
    const std::string name(argument.substr(0, equals));
    const std::string_view value = argument.substr(equals + 1);
    if (value.empty()) return name + ": missing value";
    if (value == "{}") return name + ": '{}' is no value";
  }
  return std::nullopt;
}

int ReportUsageError(const char* program, std::string message) {
  std::replace(message.begin(), message.end(), '\n', ' ');
  std::cerr << program << ": " << message << " (--help lists the flags)\n";
  return CommandLine::kUsageErrorCode;
}

}  // namespace

CommandLine::CommandLine(const std::string& usage, const std::string& version)
    : app_(std::make_unique<CLI::App>(usage)) {
  app_->get_formatter()->column_width(kHelpColumnWidth);
  app_->set_help_flag("--help", "Print this help and exit");
  app_->set_version_flag("--version", version, "Print the version and exit");
}

CommandLine::~CommandLine() = default;

void CommandLine::AddBool(const std::string& name, const std::string& help, bool* value) {
  Twins& twins = twins_.emplace_back(Twins{value, !*value});
  const auto set = [&twins](bool is_true) {
    *twins.value = is_true;
    twins.opposite = !is_true;
  };
  const std::string text = *value ? "BOOL (default: true)" : "BOOL (default: false)";
  AddFlag(*app_, name, help, set)->option_text(text);
  AddFlag(*app_, std::string(kTwinPrefix) + name, help, [set](bool is_true) { set(!is_true); })
      ->option_text(text)
      ->group("");
}

void CommandLine::AddInt32(const std::string& name, const std::string& help, std::int32_t* value) {
  AddText(name, "INT (default: " + std::to_string(*value) + ")", help,
          [value](const std::string& text) { return ParseInt32(text, value); });
}

void CommandLine::AddText(const std::string& name, const std::string& value,
                          const std::string& help, TextParser parse) {
  const auto take = [name, parse = std::move(parse)](const std::string& text) {
    const std::string problem = text.empty() ? "is empty" : parse(text);
    if (!problem.empty()) throw BadValue(name, text, problem);
  };
  app_->add_option_function<std::string>("--" + name, take, help)
      ->option_text(value)
      ->trigger_on_parse();
}

std::optional<int> CommandLine::Parse(int argc, const char* const* argv) {
  const char* program = argc > 0 ? argv[0] : "";
  if (const auto error = FindLostValue(argc, argv)) return ReportUsageError(program, *error);
  try {
    // CLI11 requires the program's name.
    if (argc > 0) app_->parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::string help = app_->help();
    help.erase(help.find_last_not_of('\n') + 1);  // hidden flags leave empty lines
    std::cout << help << '\n';
    return 0;
  } catch (const CLI::CallForVersion& version) {
    std::cout << version.what() << '\n';
    return 0;
  } catch (const CLI::ParseError& error) {
    return ReportUsageError(program, error.what());
  } catch (const BadValue& error) {
    return ReportUsageError(program, error.what());
  }
  return std::nullopt;
}

}  // namespace orvane::platform
