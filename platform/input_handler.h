#ifndef PLATFORM_INPUT_HANDLER_H_
#define PLATFORM_INPUT_HANDLER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "platform/loop.h"

namespace orvane::platform {

// Reads a descriptor for as long as it lives. Its callbacks may destroy it.
class InputHandler {
 public:
  virtual ~InputHandler() = default;

  // Reads what has come so far, not waiting for the loop to find it.
  virtual void ReadNow() = 0;
};

class InputHandlerFactory {
 public:
  // One datagram, whole; it may be empty. The bytes are the callee's until it returns.
  using DataCallback = std::function<void(std::span<const std::uint8_t> datagram)>;
  // What is wrong, for people. Nothing is read any more after an error.
  using ErrorCallback = std::function<void(std::string_view error)>;

  virtual ~InputHandlerFactory() = default;

  // `fd` must be non-blocking and outlive the handler.
  [[nodiscard]] virtual std::unique_ptr<InputHandler> Create(int fd, DataCallback on_data,
                                                             ErrorCallback on_error) = 0;
};

// Reads datagrams of up to 64 KiB. At most kDatagramsPerWakeUp of them are taken before the loop
// has its turn again, so that one noisy peer cannot starve the others.
class DatagramHandlerFactory : public InputHandlerFactory {
 public:
  static constexpr int kDatagramsPerWakeUp = 64;

  explicit DatagramHandlerFactory(Loop& loop) : loop_(loop) {}

  [[nodiscard]] std::unique_ptr<InputHandler> Create(int fd, DataCallback on_data,
                                                     ErrorCallback on_error) override;

 private:
  Loop& loop_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_INPUT_HANDLER_H_
