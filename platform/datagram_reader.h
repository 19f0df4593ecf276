#ifndef PLATFORM_DATAGRAM_READER_H_
#define PLATFORM_DATAGRAM_READER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "platform/loop.h"

namespace orvane::platform {

// Reads the datagrams of a socket as they arrive, up to 64 KiB each, until it is destroyed. It
// reads at most kDatagramsPerWakeUp per wake-up of the loop, so that one busy peer can't starve the
// others. Its callbacks may destroy it.
class DatagramReader : private FdWatcher {
 public:
  // Receives one whole datagram, which may be empty. The bytes are valid until the callback
  // returns.
  using DataCallback = std::function<void(std::span<const std::uint8_t> datagram)>;
  // Receives the text of the system error. Reading ends then.
  using ErrorCallback = std::function<void(std::string_view error)>;

  static constexpr int kDatagramsPerWakeUp = 64;

  // `fd` must be a socket that the loop can watch. `fd` and the loop must outlive the reader.
  DatagramReader(Loop& loop, int fd, DataCallback on_data, ErrorCallback on_error);
  DatagramReader(const DatagramReader&) = delete;
  DatagramReader& operator=(const DatagramReader&) = delete;
  ~DatagramReader() override;

  // Reads what has arrived so far, without waiting for the loop.
  void ReadNow();

 private:
  struct State;

  void OnReadReady(int /*fd*/) override { ReadNow(); }
  void OnWriteReady(int /*fd*/) override {}

  // Returns whether there may be more to read.
  static bool ReadOne(State& state);

  std::shared_ptr<State> state_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_DATAGRAM_READER_H_
