#include "bridge/bridge.h"

#include <utility>

#include "platform/logging.h"

namespace orvane::bridge {
namespace {

void LogAbsence(const std::string& interface) {
  LOG(WARNING) << "No network interface " << interface;
}

}  // namespace

Bridge::Bridge(platform::Loop& loop, const Options& options,
               std::unique_ptr<platform::NetlinkKernel> kernel)
    : metrics_file_(options.metrics_file),
      nl80211_(loop, std::move(kernel), [this] { OnKernelReady(); }),
      kernel_timer_(loop),
      metrics_timer_(loop) {
  for (const InterfaceNames& names : options.interfaces) Add(loop, options, names);
  if (!metrics_file_.empty()) KeepWritingMetrics();
}

Bridge::~Bridge() { WriteMetrics(); }

void Bridge::Add(platform::Loop& loop, const Options& options, const InterfaceNames& names) {
  Entry* entry = entries_.emplace_back(std::make_unique<Entry>()).get();
  entry->interface = std::make_unique<BridgedInterface>(
      loop, &shared_,
      BridgedInterface::Settings{names, options.hostapd_directory, options.directory,
                                 options.queue_lines},
      BridgedInterface::Callbacks{.read_kernel = [this] { ReadKernel(); },
                                  .read_station =
                                      [this, entry](const ap::MacAddress& station) {
                                        return nl80211_.ReadStation(entry->index, station);
                                      },
                                  .on_hostapd_up = [this, entry] { OnHostapdUp(entry); }});
}

// The driver may have been reloaded, so nl80211 is opened again.
void Bridge::OnHostapdUp(Entry* entry) {
  const std::string& name = entry->interface->names().hostapd;
  if (!nl80211_.Open()) {
    PLOG(WARNING) << "Only connects and disconnects are reported without nl80211: " << name;
  }
  const bool was_absent = entry->index == 0;
  FindInterfaces();
  if (was_absent && entry->index == 0) LogAbsence(name);
  kernel_timer_.Start(kKernelInterval, [this] { CheckKernel(); });
}

// The kernel may fail for a while, and may replace an interface while hostapd runs.
void Bridge::CheckKernel() {
  if (!nl80211_.is_open() && nl80211_.Open()) LOG(INFO) << "nl80211 is available now";
  FindInterfaces();
  kernel_timer_.Start(kKernelInterval, [this] { CheckKernel(); });
}

// Reads the messages with the old indexes first.
void Bridge::FindInterfaces() {
  ReadKernel();
  for (const auto& entry : entries_) {
    const std::string& name = entry->interface->names().hostapd;
    const std::uint32_t old_index = std::exchange(entry->index, nl80211_.InterfaceIndex(name));
    const bool is_lost = old_index != 0 && entry->index == 0;
    if (is_lost && entry->interface->is_up()) LogAbsence(name);
  }
}

void Bridge::ReadKernel() {
  const std::uint64_t loss_count = nl80211_.loss_count();
  nl80211_.ReadAll([this](const Nl80211Event& event) {
    for (const auto& entry : entries_) {
      if (entry->index == event.interface_index) entry->interface->OnNl80211Event(event);
    }
  });
  // The kernel reports a loss before the messages in the queue, but drops those that come later.
  if (nl80211_.loss_count() == loss_count) return;
  for (const auto& entry : entries_) entry->interface->OnNl80211Loss();
}

void Bridge::OnKernelReady() {
  ReadKernel();
  for (const auto& entry : entries_) entry->interface->Pump();
}

Counters Bridge::counters() const {
  Counters counters;
  for (const auto& entry : entries_) counters.interfaces.push_back(entry->interface->counters());
  counters.netlink_messages = nl80211_.message_count();
  counters.netlink_losses = nl80211_.loss_count();
  return counters;
}

void Bridge::LogCounters() const {
  for (const std::string& line : FormatForLog(counters())) LOG(INFO) << line;
}

void Bridge::WriteMetrics() {
  if (metrics_file_.empty()) return;
  if (platform::ReplaceFile(metrics_file_, FormatMetrics(counters()))) return;
  PLOG(WARNING) << "Failed to write " << metrics_file_.native();
}

void Bridge::KeepWritingMetrics() {
  WriteMetrics();
  metrics_timer_.Start(kMetricsInterval, [this] { KeepWritingMetrics(); });
}

}  // namespace orvane::bridge
