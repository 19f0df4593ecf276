#ifndef TESTBED_GENERIC_MESSAGE_H_
#define TESTBED_GENERIC_MESSAGE_H_

#include <cstdint>
#include <span>
#include <vector>

#include "platform/netlink/netlink_message.h"
#include "simulation/message_builder.h"

namespace orvane::testbed {

// A generic netlink message that owns its bytes, for tests of parsers and views.
class GenericMessage {
 public:
  GenericMessage(int command, const simulation::AttributeBuilder& attributes)
      : bytes_(simulation::MakeGenericMessage({.type = 28}, static_cast<std::uint8_t>(command),
                                              attributes)),
        message_(View(bytes_)) {}
  GenericMessage(const GenericMessage&) = delete;
  GenericMessage& operator=(const GenericMessage&) = delete;

  const platform::GenericNetlinkMessage& message() const { return message_; }

 private:
  static platform::GenericNetlinkMessage View(std::span<const std::uint8_t> bytes) {
    return platform::GenericNetlinkMessage::From(*platform::NetlinkMessage::TakeFrom(&bytes))
        .value();
  }

  std::vector<std::uint8_t> bytes_;
  platform::GenericNetlinkMessage message_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_GENERIC_MESSAGE_H_
