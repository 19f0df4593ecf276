#ifndef TESTBED_FLAGS_MESSAGE_H_
#define TESTBED_FLAGS_MESSAGE_H_

#include <systemd/sd-bus.h>

#include <string>
#include <vector>

#include "testbed/flags_file.h"

namespace orvane::testbed {

inline constexpr char kFlagsSignature[] = "a{ss}";

// Ways for the value of the property to be other than it should.
struct FlagsEncoding {
  bool extra_variant = false;   // the variant holds a variant, which holds the value
  bool duplicate_keys = false;  // each key twice, the second time with "other-" before its value
  std::string wrong_type;       // one of WrongFlagsTypes in place of kFlagsSignature; empty: none
};

// The signatures that a FlagsEncoding may have as its wrong type.
std::vector<std::string> WrongFlagsTypes();

// Appends the map in the right type, without a variant.
void AppendFlagMap(sd_bus_message* message, const FlagMap& flags, bool duplicate_keys);

// Appends the variant that is the property's value.
void AppendFlagsVariant(sd_bus_message* message, const FlagMap& flags,
                        const FlagsEncoding& encoding);

// Appends a dictionary of properties (a{sv}) with the property `name` alone.
void AppendFlagsDictionary(sd_bus_message* message, const char* name, const FlagMap& flags,
                           const FlagsEncoding& encoding);

}  // namespace orvane::testbed

#endif  // TESTBED_FLAGS_MESSAGE_H_
