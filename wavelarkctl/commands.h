#ifndef WAVELARKCTL_COMMANDS_H_
#define WAVELARKCTL_COMMANDS_H_

#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {

// One function for each subcommand, in a file of its own.
AddCommand AddCheck;
AddCommand AddEvents;
AddCommand AddExplain;
AddCommand AddReplay;
AddCommand AddReport;
AddCommand AddTrace;

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_COMMANDS_H_
