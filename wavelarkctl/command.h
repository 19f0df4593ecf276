#ifndef WAVELARKCTL_COMMAND_H_
#define WAVELARKCTL_COMMAND_H_

#include <functional>
#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace orvane::wavelarkctl {

// Exit statuses. Those above 1 are from sysexits.h.
enum class ExitStatus : int {
  kOk = 0,
  kFound = 1,         // the question is answered, and the answer needs attention
  kUsage = 64,        // the command line is wrong
  kData = 65,         // an input has wrong contents
  kUnavailable = 69,  // a file, program or service is missing or does not answer
};

// Ends a subcommand: `what()` is one line for standard error, without the program's name.
class Failure : public std::runtime_error {
 public:
  Failure(ExitStatus status, const std::string& message)
      : std::runtime_error(message), status_(status) {}

  [[nodiscard]] ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

// Runs a subcommand after its options are parsed.
using Action = std::function<ExitStatus()>;

// Adds one subcommand with its options to `app`. If the command line chooses it, `*action` is set.
using AddCommand = void(CLI::App& app, Action* action);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_COMMAND_H_
