// Runs a command in a private namespace. lab/tour_without_radios uses it.

#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "testbed/private_namespace.h"
#include "testbed/program.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: in_private_namespace COMMAND [ARGUMENT...]\n";
    return orvane::testbed::kExitUsage;
  }
  if (const auto failure = orvane::testbed::EnterPrivateNamespace({.private_dev = true})) {
    std::cerr << argv[0] << ": " << *failure << "\n";
    return orvane::testbed::kExitFailure;
  }
  execvp(argv[1], argv + 1);
  std::perror(argv[1]);
  return orvane::testbed::kExitFailure;
}
