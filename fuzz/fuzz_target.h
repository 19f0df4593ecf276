#ifndef FUZZ_FUZZ_TARGET_H_
#define FUZZ_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace orvane {

// Each fuzz target implements this function, which parses an input and passes it to the code. A
// defect ends the process. The target avoids or catches aborts by design.
void FuzzOneInput(std::span<const std::uint8_t> input);

namespace fuzz {

// The input as text.
inline std::string_view AsText(std::span<const std::uint8_t> input) {
  return {reinterpret_cast<const char*>(input.data()), input.size()};
}

// Takes values from the front of an input. Past its end all values are zero or empty.
class Input {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool IsEmpty() const { return bytes_.empty(); }

  std::uint8_t TakeByte() {
    const auto bytes = TakeBytes(1);
    return bytes.empty() ? std::uint8_t{0} : bytes.front();
  }

  std::uint16_t TakeU16() {
    const unsigned high = TakeByte();
    return static_cast<std::uint16_t>(high << 8 | TakeByte());
  }

  // Takes at most `count` bytes.
  std::span<const std::uint8_t> TakeBytes(std::size_t count) {
    const auto taken = bytes_.first(std::min(count, bytes_.size()));
    bytes_ = bytes_.subspan(taken.size());
    return taken;
  }

  // Takes a text after a byte with its length.
  std::string_view TakeText() {
    const std::size_t length = TakeByte();
    return AsText(TakeBytes(length));
  }

  // Takes the text before the next separator or the end.
  std::string_view TakeUntil(char separator) {
    const std::string_view text = AsText(bytes_);
    const std::string_view taken = text.substr(0, text.find(separator));
    bytes_ = bytes_.subspan(std::min(taken.size() + 1, bytes_.size()));
    return taken;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

// Keeps log lines off standard error to save time, except a line that ends the process.
void SilenceLog();

}  // namespace fuzz
}  // namespace orvane

#endif  // FUZZ_FUZZ_TARGET_H_
