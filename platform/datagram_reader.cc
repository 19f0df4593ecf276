#include "platform/datagram_reader.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <string>
#include <utility>

#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::platform {

// Shared with the running read, since a callback may destroy the reader.
struct DatagramReader::State {
  // Does not initialise the buffer: its pages use no memory before the first read.
  State(int socket, DataCallback data_callback, ErrorCallback error_callback)
      : fd(socket), on_data(std::move(data_callback)), on_error(std::move(error_callback)) {}

  int fd;
  DataCallback on_data;
  ErrorCallback on_error;
  std::unique_ptr<FdWatch> watch;  // null when reading has ended
  std::array<std::uint8_t, std::size_t{64} * 1024> buffer;
};

DatagramReader::DatagramReader(Loop& loop, int fd, DataCallback on_data, ErrorCallback on_error)
    : state_(std::make_shared<State>(fd, std::move(on_data), std::move(on_error))) {
  state_->watch = loop.WatchReadable(fd, this);
  CHECK(state_->watch != nullptr);
}

DatagramReader::~DatagramReader() { state_->watch.reset(); }

void DatagramReader::ReadNow() {
  const std::shared_ptr<State> state = state_;
  for (int i = 0; i < kDatagramsPerWakeUp && state->watch != nullptr; ++i) {
    if (!ReadOne(*state)) return;
  }
}

bool DatagramReader::ReadOne(State& state) {
  const ssize_t length = RetryOnEintr(
      [&] { return recv(state.fd, state.buffer.data(), state.buffer.size(), MSG_DONTWAIT); });
  if (length >= 0) {
    state.on_data({state.buffer.data(), static_cast<std::size_t>(length)});
    return true;
  }
  if (errno == EAGAIN) return false;
  const std::string error = SystemErrorText(errno);
  state.watch.reset();
  state.on_error(error);
  return false;
}

}  // namespace orvane::platform
