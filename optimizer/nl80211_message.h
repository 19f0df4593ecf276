#ifndef OPTIMIZER_NL80211_MESSAGE_H_
#define OPTIMIZER_NL80211_MESSAGE_H_

#include <cstdint>
#include <functional>
#include <string>

#include "common/mac_address.h"
#include "platform/byte_string.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_connection.h"
#include "platform/netlink/netlink_message.h"

// What the requests and records of nl80211 have in common.

namespace orvane::ap {

// The reason of a failed request.
struct Nl80211Error {
  std::string message;
  // A positive errno, or the AuxiliaryKind if the kernel sent no error message.
  std::int32_t code;
};

// Receives null on success, otherwise an error that is valid during the call.
using Nl80211CompletionCallback = std::function<void(const Nl80211Error* error)>;

// Add an attribute to a request. Abort if it has no room left.
void SetInterfaceIndex(std::uint32_t interface, platform::GenericNetlinkRequest* request);
void SetStationAddress(const platform::ByteString& address,
                       platform::GenericNetlinkRequest* request);
void SetStationAddress(const MacAddress& mac_address, platform::GenericNetlinkRequest* request);

// Return an attribute of a record. Abort if it is missing, or if an address is not 6 bytes long.
std::uint32_t GetInterfaceIndex(const platform::GenericNetlinkMessage& record);
MacAddress GetAddress(const platform::GenericNetlinkMessage& record);  // NL80211_ATTR_MAC
MacAddress GetNextHop(const platform::GenericNetlinkMessage& record);

// Runs the callback with an error.
void ReportFailure(const Nl80211CompletionCallback& callback, std::string message,
                   std::int32_t code);

// Translates a call of the auxiliary handler (see NetlinkHandlers) into a call of the callback. An
// unexpected message is only logged. The success of a request that is not a dump is not reported.
void ReportOutcome(bool is_dump, platform::AuxiliaryKind kind,
                   const platform::NetlinkMessage* message,
                   const Nl80211CompletionCallback& callback);

}  // namespace orvane::ap

#endif  // OPTIMIZER_NL80211_MESSAGE_H_
