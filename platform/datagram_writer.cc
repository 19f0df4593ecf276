#include "platform/datagram_writer.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

namespace orvane::platform {
namespace {

// One check is not enough: if the loop was blocked for longer than kPatience, the peer may be
// blocked in a send to this process, and reads again only after the loop has read.
constexpr int kIdleChecks = 2;

}  // namespace

DatagramWriter::DatagramWriter(Loop& loop, Sockets& sockets, int fd, LossCallback on_loss)
    : loop_(loop), sockets_(sockets), fd_(fd), on_loss_(std::move(on_loss)), check_timer_(loop) {}

DatagramWriter::~DatagramWriter() { LoseAll(EAGAIN); }

bool DatagramWriter::Send(std::string_view datagram) {
  const int error = waiting_.empty() ? TrySend(datagram) : EAGAIN;
  if (error == 0) return true;
  if (error != EAGAIN || waiting_.size() >= kMaxWaiting) {
    on_loss_(error);
    return false;
  }
  if (waiting_.empty()) StartWaiting();
  waiting_.emplace_back(datagram);
  return true;
}

int DatagramWriter::TrySend(std::string_view datagram) {
  return sockets_.Send(fd_, datagram.data(), datagram.size(), 0) < 0 ? errno : 0;
}

// If no descriptor is left to watch, only the checks send the waiting datagrams.
void DatagramWriter::StartWaiting() {
  watched_fd_ = ScopedFd(fcntl(fd_, F_DUPFD_CLOEXEC, 0));
  watch_ = loop_.WatchWritable(watched_fd_.get(), this);
  StartChecks();
}

void DatagramWriter::StopWaiting() {
  check_timer_.Stop();
  watch_.reset();
  watched_fd_ = ScopedFd();
}

void DatagramWriter::StartChecks() {
  idle_checks_ = 0;
  StartCheckTimer();
}

void DatagramWriter::StartCheckTimer() {
  check_timer_.Start(kPatience / kIdleChecks, [this] { Check(); });
}

void DatagramWriter::Check() {
  if (Flush()) return;
  ++idle_checks_;
  idle_checks_ < kIdleChecks ? StartCheckTimer() : LoseAll(EAGAIN);
}

bool DatagramWriter::Flush() {
  const std::size_t count = waiting_.size();
  while (!waiting_.empty()) {
    const int error = TrySend(waiting_.front());
    if (error == EAGAIN) break;
    if (error != 0) {
      LoseAll(error);
      return true;
    }
    waiting_.pop_front();
  }
  if (waiting_.size() == count) return false;
  waiting_.empty() ? StopWaiting() : StartChecks();
  return true;
}

void DatagramWriter::LoseAll(int error_number) {
  StopWaiting();
  for (; !waiting_.empty(); waiting_.pop_front()) on_loss_(error_number);
}

}  // namespace orvane::platform
