#ifndef OPTIMIZER_NL80211_MANAGER_H_
#define OPTIMIZER_NL80211_MANAGER_H_

#include <cstdint>
#include <functional>
#include <string>

#include "common/mac_address.h"
#include "optimizer/nl80211_mesh_path.h"
#include "optimizer/nl80211_mesh_proxy_path.h"
#include "optimizer/nl80211_message.h"
#include "optimizer/nl80211_station.h"
#include "platform/netlink/attribute_list.h"
#include "platform/netlink/netlink_manager.h"

namespace orvane::ap {

// Requests the stations, mesh paths and mesh proxy paths of an interface from the kernel. It has no
// state: requests may overlap, and it may be destroyed before they end.
//
// A record callback runs once for each record, which is valid during the call. Callbacks never run
// inside the request, except where noted.
class Nl80211Manager {
 public:
  using StationCallback = std::function<void(const Nl80211Station& station)>;
  using MeshPathCallback = std::function<void(const Nl80211MeshPath& mesh_path)>;
  using MeshProxyPathCallback = std::function<void(const Nl80211MeshProxyPath& mesh_proxy_path)>;
  using CompletionCallback = Nl80211CompletionCallback;

  virtual ~Nl80211Manager() = default;

  // Requests one station by the interface index and the address in `attributes`, which come from a
  // message. The completion callback runs only on failure. If one of the two attributes is missing,
  // it runs at once, inside this call.
  virtual void GetStation(const platform::AttributeList& attributes,
                          platform::NetlinkManager* netlink_manager,
                          StationCallback station_callback, CompletionCallback completion_callback);

  // Request all records of an interface. The completion callback runs once, after the last record.
  // Return false, and run no callback, if there is no interface of that name. A station that is not
  // complete (Nl80211Station::IsComplete) aborts the process, unless kSkipIncompleteStations is
  // set: it is then skipped with a verbose line.
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

  // Requests one station by interface name and address. The completion callback runs only on
  // failure. Returns false, and runs no callback, if there is no interface of that name.
  bool GetStation(const std::string& interface_name, const MacAddress& mac_address,
                  platform::NetlinkManager* netlink_manager, StationCallback station_callback,
                  CompletionCallback completion_callback);

  // Logs a warning, unless `error` is null.
  static void LogNl80211Error(const Nl80211Error* error);
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_NL80211_MANAGER_H_
