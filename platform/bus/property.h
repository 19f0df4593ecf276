#ifndef PLATFORM_BUS_PROPERTY_H_
#define PLATFORM_BUS_PROPERTY_H_

#include <utility>

#include "platform/bus/messages.h"

namespace orvane::platform::bus {

// The local copy of a property of a remote object, and a pending value to set. It reads and writes
// messages, but does not send them.
class PropertyBase {
 public:
  virtual ~PropertyBase() = default;

  // Reads the next value of a message, a variant, into the current value. Returns whether that
  // succeeded. On failure the current value may be a part of the new one.
  virtual bool PopValue(MessageReader& reader) = 0;

  // Appends the pending value as a variant.
  virtual void AppendSetValue(MessageWriter& writer) const = 0;
};

// A map of strings to strings.
class StringMapProperty : public PropertyBase {
 public:
  const StringMap& value() const { return value_; }
  void set_pending_value(StringMap value) { pending_value_ = std::move(value); }

  // Reads like MessageReader::PopStringMap. It also opens one more variant around the value. An
  // empty array of any type is an empty map.
  bool PopValue(MessageReader& reader) override;
  void AppendSetValue(MessageWriter& writer) const override;

 private:
  StringMap value_;
  StringMap pending_value_;
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_PROPERTY_H_
