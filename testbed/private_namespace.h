#ifndef TESTBED_PRIVATE_NAMESPACE_H_
#define TESTBED_PRIVATE_NAMESPACE_H_

#include "testbed/failure.h"

namespace orvane::testbed {

struct PrivateNamespaceOptions {
  // A /dev with nothing but the usual nodes (null, zero, full, random, urandom, tty, ptmx, pts, shm
  // and the links into /proc), so that a test can make a /dev/log of its own. It can be written to.
  bool private_dev = false;
};

// Moves the process into a mount namespace of its own, with empty file systems on /run (so also on
// /var/run) and on /var/lib: fixed paths there are free, and what is mounted, made or deleted there
// is seen by this process and its later children only. The file systems vanish with the last of
// them.
//
// Root gets a mount namespace; anybody else, and a root without that right, gets a user namespace
// in which the own user is root. The process must have a single thread.
//
// After a failure the process may be in the
// new namespace with only some of the file systems: it should end.
[[nodiscard]] Failure EnterPrivateNamespace(const PrivateNamespaceOptions& options = {});

}  // namespace orvane::testbed

#endif  // TESTBED_PRIVATE_NAMESPACE_H_
