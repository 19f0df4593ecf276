#ifndef PLATFORM_LOCATION_H_
#define PLATFORM_LOCATION_H_

namespace orvane::platform {

// A place in the source. As a default argument, `Location::Current()` is the place of the caller.
// (Clang 14 lacks std::source_location.)
struct Location {
  const char* function = "";
  const char* file = "";
  int line = 0;

  static constexpr Location Current(const char* function = __builtin_FUNCTION(),
                                    const char* file = __builtin_FILE(),
                                    int line = __builtin_LINE()) {
    return Location{function, file, line};
  }
};

}  // namespace orvane::platform

#endif  // PLATFORM_LOCATION_H_
