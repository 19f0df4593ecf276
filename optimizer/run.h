#ifndef OPTIMIZER_RUN_H_
#define OPTIMIZER_RUN_H_

namespace orvane::ap {

// Runs the program. Returns the exit code.
int RunOptimizer(int argc, char** argv);

}  // namespace orvane::ap

#endif  // OPTIMIZER_RUN_H_
