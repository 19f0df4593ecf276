#ifndef FLAGS_RUN_H_
#define FLAGS_RUN_H_

namespace orvane::flags {

// Runs the program. Returns its exit code.
int RunFlags(int argc, char** argv);

}  // namespace orvane::flags

#endif  // FLAGS_RUN_H_
