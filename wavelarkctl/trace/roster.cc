#include "wavelarkctl/trace/roster.h"

#include <algorithm>

namespace orvane::wavelarkctl {
namespace {

std::uint64_t ToKey(const Address& address) {
  std::uint64_t key = 0;
  for (const std::uint8_t byte : address) key = key << 8 | byte;
  return key;
}

}  // namespace

// A linear search is enough: there are few interfaces.
std::uint32_t Roster::InterfaceNumber(std::string_view name) {
  const auto found = std::ranges::find(interfaces_, name);
  const auto number = static_cast<std::uint32_t>(found - interfaces_.begin());
  if (found == interfaces_.end()) interfaces_.emplace_back(name);
  return number;
}

std::uint32_t Roster::ClientNumber(const Address& address) {
  const auto number = static_cast<std::uint32_t>(clients_.size());
  const auto [entry, is_new] = client_numbers_.try_emplace(ToKey(address), number);
  if (is_new) clients_.push_back(address);
  return entry->second;
}

}  // namespace orvane::wavelarkctl
