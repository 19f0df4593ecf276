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
// for a boolean that is to be true. Where a flag is given more than once the last one counts.
//
// Each boolean flag has a twin with "no" in front of its name, which help doesn't show and which
// means the opposite: --noname is --name=false, and --noname=false is --name=true.
class CommandLine {
 public:
  // EX_USAGE of sysexits.h.
  static constexpr int kUsageErrorCode = 64;

  // `usage` heads the help text.
  CommandLine(const std::string& usage, const std::string& version);

  ~CommandLine();

  // What a flag points to holds its default, must outlive the parser and is set by Parse. Integers
  // are decimal.
  void AddBool(const std::string& name, const std::string& help, bool* value);
  void AddInt32(const std::string& name, const std::string& help, std::int32_t* value);

  // Takes the text of a flag. Returns what is wrong with it, as "is not a size", or nothing.
  using TextParser = std::function<std::string(const std::string& text)>;

  // A flag with any other value. `parse` runs for each time that it is given, in order; `value`
  // describes the value in the help text, as "FILE (default: none)".
  void AddText(const std::string& name, const std::string& value, const std::string& help,
               TextParser parse);

  // Nothing when the program is to go on. Otherwise its exit code: help or the version has been
  // written to standard output, or one line on what is wrong to standard error.
  std::optional<int> Parse(int argc, const char* const* argv);

 private:
  // A boolean and the variable of its twin.
  struct Twins {
    bool* value;
    bool opposite;
  };

  std::unique_ptr<CLI::App> app_;
  std::list<Twins> twins_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_COMMAND_LINE_H_
