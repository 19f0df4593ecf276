#ifndef COMMON_INTERFACE_NAMES_H_
#define COMMON_INTERFACE_NAMES_H_

#include <net/if.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace orvane::ap {

// A network interface's name, in a field of the size that the kernel gives it (16 bytes).
using InterfaceNameField = char[IFNAMSIZ];

// The access point's own interfaces: what they are for, and the radio band that they are on.
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

// The other interfaces of the device.
inline constexpr InterfaceNameField kSwitchInterface = "switch0";
inline constexpr InterfaceNameField kSetupMeshBridgeInterface = "br-setup-mesh";
inline constexpr InterfaceNameField kStationModeBridgeInterface = "br-station-mode";
inline constexpr InterfaceNameField kGuestBridgeInterface = "br-guest";
inline constexpr InterfaceNameField kAuxiliaryRadioInterface = "aux-radio0";
inline constexpr InterfaceNameField kLoopbackInterface = "lo";
inline constexpr InterfaceNameField kLanBridgeInterface = "br-lan";
inline constexpr InterfaceNameField kLanInterface = "lan0";
inline constexpr InterfaceNameField kWanInterface = "wan0";

// Names are compared whole, and case counts.

// "2" or "5" for an access-point interface, by its band; empty for any other.
std::string GetBandForInterface(std::string_view name);

bool IsGuestInterface(std::string_view name);

// Replaces the contents of `names` with the access-point interfaces: both main ones, both guest
// ones, both mesh ones, the group one; where there are two, 2.4 GHz first.
void GetAllInterfaces(std::vector<std::string>* names);

// The kernel's index of the radio that the interface belongs to, as decimal text. Empty when it
// can't be had. `net_class_directory` is where the kernel describes its network interfaces.
std::string GetPhyIndexForInterface(
    std::string_view name, const platform::FilePath& net_class_directory = "/sys/class/net");

}  // namespace orvane::ap

#endif  // COMMON_INTERFACE_NAMES_H_
