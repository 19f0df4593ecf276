#ifndef WAVELARKCTL_CHECK_CHECK_H_
#define WAVELARKCTL_CHECK_CHECK_H_

#include <ostream>

#include "wavelarkctl/check/machine.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {

struct CheckOutput {
  bool is_json = false;
  bool is_colour_wanted = false;
};

// Runs all checks and writes each finding at once. Returns kFound unless all are ok.
ExitStatus RunChecks(Machine& machine, const CheckOutput& output, std::ostream& out);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_CHECK_CHECK_H_
