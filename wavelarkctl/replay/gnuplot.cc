#include "wavelarkctl/replay/gnuplot.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <limits>
#include <string_view>

#include "platform/files.h"
#include "platform/logging.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

using platform::ScopedFd;

[[noreturn]] void Fail(const std::string& problem) {
  throw Failure(ExitStatus::kUnavailable, "gnuplot: " + problem);
}

// Returns a file in memory with these contents, positioned at its start.
ScopedFd MakeFile(std::string_view contents) {
  ScopedFd file(memfd_create("gnuplot", MFD_CLOEXEC));
  if (!file.is_valid() || !platform::WriteWhole(file.get(), contents) ||
      lseek(file.get(), 0, SEEK_SET) != 0) {
    Fail(platform::SystemErrorText(errno));
  }
  return file;
}

std::string ReadFromStart(const ScopedFd& file) {
  lseek(file.get(), 0, SEEK_SET);
  auto contents = platform::ReadUpTo(file.get(), std::numeric_limits<std::int32_t>::max());
  if (!contents) Fail(platform::SystemErrorText(errno));
  return *contents;
}

// Runs gnuplot with the three files as its standard descriptors. Returns its wait status.
int RunToEnd(const ScopedFd& in, const ScopedFd& out, const ScopedFd& err) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in.get(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out.get(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err.get(), STDERR_FILENO);
  // -d ignores the user's settings.
  std::string program = "gnuplot";
  std::string no_settings = "-d";
  const std::array<char*, 3> arguments = {program.data(), no_settings.data(), nullptr};
  pid_t pid = 0;
  const int error =
      posix_spawnp(&pid, program.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error == ENOENT) Fail("not found; the package is gnuplot-nox");
  if (error != 0) Fail(platform::SystemErrorText(error));
  int status = 0;
  platform::RetryOnEintr([&] { return waitpid(pid, &status, 0); });
  return status;
}

}  // namespace

std::string RunGnuplot(const std::string& script) {
  const ScopedFd in = MakeFile(script);
  const ScopedFd out = MakeFile("");
  const ScopedFd err = MakeFile("");
  const int status = RunToEnd(in, out, err);
  if (status == 0) return ReadFromStart(out);
  const std::string complaint = ReadFromStart(err);
  Fail(complaint.empty() ? "failed" : complaint);
}

}  // namespace orvane::wavelarkctl
