#include "recorder/run.h"

int main(int argc, char** argv) { return orvane::recorder::RunRecorder(argc, argv); }
