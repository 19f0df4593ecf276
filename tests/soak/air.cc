#include "tests/soak/air.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "testbed/hostapd.h"

namespace orvane::soak {
namespace {

using std::chrono::seconds;

constexpr std::array<const char*, 2> kInterfaces = {testbed::kWlan2400, testbed::kWlan5000};

// The metric is 0 at -100 dBm.
constexpr int kZero = -100;
constexpr int kPoorest = kZero + Air::kHighestHysteresis + 1;
constexpr int kPoor = kZero + Air::kLowestFloor - 1;
constexpr int kWell = kZero + Air::kHighestFloor + 1;
constexpr int kBest = -5;
constexpr seconds kGuestStays(5);

std::string Line(std::size_t interface, const std::string& address, int signal, const char* mark) {
  return fmt::format("{} {} {}{}\n", kInterfaces[interface], address, signal, mark);
}

}  // namespace

Air::Air(std::uint32_t seed) : random_(seed) {
  AddResidents(50, "", kWell, kBest);
  AddResidents(5, "", kZero, kZero + 10);
  AddResidents(5, " unauthorized", kPoorest, kPoor);
  AddResidents(5, " no-signal-average", kPoorest, kPoor);
}

int Air::Random(int least, int most) { return std::uniform_int_distribution(least, most)(random_); }

void Air::AddResidents(int count, const char* mark, int lowest, int highest) {
  for (int i = 0; i < count; ++i) {
    residents_.push_back({.address = fmt::format("02:00:00:00:00:{:02x}", residents_.size()),
                          .mark = mark,
                          .lowest = lowest,
                          .highest = highest,
                          .interface = static_cast<std::size_t>(Random(0, 1)),
                          .signal = Random(lowest, highest)});
  }
}

void Air::Move(Clock::time_point now, bool may_come) {
  for (Resident& resident : residents_) {
    resident.signal =
        std::clamp(resident.signal + Random(-3, 3), resident.lowest, resident.highest);
    if (Random(1, 100) == 1) resident.interface = 1 - resident.interface;
  }
  std::erase_if(guests_, [now](const auto& entry) {
    return entry.second.is_asked && entry.second.leaves <= now;
  });
  if (!may_come || Random(1, 4) != 1) return;
  ++guest_count_;
  const std::string address =
      fmt::format("02:00:01:{:02x}:{:02x}:{:02x}", guest_count_ >> 16 & 0xff,
                  guest_count_ >> 8 & 0xff, guest_count_ & 0xff);
  guests_[address] = {.interface = static_cast<std::size_t>(Random(0, 1)),
                      .signal = Random(kPoorest, kPoor)};
}

void Air::OnSteered(const std::string& address, Clock::time_point now) {
  const auto found = guests_.find(address);
  if (found == guests_.end() || found->second.is_asked) {
    violations_.push_back(address + " is steered");
    return;
  }
  Guest& guest = found->second;
  guest.is_asked = true;
  guest.interface = 1 - guest.interface;
  guest.signal = kBest;
  guest.leaves = now + kGuestStays;
}

std::string Air::Text() const {
  std::string text;
  for (const char* interface : kInterfaces) text += std::string(interface) + "\n";
  for (const Resident& resident : residents_) {
    text += Line(resident.interface, resident.address, resident.signal, resident.mark);
  }
  for (const auto& [address, guest] : guests_) {
    text += Line(guest.interface, address, guest.signal, "");
  }
  return text;
}

std::size_t Air::waiting_count() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(guests_, [](const auto& entry) { return !entry.second.is_asked; }));
}

}  // namespace orvane::soak
