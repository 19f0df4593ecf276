#include "tests/soak/ledger.h"

#include <fmt/format.h>

#include <algorithm>

namespace orvane::soak {

void Ledger::Sent(std::size_t interface, std::uint64_t serial, Fate fate) {
  open_[serial] = {.interface = interface, .fate = fate};
  ++totals_.sent;
  if (fate == Fate::kUncertain) ++totals_.uncertain;
  if (fate == Fate::kDropped) ++totals_.dropped;
}

void Ledger::DoubtAfter(std::size_t interface, std::uint64_t serial) {
  Doubt([&](std::uint64_t number, const Line& line) {
    return number > serial && line.interface == interface;
  });
}

void Ledger::DoubtAll() {
  Doubt([](std::uint64_t /*serial*/, const Line& /*line*/) { return true; });
}

void Ledger::Doubt(const std::function<bool(std::uint64_t serial, const Line& line)>& is_meant) {
  for (auto& [serial, line] : open_) {
    if (line.fate != Fate::kRecorded || !is_meant(serial, line)) continue;
    line.fate = Fate::kUncertain;
    ++totals_.uncertain;
  }
}

void Ledger::Received(std::size_t interface, const access_infrastructure::proto::Event& batch) {
  ++totals_.batches;
  for (const auto& event : batch.client_event_info()) {
    Take(interface, event.steer_delta_in_milliseconds(), &last_event_[interface]);
  }
  for (const auto& probe : batch.client_probe_request_info()) {
    const auto serial = static_cast<std::uint64_t>(probe.probe_request_rssi_in_dbm());
    Take(interface, serial, &last_probe_[interface]);
  }
}

void Ledger::Take(std::size_t interface, std::uint64_t serial, std::uint64_t* last_serial) {
  ++totals_.recorded;
  const auto found = open_.find(serial);
  if (found == open_.end()) {
    violations_.push_back(fmt::format("{} is recorded twice, or was not sent", serial));
    return;
  }
  const Line line = found->second;
  open_.erase(found);
  if (line.fate == Fate::kDropped) {
    violations_.push_back(fmt::format("{} is recorded while recording is off", serial));
  }
  if (line.interface != interface) {
    violations_.push_back(fmt::format("{} is recorded for the other interface", serial));
  }
  if (serial < *last_serial) {
    violations_.push_back(fmt::format("{} is recorded after {}", serial, *last_serial));
  }
  *last_serial = serial;
}

std::size_t Ledger::AwaitedCount() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      open_, [](const auto& entry) { return entry.second.fate == Fate::kRecorded; }));
}

void Ledger::Close() {
  for (const auto& [serial, line] : open_) {
    if (line.fate == Fate::kUncertain) ++totals_.uncertain_lost;
    if (line.fate != Fate::kRecorded) continue;
    ++totals_.missing;
    violations_.push_back(fmt::format("{} is missing", serial));
  }
  open_.clear();
}

}  // namespace orvane::soak
