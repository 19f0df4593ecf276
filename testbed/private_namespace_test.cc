#include "testbed/private_namespace.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "platform/files.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

constexpr char kRunMarker[] = "/var/run/lab-private-namespace-test";
constexpr char kLibMarker[] = "/var/lib/lab-private-namespace-test";

constexpr uid_t kNobody = 65534;

// Drops root, to test the user namespace.
void BecomeNobody() {
  if (geteuid() != 0) return;
  if (setresgid(kNobody, kNobody, kNobody) < 0 || setresuid(kNobody, kNobody, kNobody) < 0) {
    _exit(2);
  }
  // Dropping root clears this flag; without it the process can't access its own files below /proc.
  prctl(PR_SET_DUMPABLE, 1);
}

void Expect(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "not so: %s\n", what);
  _exit(1);
}

void Enter(const PrivateNamespaceOptions& options) {
  const Failure error = EnterPrivateNamespace(options);
  Expect(!error, error.value_or("").c_str());
}

bool DevicesWork() {
  const platform::ScopedFd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
  const platform::ScopedFd zero(open("/dev/zero", O_RDONLY | O_CLOEXEC));
  char byte = 1;
  return write(null.get(), "x", 1) == 1 && read(zero.get(), &byte, 1) == 1 && byte == 0;
}

bool CanServe(const char* path) {
  const platform::ScopedFd server(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, path);
  return bind(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

[[noreturn]] void TryFixedPaths() {
  Enter({});
  Expect(std::filesystem::is_empty("/run"), "/run is empty");
  Expect(std::filesystem::is_empty("/var/lib"), "/var/lib is empty");
  WriteFile(kRunMarker, "x");
  WriteFile(kLibMarker, "x");
  Expect(platform::PathExists("/run/lab-private-namespace-test"), "/var/run is /run");
  Expect(geteuid() == 0, "root inside");
  Expect(platform::PathExists("/dev/null"), "/dev is as it was");
  _exit(0);
}

[[noreturn]] void TryPrivateDev() {
  Enter({.private_dev = true});
  Expect(DevicesWork(), "nodes work");
  Expect(!platform::PathExists("/dev/log"), "no /dev/log");
  Expect(CanServe("/dev/log"), "a /dev/log can be made");
  Expect(platform::PathExists("/dev/fd/0"), "links into /proc");
  Expect(std::filesystem::is_empty("/run"), "/run is empty");
  _exit(0);
}

class PrivateNamespaceTest : public ::testing::TestWithParam<bool> {
 protected:
  static void MaybeBecomeNobody() {
    if (GetParam()) BecomeNobody();
  }
};

TEST_P(PrivateNamespaceTest, FixedPathsAreFreeAndUnseenOutside) {
  EXPECT_EXIT(
      {
        MaybeBecomeNobody();
        TryFixedPaths();
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_FALSE(platform::PathExists(kRunMarker));
  EXPECT_FALSE(platform::PathExists(kLibMarker));
}

TEST_P(PrivateNamespaceTest, PrivateDev) {
  struct stat before = {};
  struct stat after = {};
  ASSERT_EQ(stat("/dev", &before), 0);
  EXPECT_EXIT(
      {
        MaybeBecomeNobody();
        TryPrivateDev();
      },
      ::testing::ExitedWithCode(0), "");
  ASSERT_EQ(stat("/dev", &after), 0);
  EXPECT_EQ(before.st_dev, after.st_dev);
}

INSTANTIATE_TEST_SUITE_P(User, PrivateNamespaceTest, ::testing::Bool(), [](const auto& param_info) {
  return param_info.param ? std::string("Unprivileged") : std::string("AsStarted");
});

}  // namespace
}  // namespace orvane::testbed
