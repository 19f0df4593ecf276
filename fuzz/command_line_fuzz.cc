// Command lines. Each line of the input is an argument.

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "optimizer/optimizer_flags.h"
#include "platform/logging.h"

namespace orvane {
namespace {

// Redirects the texts for people: the fuzzer itself uses standard output and standard error.
class Quiet {
 public:
  Quiet() {
    Redirect(STDOUT_FILENO, kNothing);
    Redirect(STDERR_FILENO, kNothing);
  }
  ~Quiet() {
    Redirect(STDOUT_FILENO, kOut);
    Redirect(STDERR_FILENO, kErr);
  }

 private:
  static void Redirect(int descriptor, int to) { CHECK(dup2(to, descriptor) == descriptor); }

  inline static const int kNothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  inline static const int kOut = dup(STDOUT_FILENO);
  inline static const int kErr = dup(STDERR_FILENO);
};

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  // An argument can't contain a null byte.
  std::vector<std::string> arguments = {"ap-wavelark"};
  for (fuzz::Input input(bytes); !input.IsEmpty();) {
    arguments.emplace_back(std::string(input.TakeUntil('\n')).c_str());
  }
  std::vector<const char*> argv;
  argv.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);

  ap::OptimizerFlags flags;
  std::optional<int> exit_code;
  {
    const Quiet quiet;
    exit_code = ap::ParseCommandLine(static_cast<int>(arguments.size()), argv.data(), &flags);
  }
  CHECK(!exit_code || *exit_code == 0 || *exit_code == 64) << *exit_code;
  // A command line without arguments is valid.
  CHECK(arguments.size() > 1 || !exit_code);
}

}  // namespace orvane
