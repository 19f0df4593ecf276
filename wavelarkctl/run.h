#ifndef WAVELARKCTL_RUN_H_
#define WAVELARKCTL_RUN_H_

namespace orvane::wavelarkctl {

// Runs the program. Returns its exit status.
int RunWavelarkctl(int argc, const char* const* argv);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_RUN_H_
