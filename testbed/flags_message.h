#ifndef TESTBED_FLAGS_MESSAGE_H_
#define TESTBED_FLAGS_MESSAGE_H_

#include <systemd/sd-bus.h>

#include <string>
#include <vector>

#include "testbed/flags_file.h"

namespace orvane::testbed {

inline constexpr char kFlagsSignature[] = "a{ss}";

// Errors in the encoding of the property's value.
struct FlagsEncoding {
  bool extra_variant = false;   // the variant contains a variant with the value
  bool duplicate_keys = false;  // each key twice, the second time with "other-" before its value
  std::string wrong_type;       // one of WrongFlagsTypes instead of kFlagsSignature; empty: none
};

// The possible wrong types of a FlagsEncoding.
std::vector<std::string> WrongFlagsTypes();

// Appends the map with the correct type, without a variant.
void AppendFlagMap(sd_bus_message* message, const FlagMap& flags, bool duplicate_keys);

// Appends the property's value, a variant.
void AppendFlagsVariant(sd_bus_message* message, const FlagMap& flags,
                        const FlagsEncoding& encoding);

// Appends a dictionary of properties (a{sv}) with only the property `name`.
void AppendFlagsDictionary(sd_bus_message* message, const char* name, const FlagMap& flags,
                           const FlagsEncoding& encoding);

}  // namespace orvane::testbed

#endif  // TESTBED_FLAGS_MESSAGE_H_
