#include "flags/run.h"

int main(int argc, char** argv) { return orvane::flags::RunFlags(argc, argv); }
