#ifndef RECORDER_RUN_H_
#define RECORDER_RUN_H_

namespace orvane::recorder {

// The whole program. Returns the exit code of the process.
int RunRecorder(int argc, char** argv);

}  // namespace orvane::recorder

#endif  // RECORDER_RUN_H_
