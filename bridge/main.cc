#include "bridge/run.h"

int main(int argc, char** argv) { return orvane::bridge::RunBridge(argc, argv); }
