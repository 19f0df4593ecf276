#include "optimizer/nl80211_manager.h"

#include <linux/netlink.h>
#include <linux/nl80211.h>

#include <cerrno>
#include <utility>

#include "optimizer/build_options.h"
#include "platform/byte_string.h"
#include "platform/logging.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_connection.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::ap {

using platform::AttributeList;
using platform::AuxiliaryKind;
using platform::ByteString;
using platform::GenericNetlinkMessage;
using platform::GenericNetlinkRequest;
using platform::NetlinkManager;
using platform::NetlinkMessage;
using CompletionCallback = Nl80211Manager::CompletionCallback;
using MessageHandler = std::function<void(const GenericNetlinkMessage&)>;

namespace {

template <typename Record>
MessageHandler HandleRecord(std::function<void(const Record&)> callback) {
  return [callback = std::move(callback)](const GenericNetlinkMessage& message) {
    callback(Record(message));
  };
}

std::string StationAddressText(const GenericNetlinkMessage& message) {
  const ByteString bytes(message.const_attributes()->Find(NL80211_ATTR_MAC).payload());
  MacAddress address;
  return MacAddress::ParseFromByteString(bytes, &address) ? address.ToString() : "without address";
}

// Stock kernels omit the rates between authentication and the first data frame.
MessageHandler HandleCompleteStation(Nl80211Manager::StationCallback callback) {
  return [callback = std::move(callback)](const GenericNetlinkMessage& message) {
    if (Nl80211Station::IsComplete(message)) {
      callback(Nl80211Station(message));
    } else {
      VLOG(1) << "Skip incomplete station " << StationAddressText(message);
    }
  };
}

void SendRequest(const GenericNetlinkRequest& request, NetlinkManager* netlink_manager,
                 MessageHandler message_handler, CompletionCallback completion_callback) {
  netlink_manager->Send(
      request,
      {.on_message = std::move(message_handler),
       .on_acknowledgement = [](bool* remove_handlers) { *remove_handlers = false; },
       .on_auxiliary =
           [is_dump = request.IsDump(), completion_callback = std::move(completion_callback)](
               AuxiliaryKind kind, const NetlinkMessage* message) {
             ReportOutcome(is_dump, kind, message, completion_callback);
           }});
}

bool SendDump(const std::string& interface_name, std::uint8_t command,
              NetlinkManager* netlink_manager, MessageHandler message_handler,
              CompletionCallback completion_callback) {
  const std::uint32_t interface_index = netlink_manager->GetInterfaceIndex(interface_name);
  if (interface_index == 0) return false;
  GenericNetlinkRequest request(netlink_manager->nl80211_message_type(), command);
  SetInterfaceIndex(interface_index, &request);
  request.AddFlags(NLM_F_DUMP);
  SendRequest(request, netlink_manager, std::move(message_handler), std::move(completion_callback));
  return true;
}

}  // namespace

void Nl80211Manager::GetStation(const AttributeList& attributes, NetlinkManager* netlink_manager,
                                StationCallback station_callback,
                                CompletionCallback completion_callback) {
  const auto interface_index = attributes.Get<std::uint32_t>(NL80211_ATTR_IFINDEX);
  if (!interface_index) {
    ReportFailure(completion_callback, "Missing interface index attribute", EINVAL);
    return;
  }
  const platform::Attribute address = attributes.Find(NL80211_ATTR_MAC);
  if (!address) {
    ReportFailure(completion_callback, "Missing MAC address attribute", EINVAL);
    return;
  }
  GenericNetlinkRequest request(netlink_manager->nl80211_message_type(), NL80211_CMD_GET_STATION);
  SetInterfaceIndex(*interface_index, &request);
  SetStationAddress(ByteString(address.payload()), &request);
  SendRequest(request, netlink_manager, HandleRecord(std::move(station_callback)),
              std::move(completion_callback));
}

bool Nl80211Manager::GetStation(const std::string& interface_name, const MacAddress& mac_address,
                                NetlinkManager* netlink_manager, StationCallback station_callback,
                                CompletionCallback completion_callback) {
  const std::uint32_t interface_index = netlink_manager->GetInterfaceIndex(interface_name);
  if (interface_index == 0) return false;
  GenericNetlinkRequest request(netlink_manager->nl80211_message_type(), NL80211_CMD_GET_STATION);
  SetInterfaceIndex(interface_index, &request);
  SetStationAddress(mac_address, &request);
  SendRequest(request, netlink_manager, HandleRecord(std::move(station_callback)),
              std::move(completion_callback));
  return true;
}

bool Nl80211Manager::GetStations(const std::string& interface_name, NetlinkManager* netlink_manager,
                                 StationCallback station_callback,
                                 CompletionCallback completion_callback) {
  MessageHandler handler = kSkipIncompleteStations
                               ? HandleCompleteStation(std::move(station_callback))
                               : HandleRecord(std::move(station_callback));
  return SendDump(interface_name, NL80211_CMD_GET_STATION, netlink_manager, std::move(handler),
                  std::move(completion_callback));
}

bool Nl80211Manager::GetMeshPaths(const std::string& interface_name,
                                  NetlinkManager* netlink_manager,
                                  MeshPathCallback mesh_path_callback,
                                  CompletionCallback completion_callback) {
  return SendDump(interface_name, NL80211_CMD_GET_MPATH, netlink_manager,
                  HandleRecord(std::move(mesh_path_callback)), std::move(completion_callback));
}

bool Nl80211Manager::GetMeshProxyPaths(const std::string& interface_name,
                                       NetlinkManager* netlink_manager,
                                       MeshProxyPathCallback mesh_proxy_path_callback,
                                       CompletionCallback completion_callback) {
  return SendDump(interface_name, NL80211_CMD_GET_MPP, netlink_manager,
                  HandleRecord(std::move(mesh_proxy_path_callback)),
                  std::move(completion_callback));
}

void Nl80211Manager::LogNl80211Error(const Nl80211Error* error) {
  if (error == nullptr) return;
  LOG(WARNING) << "Netlink error " << error->code << ": " << error->message;
}

}  // namespace orvane::ap
