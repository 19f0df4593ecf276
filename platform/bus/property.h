#ifndef PLATFORM_BUS_PROPERTY_H_
#define PLATFORM_BUS_PROPERTY_H_

#include <utility>

#include "platform/bus/messages.h"

namespace orvane::platform::bus {

// The local copy of one property of a remote object, and the value to set it to, if any. Knows how
// the values look in a message, and nothing of where messages come from.
class PropertyBase {
 public:
  virtual ~PropertyBase() = default;

  // Reads the next value of a message, a variant, into the current value. Whether that succeeded;
  // if not, the current value may be part of the new one.
  virtual bool PopValue(MessageReader& reader) = 0;

  // Appends the pending value, as a variant.
  virtual void AppendSetValue(MessageWriter& writer) const = 0;
};

// A map of strings to strings.
class StringMapProperty : public PropertyBase {
 public:
  const StringMap& value() const { return value_; }
  void set_pending_value(StringMap value) { pending_value_ = std::move(value); }

  // Reads as MessageReader::PopStringMap. One variant more around the value is opened too. An array
  // without entries is an empty map, whatever type they would be of.
  bool PopValue(MessageReader& reader) override;
  void AppendSetValue(MessageWriter& writer) const override;

 private:
  StringMap value_;
  StringMap pending_value_;
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_PROPERTY_H_
