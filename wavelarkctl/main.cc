#include "wavelarkctl/run.h"

int main(int argc, char** argv) { return orvane::wavelarkctl::RunWavelarkctl(argc, argv); }
