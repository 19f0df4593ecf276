#ifndef WAVELARKCTL_TRACE_ROSTER_H_
#define WAVELARKCTL_TRACE_ROSTER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "wavelarkctl/trace/trace_row.h"

namespace orvane::wavelarkctl {

// Numbers the interfaces and the clients of a trace, from 0 in order of appearance.
class Roster {
 public:
  // The number of a name or an address, which is added if it is new.
  std::uint32_t InterfaceNumber(std::string_view name);
  std::uint32_t ClientNumber(const Address& address);

  const std::vector<std::string>& interfaces() const { return interfaces_; }
  const std::vector<Address>& clients() const { return clients_; }

 private:
  std::vector<std::string> interfaces_;
  std::vector<Address> clients_;
  std::unordered_map<std::uint64_t, std::uint32_t> client_numbers_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TRACE_ROSTER_H_
