#ifndef BRIDGE_RUN_H_
#define BRIDGE_RUN_H_

namespace orvane::bridge {

// Runs the program. Returns its exit code.
int RunBridge(int argc, char** argv);

}  // namespace orvane::bridge

#endif  // BRIDGE_RUN_H_
