#ifndef TESTBED_PRIVATE_NAMESPACE_H_
#define TESTBED_PRIVATE_NAMESPACE_H_

#include "testbed/failure.h"

namespace orvane::testbed {

struct PrivateNamespaceOptions {
  // A writable /dev with only the usual nodes (null, zero, full, random, urandom, tty, ptmx, pts,
  // shm and the links into /proc), so that a test can create its own /dev/log.
  bool private_dev = false;
};

// Moves the process into its own mount namespace, with empty file systems on /run (so also on
// /var/run) and on /var/lib. Fixed paths there are free, and only this process and its later
// children see the mounts and files there. The file systems disappear with the last of these
// processes.
//
// Root gets a mount namespace. Other users, and a root without that right, get a user namespace in
// which they are root. The process must have a single thread.
//
// After a failure the process may be in the new namespace with only some of the file systems: it
// should end.
[[nodiscard]] Failure EnterPrivateNamespace(const PrivateNamespaceOptions& options = {});

}  // namespace orvane::testbed

#endif  // TESTBED_PRIVATE_NAMESPACE_H_
