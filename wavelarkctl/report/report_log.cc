#include "wavelarkctl/report/report_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <variant>

#include "common/mac_address.h"
#include "proto/event.pb.h"
#include "wavelarkctl/client_option.h"
#include "wavelarkctl/command.h"
#include "wavelarkctl/log/log_event.h"
#include "wavelarkctl/log/log_line.h"
#include "wavelarkctl/log/log_source.h"
#include "wavelarkctl/progress.h"
#include "wavelarkctl/report/report_levels.h"

namespace orvane::wavelarkctl {
namespace {

using access_infrastructure::proto::ClientEventInfo;

// A disconnect within this time after a steer belongs to the steer. Its time may also be a little
// earlier than that of the log line.
constexpr std::int64_t kEffectMs = 10'000;
constexpr std::int64_t kClockErrorMs = 100;

using Identifiers = std::map<ap::MacAddress, std::string>;

const std::string& IdentifierOf(const ap::MacAddress& address, const platform::FilePath& salt_file,
                                Identifiers* identifiers) {
  std::string& id = (*identifiers)[address];
  if (id.empty()) id = ClientIdentifier(address.ToString(), salt_file);
  return id;
}

void ReadLog(const std::string& log, const platform::FilePath& salt_file, Identifiers* identifiers,
             std::vector<LoggedSteer>* steers) {
  LogLineReader reader;
  Progress progress("lines");
  bool has_lines = false;
  ReadLogFile(log, [&](std::string_view text) {
    progress.Add();
    const auto line = reader.Read(text);
    if (!line.has_value()) return;
    has_lines = true;
    const auto event = ParseMessage(line->message);
    if (!event.has_value()) return;
    const auto* steered = std::get_if<ClientSteered>(&*event);
    if (steered == nullptr) return;
    steers->push_back(
        {std::chrono::floor<std::chrono::milliseconds>(line->time.time_since_epoch()).count(),
         IdentifierOf(steered->address, salt_file, identifiers)});
  });
  if (has_lines) return;
  throw Failure(ExitStatus::kData, fmt::format("{}: no line of the daemon", log));
}

// The first disconnect that the steer can have caused; null if there is none.
ReportEvent* FindDisconnect(const LoggedSteer& steer, ReportEvents* report) {
  const std::int32_t client = report->clients.Find(steer.client);
  if (client == TextNumbers::kNone) return nullptr;
  const auto key = [](const ReportEvent& event) { return std::tuple(event.client, event.t); };
  auto event = std::ranges::lower_bound(report->events, std::tuple(client, steer.t - kClockErrorMs),
                                        {}, key);
  for (; event != report->events.end() && event->client == client; ++event) {
    if (event->t > steer.t + kEffectMs) return nullptr;
    if (IsDisconnect(*event)) return &*event;
  }
  return nullptr;
}

}  // namespace

std::vector<LoggedSteer> ReadLoggedSteers(const std::vector<std::string>& logs,
                                          const platform::FilePath& salt_file) {
  std::vector<LoggedSteer> steers;
  Identifiers identifiers;
  for (const std::string& log : logs) ReadLog(log, salt_file, &identifiers, &steers);
  return steers;
}

LoggedSteerCounts MarkLoggedSteers(const std::vector<LoggedSteer>& steers, ReportEvents* report) {
  LoggedSteerCounts counts;
  for (const LoggedSteer& steer : steers) {
    ReportEvent* disconnect = FindDisconnect(steer, report);
    if (disconnect != nullptr) disconnect->steering = ClientEventInfo::STEER;
    if (steer.t < report->scope.since_ms || steer.t >= report->scope.until_ms) continue;
    ++counts.steers;
    if (disconnect == nullptr) ++counts.without_disconnect;
  }
  return counts;
}

}  // namespace orvane::wavelarkctl
