#include "testbed/private_namespace.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::testbed {
namespace {

using platform::FilePath;
using platform::RetryOnEintr;
using platform::ScopedFd;
using platform::SystemErrorText;

constexpr char kTmpfs[] = "tmpfs";
constexpr char kTmpfsOptions[] = "mode=0755";

Failure SystemFailure(std::string_view action, std::string_view object) {
  const int error = errno;
  return std::string(action) + " " + std::string(object) + ": " + SystemErrorText(error);
}

Failure WriteWhole(const char* path, const std::string& text) {
  const ScopedFd file(RetryOnEintr([&] { return open(path, O_WRONLY | O_CLOEXEC); }));
  if (!file.is_valid() || write(file.get(), text.data(), text.size()) < 0) {
    return SystemFailure("Can't write", path);
  }
  return std::nullopt;
}

// The kernel lets an unprivileged process map only its own user and group, and the group only after
// the process has given up setgroups.
Failure EnterUserNamespace() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) < 0) {
    return SystemFailure("Can't enter", "a user and mount namespace");
  }
  Failure failure = WriteWhole("/proc/self/setgroups", "deny");
  if (!failure) failure = WriteWhole("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
  if (!failure) failure = WriteWhole("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
  return failure;
}

Failure EnterNamespace() {
  if (geteuid() != 0) return EnterUserNamespace();
  if (unshare(CLONE_NEWNS) == 0) return std::nullopt;
  if (errno == EPERM) return EnterUserNamespace();
  return SystemFailure("Can't enter", "a mount namespace");
}

Failure MountTmpfs(const FilePath& path) {
  if (mount(kTmpfs, path.c_str(), kTmpfs, MS_NOSUID, kTmpfsOptions) < 0) {
    return SystemFailure("Can't mount a tmpfs on", path.native());
  }
  return std::nullopt;
}

bool IsLinkToRun(const FilePath& path) {
  std::error_code error;
  return std::filesystem::equivalent(path, "/run", error);
}

Failure MakeNode(const FilePath& node) {
  const ScopedFd file(
      RetryOnEintr([&] { return open(node.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600); }));
  if (!file.is_valid()) return SystemFailure("Can't make", node.native());
  return std::nullopt;
}

Failure MakeDirectory(const FilePath& path) {
  if (mkdir(path.c_str(), 0755) < 0) return SystemFailure("Can't make", path.native());
  return std::nullopt;
}

// Makes `original` also available at `copy`. Device nodes can't be created in a user namespace, but
// can be bind-mounted. A missing original is skipped.
Failure Bind(const FilePath& original, const FilePath& copy) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(original, error);
  if (!std::filesystem::exists(status)) return std::nullopt;
  const bool is_directory = std::filesystem::is_directory(status);
  if (Failure failure = is_directory ? MakeDirectory(copy) : MakeNode(copy)) return failure;
  if (mount(original.c_str(), copy.c_str(), nullptr, MS_BIND | MS_REC, nullptr) < 0) {
    return SystemFailure("Can't bind", original.native());
  }
  return std::nullopt;
}

Failure FillDev(const FilePath& dev) {
  for (const char* name :
       {"null", "zero", "full", "random", "urandom", "tty", "ptmx", "pts", "shm"}) {
    if (Failure failure = Bind(FilePath("/dev") / name, dev / name)) return failure;
  }
  struct Link {
    const char* name;
    const char* target;
  };
  for (const Link& link : {Link{"fd", "/proc/self/fd"}, Link{"stdin", "/proc/self/fd/0"},
                           Link{"stdout", "/proc/self/fd/1"}, Link{"stderr", "/proc/self/fd/2"}}) {
    if (symlink(link.target, (dev / link.name).c_str()) < 0) {
      return SystemFailure("Can't link", link.name);
    }
  }
  return std::nullopt;
}

// Built elsewhere and then moved to /dev, since its nodes come from the /dev that it hides.
Failure MountPrivateDev() {
  const FilePath aside = "/run/private-dev";
  Failure failure = MakeDirectory(aside);
  if (!failure) failure = MountTmpfs(aside);
  if (!failure) failure = FillDev(aside);
  if (failure) return failure;
  if (mount(aside.c_str(), "/dev", nullptr, MS_MOVE, nullptr) < 0) {
    return SystemFailure("Can't move a file system to", "/dev");
  }
  rmdir(aside.c_str());
  return std::nullopt;
}

}  // namespace

Failure EnterPrivateNamespace(const PrivateNamespaceOptions& options) {
  if (Failure failure = EnterNamespace()) return failure;
  // Otherwise the mounts would propagate to the original namespace.
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) < 0) {
    return SystemFailure("Can't make mounts private below", "/");
  }
  const bool var_run_is_run = IsLinkToRun("/var/run");
  if (Failure failure = MountTmpfs("/run")) return failure;
  if (!var_run_is_run) {
    if (Failure failure = MountTmpfs("/var/run")) return failure;
  }
  if (Failure failure = MountTmpfs("/var/lib")) return failure;
  return options.private_dev ? MountPrivateDev() : std::nullopt;
}

}  // namespace orvane::testbed
