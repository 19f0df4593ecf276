#ifndef OPTIMIZER_NL80211_MANAGER_H_
#define OPTIMIZER_NL80211_MANAGER_H_

#include <cstdint>
#include <functional>
#include <string>

#include "common/mac_address.h"
#include "optimizer/build_options.h"
#include "optimizer/nl80211_mesh_path.h"
#include "optimizer/nl80211_mesh_proxy_path.h"
#include "optimizer/nl80211_station.h"
#include "platform/byte_string.h"
#include "platform/netlink/attribute_list.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_connection.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::ap {

// Why a request failed.
struct Nl80211Error {
  std::string message;
  // A positive errno or, where no message came, the kind that the netlink manager told.
  std::int32_t code;
};

// Asks the kernel for the stations, mesh paths and mesh proxy paths of an interface. Keeps nothing
// itself, so that requests may overlap and it may be gone before they end.
//
// A record callback is called once for each record; the record is valid during the call. A
// completion callback is told the end: null for success, else an error that is valid during the
// call. The callbacks are never called from inside the request.
class Nl80211Manager {
 public:
  using StationCallback = std::function<void(const Nl80211Station& station)>;
  using MeshPathCallback = std::function<void(const Nl80211MeshPath& mesh_path)>;
  using MeshProxyPathCallback = std::function<void(const Nl80211MeshProxyPath& mesh_proxy_path)>;
  using CompletionCallback = std::function<void(const Nl80211Error* error)>;

  // With `skip_incomplete_stations` GetStations passes over a station that is not complete
  // (Nl80211Station::IsComplete), with a verbose line. Without, such a station is fatal.
  explicit Nl80211Manager(bool skip_incomplete_stations = kSkipIncompleteStations)
      : skip_incomplete_stations_(skip_incomplete_stations) {}
  virtual ~Nl80211Manager() = default;

  // One station: that of the interface index and the address in `attributes`, which come from a
  // message. The completion callback is called on failure only (and, since nothing has been sent
  // yet, at once where one of the two attributes is missing).
  virtual void GetStation(const platform::AttributeList& attributes,
                          platform::NetlinkManager* netlink_manager,
                          StationCallback station_callback, CompletionCallback completion_callback);

  // All records of an interface, and then one completion. False, and no callback is ever called,
  // when there is no interface of that name.
  virtual bool GetStations(const std::string& interface_name,
                           platform::NetlinkManager* netlink_manager,
                           StationCallback station_callback,
                           CompletionCallback completion_callback);
  virtual bool GetMeshPaths(const std::string& interface_name,
                            platform::NetlinkManager* netlink_manager,
                            MeshPathCallback mesh_path_callback,
                            CompletionCallback completion_callback);
  virtual bool GetMeshProxyPaths(const std::string& interface_name,
                                 platform::NetlinkManager* netlink_manager,
                                 MeshProxyPathCallback mesh_proxy_path_callback,
                                 CompletionCallback completion_callback);

  // One station, by name and address. The completion callback is called on failure only. False as
  // above.
  bool GetStation(const std::string& interface_name, const MacAddress& mac_address,
                  platform::NetlinkManager* netlink_manager, StationCallback station_callback,
                  CompletionCallback completion_callback);

  // A warning, unless `error` is null.
  static void LogNl80211Error(const Nl80211Error* error);

 private:
  bool skip_incomplete_stations_;
};

namespace internal {

// Fatal when the request has no room left.
void SetInterfaceIndex(std::uint32_t interface, platform::GenericNetlinkRequest* request);
void SetStationAddress(const platform::ByteString& address,
                       platform::GenericNetlinkRequest* request);
void SetStationAddress(const MacAddress& mac_address, platform::GenericNetlinkRequest* request);

// What an auxiliary handler is told, as its caller is to hear it.
void TellEnd(bool is_dump, platform::AuxiliaryKind kind, const platform::NetlinkMessage* message,
             const Nl80211Manager::CompletionCallback& callback);

}  // namespace internal
}  // namespace orvane::ap

#endif  // OPTIMIZER_NL80211_MANAGER_H_
