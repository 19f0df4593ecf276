#include "optimizer/run.h"

int main(int argc, char** argv) { return orvane::ap::RunOptimizer(argc, argv); }
