// Sends one request of the request manager to the kernel, and prints the answer.

#include <fmt/format.h>
#include <linux/nl80211.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "common/mac_address.h"
#include "optimizer/nl80211_manager.h"
#include "optimizer/nl80211_message.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/netlink/netlink_message.h"
#include "platform/sd_event_loop.h"
#include "platform/time.h"
#include "testbed/failure.h"
#include "testbed/program.h"

namespace orvane::lab {
namespace {

using testbed::EndOnSignals;
using testbed::Failure;
using testbed::kExitOk;
using testbed::ParseCommandLine;
using testbed::PrintLine;
using testbed::RunProgram;

using ap::MacAddress;
using ap::Nl80211Error;
using ap::Nl80211Manager;
using platform::GenericNetlinkMessage;
using platform::GenericNetlinkRequest;
using platform::NetlinkManager;
using platform::NetlinkMessage;

void PrintStation(const ap::Nl80211Station& station) {
  PrintLine(fmt::format(
      "station {} index {} signal {} average {} authorized {} wme {} rx-bytes {} tx-bytes {} "
      "rx-rate {} {} mcs {} nss {} width {} guard {} tx-rate {}",
      station.GetMacAddress().ToString(), station.GetInterfaceIndex(), station.GetSignal(),
      station.GetSignalAverage(), station.IsAuthorized(), station.IsWme(), station.GetRxBytes(),
      station.GetTxBytes(), station.GetRxBitrate(), station.GetRxMode(), station.GetRxMcs(),
      station.GetRxNss(), station.GetRxChannelWidth(), station.GetRxGuardInterval(),
      station.GetTxBitrate()));
}

void PrintMeshPath(const ap::Nl80211MeshPath& path) {
  PrintLine(fmt::format("path {} via {} index {} metric {} queued {} active {} resolved {}",
                        path.GetDestination().ToString(), path.GetNextHop().ToString(),
                        path.GetInterfaceIndex(), path.GetMetric(), path.GetFrameQueueLength(),
                        path.IsActive(), path.IsResolved()));
}

void PrintMeshProxyPath(const ap::Nl80211MeshProxyPath& path) {
  PrintLine(fmt::format("proxy-path {} via {}", path.GetDestination().ToString(),
                        path.GetMeshProxy().ToString()));
}

// The parts of a request.
struct Request {
  std::string interface;
  std::string address;  // of a station
  NetlinkManager* netlink = nullptr;
  Nl80211Manager::CompletionCallback complete;
};

// Takes the station from the attributes of a message, such as a notification of the kernel.
bool GetStationOfMessage(Nl80211Manager& manager, const Request& request) {
  GenericNetlinkRequest news(request.netlink->nl80211_message_type(), NL80211_CMD_NEW_STATION);
  ap::SetInterfaceIndex(request.netlink->GetInterfaceIndex(request.interface), &news);
  ap::SetStationAddress(MacAddress(request.address), &news);
  std::span<const std::uint8_t> bytes = news.bytes();
  const auto message = GenericNetlinkMessage::From(*NetlinkMessage::TakeFrom(&bytes));
  manager.GetStation(*message->const_attributes(), request.netlink, &PrintStation,
                     request.complete);
  return true;
}

// Each sends a request, and returns whether the interface exists.
using Send = std::function<bool(Nl80211Manager& manager, const Request& request)>;
const std::map<std::string, Send> kRequests = {
    {"stations",
     [](auto& manager, const auto& request) {
       return manager.GetStations(request.interface, request.netlink, &PrintStation,
                                  request.complete);
     }},
    {"station",
     [](auto& manager, const auto& request) {
       return manager.GetStation(request.interface, MacAddress(request.address), request.netlink,
                                 &PrintStation, request.complete);
     }},
    {"station-of-message", &GetStationOfMessage},
    {"mesh-paths",
     [](auto& manager, const auto& request) {
       return manager.GetMeshPaths(request.interface, request.netlink, &PrintMeshPath,
                                   request.complete);
     }},
    {"mesh-proxy-paths",
     [](auto& manager, const auto& request) {
       return manager.GetMeshProxyPaths(request.interface, request.netlink, &PrintMeshProxyPath,
                                        request.complete);
     }},
};

// A successful request for one station has no completion. The program reports that after this time.
constexpr platform::TimeSpan kPatience{2'000'000};

Failure SendRequest(platform::SdEventLoop& loop, const std::string& name, Request* request,
                    Nl80211Manager* manager) {
  request->netlink->Start(loop);
  const std::uint16_t type = request->netlink->GetFamily(NL80211_GENL_NAME);
  if (type == 0) return "no nl80211";
  request->netlink->SetNl80211MessageType(type);
  const auto end = [&loop](const std::string& text) {
    PrintLine(text);
    loop.Quit(kExitOk);
  };
  request->complete = [end](const Nl80211Error* error) {
    end(error == nullptr ? "complete" : fmt::format("error {}: {}", error->code, error->message));
  };
  loop.PostDelayedTask([end] { end("no completion"); }, kPatience);
  if (!kRequests.at(name)(*manager, *request)) return "no interface " + request->interface;
  return std::nullopt;
}

int Main(int argc, char** argv) {
  CLI::App app("Asks the kernel, and prints each record and how the request ended.", "requests");
  std::string name;
  Request request;
  app.add_option("request", name, "The request")->required()->check(CLI::IsMember(kRequests));
  app.add_option("interface", request.interface, "The interface")->required();
  app.add_option("address", request.address, "The station, for requests about one");
  if (const std::optional<int> exit_code = ParseCommandLine(app, argc, argv)) return *exit_code;
  platform::SdEventLoop loop;
  EndOnSignals(loop);
  platform::NetlinkKernel kernel;
  NetlinkManager netlink(kernel);
  Nl80211Manager manager;
  request.netlink = &netlink;
  return RunProgram(app, SendRequest(loop, name, &request, &manager), loop);
}

}  // namespace
}  // namespace orvane::lab

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::lab::Main(argc, argv); }
