// Runs a program without its output. Prints its processor time in seconds and its peak of resident
// memory in kB. usage: resource_usage PROGRAM [ARGUMENT...]
//
// The kernel counts the memory of the process that starts a program as memory of the program. This
// process is small.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace {

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

int Fail(const char* what) {
  std::fprintf(stderr, "resource_usage: %s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return Fail("no program");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  if (posix_spawn(&pid, argv[1], &actions, nullptr, argv + 1, environ) != 0) return Fail(argv[1]);
  int status = 0;
  rusage usage = {};
  if (wait4(pid, &status, 0, &usage) != pid || status != 0) return Fail("the program failed");
  std::printf("%f %ld\n", Seconds(usage.ru_utime) + Seconds(usage.ru_stime), usage.ru_maxrss);
}
