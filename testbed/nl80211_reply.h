#ifndef TESTBED_NL80211_REPLY_H_
#define TESTBED_NL80211_REPLY_H_

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/netlink/netlink_message.h"
#include "simulation/message_builder.h"

namespace orvane::testbed {

// A reply of nl80211 with its bytes, for tests of record views.
class Nl80211Reply {
 public:
  Nl80211Reply(std::uint8_t command, const simulation::AttributeBuilder& attributes)
      : bytes_(simulation::MakeGenericMessage({28}, command, attributes)) {
    std::span<const std::uint8_t> rest(bytes_);
    message_ = platform::GenericNetlinkMessage::From(*platform::NetlinkMessage::TakeFrom(&rest));
  }
  // The message points into the bytes of this object.
  Nl80211Reply(const Nl80211Reply&) = delete;
  Nl80211Reply& operator=(const Nl80211Reply&) = delete;

  const platform::GenericNetlinkMessage& message() const { return *message_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::optional<platform::GenericNetlinkMessage> message_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_NL80211_REPLY_H_
