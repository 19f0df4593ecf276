#ifndef COMMON_INTERFACE_NAMES_H_
#define COMMON_INTERFACE_NAMES_H_

#include <net/if.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace orvane::ap {

// A network interface name in a field of the kernel's size (16 bytes).
using InterfaceNameField = char[IFNAMSIZ];

// The access-point interfaces, named by role and band.
inline constexpr InterfaceNameField kWlan2400MhzInterface = "wlan-2400mhz";
inline constexpr InterfaceNameField kGuest2400MhzInterface = "guest-2400mhz";
inline constexpr InterfaceNameField kMesh2400MhzInterface = "mesh-2400mhz";
inline constexpr InterfaceNameField kGuest5000MhzInterface = "guest-5000mhz";
inline constexpr InterfaceNameField kMesh5000MhzInterface = "mesh-5000mhz";
inline constexpr InterfaceNameField kGroup5000MhzInterface = "group-5000mhz";
inline constexpr InterfaceNameField kWlan5000MhzInterface = "wlan-5000mhz";

// The interfaces that the daemon listens to and steers on.
inline constexpr std::array<const char*, 2> kMainInterfaces = {kWlan2400MhzInterface,
                                                               kWlan5000MhzInterface};

// The device's other interfaces.
inline constexpr InterfaceNameField kSwitchInterface = "switch0";
inline constexpr InterfaceNameField kSetupMeshBridgeInterface = "br-setup-mesh";
inline constexpr InterfaceNameField kStationModeBridgeInterface = "br-station-mode";
inline constexpr InterfaceNameField kGuestBridgeInterface = "br-guest";
inline constexpr InterfaceNameField kAuxiliaryRadioInterface = "aux-radio0";
inline constexpr InterfaceNameField kLoopbackInterface = "lo";
inline constexpr InterfaceNameField kLanBridgeInterface = "br-lan";
inline constexpr InterfaceNameField kLanInterface = "lan0";
inline constexpr InterfaceNameField kWanInterface = "wan0";

// Names are compared as whole strings, case-sensitively.

// Returns "2" or "5", the band of an access-point interface; an empty string for any other name.
std::string GetBandForInterface(std::string_view name);

bool IsGuestInterface(std::string_view name);

// Replaces the contents of `names` with the access-point interfaces: main, guest, mesh, group;
// within a role 2.4 GHz comes first.
void GetAllInterfaces(std::vector<std::string>* names);

// Returns the kernel's index of the interface's radio as decimal text. Logs an error and returns an
// empty string if the index can't be read. `net_class_directory` is the interface directory of
// sysfs.
std::string GetPhyIndexForInterface(
    std::string_view name, const platform::FilePath& net_class_directory = "/sys/class/net");

}  // namespace orvane::ap

#endif  // COMMON_INTERFACE_NAMES_H_
