#ifndef OPTIMIZER_BUILD_OPTIONS_H_
#define OPTIMIZER_BUILD_OPTIONS_H_

namespace orvane::ap {

// The CMake option WAVELARK_SKIP_INCOMPLETE_STATIONS: whether a poll skips a station entry that
// lacks an attribute, instead of aborting. A program can override it by its own definition.
extern const bool kSkipIncompleteStations;

}  // namespace orvane::ap

#endif  // OPTIMIZER_BUILD_OPTIONS_H_
