#ifndef PLATFORM_COMMAND_LINE_H_
#define PLATFORM_COMMAND_LINE_H_

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace orvane::platform {

// A command line of named flags: --name=value, for an integer also --name value, and --name alone
// for a boolean that becomes true. If a flag is repeated, the last value wins.
//
// Each boolean flag has a hidden opposite with the prefix "no": --noname is --name=false, and
// --noname=false is --name=true.
class CommandLine {
 public:
  // EX_USAGE of sysexits.h.
  static constexpr int kUsageErrorCode = 64;

  // `usage` is the first part of the help text.
  CommandLine(const std::string& usage, const std::string& version);

  ~CommandLine();

  // `*value` holds the default and is set by Parse. It must outlive the parser. Integers are
  // decimal.
  void AddBool(const std::string& name, const std::string& help, bool* value);
  void AddInt32(const std::string& name, const std::string& help, std::int32_t* value);

  // Parses the value of a flag. Returns nothing on success, otherwise the problem, for example "is
  // not a size".
  using TextParser = std::function<std::string(const std::string& text)>;

  // Adds a flag with a value of any other kind. `parse` runs for each occurrence, in order. `value`
  // describes the value in the help text, for example "FILE (default: none)".
  void AddText(const std::string& name, const std::string& value, const std::string& help,
               TextParser parse);

  // Returns nothing if the program can continue. Otherwise returns its exit code: help or the
  // version was written to standard output, or an error line to standard error.
  std::optional<int> Parse(int argc, const char* const* argv);

 private:
  // A boolean flag and the variable of its opposite.
  struct Twins {
    bool* value;
    bool opposite;
  };

  std::unique_ptr<CLI::App> app_;
  std::list<Twins> twins_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_COMMAND_LINE_H_
