#ifndef FLAGS_RUN_H_
#define FLAGS_RUN_H_

namespace orvane::flags {

// The whole program. Returns the exit code of the process.
int RunFlags(int argc, char** argv);

}  // namespace orvane::flags

#endif  // FLAGS_RUN_H_
