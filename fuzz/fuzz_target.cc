#include "fuzz/fuzz_target.h"

#include <cstdio>
#include <string_view>

#include "platform/logging.h"

namespace orvane::fuzz {

void SilenceLog() {
  platform::InitLog(/*options=*/0, "fuzz");
  // Verbose lines are formatted too, so that the formatting is tested.
  platform::SetVerboseLevel(1);
  static const platform::LogListener listener(
      [](platform::Severity severity, std::string_view message) {
        if (severity != platform::Severity::kFatal) return;
        std::fprintf(stderr, "FATAL %.*s\n", static_cast<int>(message.size()), message.data());
      });
}

}  // namespace orvane::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  orvane::fuzz::SilenceLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orvane::FuzzOneInput({data, size});
  return 0;
}
