#ifndef PLATFORM_DATAGRAM_WRITER_H_
#define PLATFORM_DATAGRAM_WRITER_H_

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "platform/loop.h"
#include "platform/one_shot_timer.h"
#include "platform/sockets.h"
#include "platform/time.h"

namespace orvane::platform {

// Sends datagrams on a connected socket, in order, without blocking. While the peer's queue is
// full, datagrams wait here, and the loop sends them as the peer reads. A peer that reads gets all
// of them, even if it is slow. If a peer takes none for kPatience, all waiting datagrams are lost.
class DatagramWriter : private FdWatcher {
 public:
  static constexpr TimeSpan kPatience{1'000'000};
  // The most datagrams that wait. A further one is lost at once.
  static constexpr std::size_t kMaxWaiting = 10'000;

  // Runs once for each lost datagram, with an errno value: EAGAIN if the peer did not read. If the
  // peer is gone, all waiting datagrams are lost with the same value. Must not use or destroy the
  // writer.
  using LossCallback = std::function<void(int error_number)>;

  // `fd` must be non-blocking. `fd`, the loop and `sockets` must outlive the writer.
  DatagramWriter(Loop& loop, Sockets& sockets, int fd, LossCallback on_loss);
  DatagramWriter(const DatagramWriter&) = delete;
  DatagramWriter& operator=(const DatagramWriter&) = delete;
  // Loses the waiting datagrams, with EAGAIN for each.
  ~DatagramWriter() override;

  // Sends the datagram or queues it. Returns false if it is already lost.
  bool Send(std::string_view datagram);

 private:
  void OnReadReady(int /*fd*/) override {}
  void OnWriteReady(int /*fd*/) override { Flush(); }

  // Returns 0 or an errno value.
  int TrySend(std::string_view datagram);
  void StartWaiting();
  void StopWaiting();
  void StartChecks();
  void StartCheckTimer();
  void Check();
  // Sends as many datagrams as fit, or loses all if the peer is gone. Returns whether there was
  // progress.
  bool Flush();
  void LoseAll(int error_number);

  Loop& loop_;
  Sockets& sockets_;
  int fd_;
  LossCallback on_loss_;
  std::deque<std::string> waiting_;
  // Valid while datagrams wait. It is a duplicate, since the reader of the socket watches `fd_`.
  ScopedFd watched_fd_;
  std::unique_ptr<FdWatch> watch_;
  OneShotTimer check_timer_;
  int idle_checks_ = 0;  // in a row
};

}  // namespace orvane::platform

#endif  // PLATFORM_DATAGRAM_WRITER_H_
