#include "platform/input_handler.h"

#include <sys/socket.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/files.h"
#include "platform/logging.h"
#include "platform/weak_ptr.h"

namespace orvane::platform {
namespace {

constexpr std::size_t kLargestDatagram = 64 * 1024;

class DatagramHandler : public InputHandler, private FdWatcher {
 public:
  DatagramHandler(Loop& loop, int fd, InputHandlerFactory::DataCallback on_data,
                  InputHandlerFactory::ErrorCallback on_error)
      : fd_(fd),
        callbacks_(std::make_shared<Callbacks>(std::move(on_data), std::move(on_error))),
        watch_(loop.WatchReadable(fd, this)) {
    CHECK(watch_ != nullptr);
  }

  void ReadNow() override {
    if (watch_ != nullptr) OnReadReady(fd_);
  }

 private:
  // All that a running callback uses: it must not be destroyed with the handler.
  struct Callbacks {
    Callbacks(InputHandlerFactory::DataCallback data, InputHandlerFactory::ErrorCallback error)
        : on_data(std::move(data)), on_error(std::move(error)) {}

    InputHandlerFactory::DataCallback on_data;
    InputHandlerFactory::ErrorCallback on_error;
    std::unique_ptr<std::uint8_t[]> buffer =
        std::make_unique_for_overwrite<std::uint8_t[]>(kLargestDatagram);
  };

  void OnReadReady(int fd) override {
    const WeakPtr<DatagramHandler> alive = weak_ptr_factory_.GetWeakPtr();
    const std::shared_ptr<const Callbacks> callbacks = callbacks_;
    for (int i = 0; i < DatagramHandlerFactory::kDatagramsPerWakeUp && alive; ++i) {
      if (!ReadOne(fd, *callbacks)) return;
    }
  }

  void OnWriteReady(int /*fd*/) override {}

  // Whether there may be more to read.
  bool ReadOne(int fd, const Callbacks& callbacks) {
    const ssize_t length = RetryOnEintr(
        [&] { return recv(fd, callbacks.buffer.get(), kLargestDatagram, MSG_DONTWAIT); });
    if (length >= 0) {
      callbacks.on_data({callbacks.buffer.get(), static_cast<std::size_t>(length)});
      return true;
    }
    if (errno == EAGAIN) return false;
    const std::string error = SystemErrorText(errno);
    watch_.reset();
    callbacks.on_error(error);
    return false;
  }

  int fd_;
  std::shared_ptr<const Callbacks> callbacks_;
  std::unique_ptr<FdWatch> watch_;  // until there is an error
  WeakPtrFactory<DatagramHandler> weak_ptr_factory_{this};
};

}  // namespace

std::unique_ptr<InputHandler> DatagramHandlerFactory::Create(int fd, DataCallback on_data,
                                                             ErrorCallback on_error) {
  return std::make_unique<DatagramHandler>(loop_, fd, std::move(on_data), std::move(on_error));
}

}  // namespace orvane::platform
