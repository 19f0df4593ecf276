#ifndef RECORDER_RUN_H_
#define RECORDER_RUN_H_

namespace orvane::recorder {

// Runs the program. Returns its exit code.
int RunRecorder(int argc, char** argv);

}  // namespace orvane::recorder

#endif  // RECORDER_RUN_H_
