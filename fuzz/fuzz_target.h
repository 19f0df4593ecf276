#ifndef FUZZ_FUZZ_TARGET_H_
#define FUZZ_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace orvane {

// The one function of a fuzz target: takes an input apart and feeds it to the code. Whatever it
// does wrong ends the process; what ends the process by design it leaves out, or catches.
void FuzzOneInput(std::span<const std::uint8_t> input);

namespace fuzz {

// The input as text.
inline std::string_view AsText(std::span<const std::uint8_t> input) {
  return {reinterpret_cast<const char*>(input.data()), input.size()};
}

// Cuts values off the front of an input. Past its end everything is zero and empty.
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

  // At most so many.
  std::span<const std::uint8_t> TakeBytes(std::size_t count) {
    const auto taken = bytes_.first(std::min(count, bytes_.size()));
    bytes_ = bytes_.subspan(taken.size());
    return taken;
  }

  // A text with its length, up to 255, in front.
  std::string_view TakeText() {
    const std::size_t length = TakeByte();
    return AsText(TakeBytes(length));
  }

  // What stands before the next separator, or the end.
  std::string_view TakeUntil(char separator) {
    const std::string_view text = AsText(bytes_);
    const std::string_view taken = text.substr(0, text.find(separator));
    bytes_ = bytes_.subspan(std::min(taken.size() + 1, bytes_.size()));
    return taken;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

// Keeps the log of a target off standard error, so that it costs no time; a line that ends the
// process still gets out.
void SilenceLog();

}  // namespace fuzz
}  // namespace orvane

#endif  // FUZZ_FUZZ_TARGET_H_
