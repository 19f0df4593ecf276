#ifndef TESTBED_OFFLINE_MESSAGE_H_
#define TESTBED_OFFLINE_MESSAGE_H_

#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "platform/bus/messages.h"
#include "platform/logging.h"

namespace orvane::testbed {

// Creates messages without a bus: they can be filled, sealed and read, but not sent.
class OfflineMessages {
 public:
  OfflineMessages() {
    int ends[2];
    CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) == 0);
    peer_fd_ = ends[1];
    CHECK(sd_bus_new(&bus_) >= 0);
    CHECK(sd_bus_set_fd(bus_, ends[0], ends[0]) >= 0);
    CHECK(sd_bus_start(bus_) >= 0);
  }
  OfflineMessages(const OfflineMessages&) = delete;
  OfflineMessages& operator=(const OfflineMessages&) = delete;
  ~OfflineMessages() {
    sd_bus_close_unref(bus_);
    close(peer_fd_);
  }

  platform::bus::MessagePtr New() {
    sd_bus_message* message = nullptr;
    CHECK(sd_bus_message_new_signal(bus_, &message, "/a", "a.b", "C") >= 0);
    return platform::bus::MessagePtr(message);
  }

  // Makes the message read-only and moves to its beginning.
  static void Seal(sd_bus_message* message) {
    CHECK(sd_bus_message_seal(message, /*cookie=*/1, /*timeout_usec=*/0) >= 0);
    CHECK(sd_bus_message_rewind(message, /*complete=*/1) >= 0);
  }

 private:
  sd_bus* bus_ = nullptr;
  int peer_fd_ = -1;
};

}  // namespace orvane::testbed

#endif  // TESTBED_OFFLINE_MESSAGE_H_
