#include "wavelarkctl/report/report_data.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "wavelarkctl/events/event_words.h"

namespace orvane::wavelarkctl {
namespace {

using nlohmann::json;

// The maximum lengths of lists.
constexpr std::size_t kCauses = 6;
constexpr std::size_t kAffectedClients = 5;
constexpr std::size_t kRankedClients = 10;
constexpr std::size_t kTimelines = 12;
constexpr std::size_t kVisits = 1500;  // of one time line; also the maximum number of its marks
constexpr std::size_t kListedSteers = 100;
constexpr std::size_t kReasons = 60;
constexpr std::size_t kChangedReasons = 5;

// Signals are counted in steps of 5 dB. Signals beyond the ends are clamped.
constexpr int kSignalStep = 5;
constexpr int kWeakestSignal = -100;
constexpr int kStrongestSignal = -1;

// Returns the lower median, or null if there are no values.
json Median(std::vector<std::int64_t> values) {
  if (values.empty()) return nullptr;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
  std::ranges::nth_element(values, middle);
  return *middle;
}

json JsonOf(const Share& share) { return json::array({share.good, share.all}); }

// In percent. The goal is compared with this quotient: a product of the goal could be rounded to
// more than a share that equals it.
double PercentOf(const Share& share) {
  return 100 * static_cast<double>(share.good) / static_cast<double>(share.all);
}

bool IsMissed(const Share& share, double goal) { return share.all > 0 && PercentOf(share) < goal; }

// A percentage with one decimal, or null without data. A share below the goal is not rounded up to
// it.
json TextOf(const Share& share, double goal) {
  if (share.all == 0) return nullptr;
  const double percent = PercentOf(share);
  const bool hides_miss = IsMissed(share, goal) && std::round(percent * 10) / 10 >= goal;
  return fmt::format("{:.1f} %", hides_miss ? std::floor(percent * 10) / 10 : percent);
}

// The figures of a client in this period.
struct ClientFigures {
  std::int32_t client = 0;
  std::int64_t events = 0;
  std::int64_t connects = 0;
  std::int64_t failures = 0;
  std::int64_t disconnects = 0;
  std::int64_t moves = 0;  // connects to another interface than before
  std::int64_t bounces = 0;
  std::int64_t signal_sum = 0;
  std::int64_t signals = 0;
};

class DataMaker {
 public:
  DataMaker(const ReportEvents& report, const std::array<double, kLevels>& goals)
      : report_(report), goals_(goals), judgement_(Judge(report)) {}

  json Make() {
    json data = {
        {"period", {{"since", report_.scope.since_ms}, {"until", report_.scope.until_ms}}},
        {"limits",
         {{"time", report_.scope.time_limit_ms}, {"signal", report_.scope.signal_limit_dbm}}},
        {"counts", Counts()},
        {"levels", Levels()},
        {"joins", Joins()},
        {"disconnects", Disconnects()},
        {"signals", Signals()}};
    AddClients(&data);
    data["steers"] = Steers();
    data["changes"] = Changes();
    data["clients"] = std::move(client_names_);
    return data;
  }

 private:
  [[nodiscard]] std::string Interface(const ReportEvent& event) const {
    return InterfaceName(report_.interfaces.TextOf(event.interface));
  }

  // Returns the index of a client in the page's list of clients, and adds the client if it is not
  // in the list. Returns null for a client without an identifier.
  json Name(std::int32_t client) {
    if (client < 0) return nullptr;
    const auto [found, is_new] = client_places_.try_emplace(client, client_names_.size());
    if (is_new) client_names_.push_back(report_.clients.TextOf(client));
    return found->second;
  }

  [[nodiscard]] json Counts() const {
    std::int64_t events = 0;
    std::int64_t unnamed = 0;
    std::int64_t before = 0;
    std::set<std::int32_t> clients;
    for (const ReportEvent& event : report_.events) {
      ++(event.is_now ? events : before);
      if (!event.is_now) continue;
      if (event.client < 0) {
        ++unnamed;
      } else if (clients.empty() || *clients.rbegin() != event.client) {
        clients.insert(event.client);
      }
    }
    return {{"events", events},
            {"clients", clients.size()},
            {"unnamed", unnamed},
            {"before", before},
            {"first", report_.first_ms}};
  }

  // The most frequent causes, and all others as one.
  static json Causes(const LevelTally& tally) {
    std::vector<std::pair<std::string, std::int64_t>> causes(tally.causes.begin(),
                                                             tally.causes.end());
    std::ranges::stable_sort(causes, std::greater(), &decltype(causes)::value_type::second);
    json rows = json::array();
    std::int64_t others = 0;
    for (const auto& [words, count] : causes) {
      if (rows.size() < kCauses) {
        rows.push_back({words, count});
      } else {
        others += count;
      }
    }
    if (others > 0) rows.push_back({"other causes", others});
    return rows;
  }

  json Affected(const LevelTally& tally) {
    std::vector<std::pair<std::int64_t, std::int32_t>> bad;  // how often, client
    for (std::size_t i = 0; i < tally.clients.size(); ++i) {
      const Share& share = tally.clients[i];
      if (share.good < share.all) {
        bad.emplace_back(share.all - share.good, static_cast<std::int32_t>(i));
      }
    }
    std::ranges::sort(bad, [](const auto& one, const auto& other) {
      return std::tuple(-one.first, one.second) < std::tuple(-other.first, other.second);
    });
    json rows = json::array();
    for (const auto& [count, client] : bad) {
      if (rows.size() == kAffectedClients) break;
      rows.push_back({Name(client), count, tally.clients[static_cast<std::size_t>(client)].all});
    }
    return rows;
  }

  json Levels() {
    json levels = json::array();
    for (std::size_t i = 0; i < kLevels; ++i) {
      const LevelTally& tally = judgement_.levels[i];
      json trend = json::array();
      for (const Share& share : tally.trend) trend.push_back(JsonOf(share));
      levels.push_back({{"key", kLevelRows[i].key},
                        {"title", kLevelRows[i].title},
                        {"goal", goals_[i]},
                        {"good", tally.now.good},
                        {"all", tally.now.all},
                        {"share", TextOf(tally.now, goals_[i])},
                        {"missed", IsMissed(tally.now, goals_[i])},
                        {"before", JsonOf(tally.before)},
                        {"trend", std::move(trend)},
                        {"causes", Causes(tally)},
                        {"clients", Affected(tally)},
                        {"unmeasured", tally.unmeasured}});
    }
    return levels;
  }

  // How often something happened on an interface, and to how many clients.
  struct Occurrences {
    std::int64_t events = 0;
    std::set<std::int32_t> clients;

    void Add(const ReportEvent& event) {
      ++events;
      if (event.client >= 0) clients.insert(event.client);
    }
  };
  using Table = std::map<std::pair<std::string, std::string>, Occurrences>;

  // Each row has the reason in words, the interface, the number of events and the number of
  // clients. Rows with more events come first.
  static json RowsOf(const Table& table) {
    std::vector<Table::const_pointer> rows;
    for (const auto& row : table) rows.push_back(&row);
    std::ranges::stable_sort(rows, std::greater(),
                             [](Table::const_pointer row) { return row->second.events; });
    if (rows.size() > kReasons) rows.resize(kReasons);
    json result = json::array();
    for (const auto* row : rows) {
      const auto& [key, occurrences] = *row;
      result.push_back({key.first, key.second, occurrences.events, occurrences.clients.size()});
    }
    return result;
  }

  [[nodiscard]] json Joins() const {
    Table failures;
    for (const ReportEvent& event : report_.events) {
      if (!event.is_now || !IsFailedJoin(event)) continue;
      failures[{WordsOfFailure(event, report_), Interface(event)}].Add(event);
    }
    return {{"failures", RowsOf(failures)}};
  }

  // The rows of RowsOf with one more column: true if the client or the operator wanted the
  // disconnect, false if not, null if unknown.
  [[nodiscard]] json Disconnects() const {
    Table reasons;
    std::map<std::string, std::optional<bool>> wishes;
    for (const ReportEvent& event : report_.events) {
      if (!event.is_now || !IsDisconnect(event)) continue;
      const std::string words = WordsOfDisconnect(event, report_);
      wishes[words] = IsWanted(event);
      reasons[{words, Interface(event)}].Add(event);
    }
    json rows = RowsOf(reasons);
    for (json& row : rows) {
      const std::optional<bool> wish = wishes[row[0].get<std::string>()];
      row.push_back(wish.has_value() ? json(*wish) : json());
    }
    return rows;
  }

  // Each row has the interface, the lower bound of the signal step in dBm, and the number of
  // events.
  [[nodiscard]] json Signals() const {
    std::map<std::pair<std::string, int>, std::int64_t> counts;
    std::map<std::pair<std::int32_t, int>, std::int64_t> numbers;
    for (const ReportEvent& event : report_.events) {
      if (!event.is_now || !event.has_signal()) continue;
      const int signal = std::clamp<int>(event.signal, kWeakestSignal, kStrongestSignal);
      const int step = (signal - kWeakestSignal) / kSignalStep;
      ++numbers[{event.interface, kWeakestSignal + step * kSignalStep}];
    }
    for (const auto& [key, count] : numbers) {
      counts[{InterfaceName(report_.interfaces.TextOf(key.first)), key.second}] += count;
    }
    json rows = json::array();
    for (const auto& [key, count] : counts) rows.push_back({key.first, key.second, count});
    return rows;
  }

  [[nodiscard]] std::vector<ClientFigures> FiguresOfClients() const {
    std::vector<ClientFigures> figures(report_.clients.size());
    for (std::size_t i = 0; i < figures.size(); ++i) figures[i].client = static_cast<int>(i);
    for (const ReportEvent& event : report_.events) {
      if (!event.is_now || event.client < 0) continue;
      ClientFigures& client = figures[static_cast<std::size_t>(event.client)];
      ++client.events;
      if (IsConnected(event)) ++client.connects;
      if (IsFailedJoin(event)) ++client.failures;
      if (IsDisconnect(event)) ++client.disconnects;
      if (!event.has_signal()) continue;
      client.signal_sum += event.signal;
      ++client.signals;
    }
    for (const Join& join : judgement_.joins) {
      if (!join.connect->is_now || join.previous == nullptr) continue;
      ClientFigures& client = figures[static_cast<std::size_t>(join.connect->client)];
      if (join.connect->interface != join.previous->interface) ++client.moves;
      if (join.is_bounce()) ++client.bounces;
    }
    return figures;
  }

  // Returns the clients with the highest values of `figure`, without clients whose value is 0.
  static std::vector<ClientFigures> Highest(std::vector<ClientFigures> figures,
                                            std::int64_t ClientFigures::*figure) {
    std::erase_if(figures, [figure](const ClientFigures& client) { return client.*figure == 0; });
    std::ranges::stable_sort(figures, std::greater(), figure);
    if (figures.size() > kRankedClients) figures.resize(kRankedClients);
    return figures;
  }

  json RowsOf(const std::vector<ClientFigures>& ranking) {
    json rows = json::array();
    for (const ClientFigures& client : ranking) {
      json signal;
      if (client.signals > 0) {
        signal = std::llround(static_cast<double>(client.signal_sum) /
                              static_cast<double>(client.signals));
      }
      rows.push_back({Name(client.client), client.events, client.connects, client.failures,
                      client.disconnects, client.moves, client.bounces, signal});
    }
    return rows;
  }

  void AddClients(json* data) {
    const std::vector<ClientFigures> figures = FiguresOfClients();
    const auto busiest = Highest(figures, &ClientFigures::events);
    const auto bouncing = Highest(figures, &ClientFigures::bounces);
    (*data)["busiest"] = RowsOf(busiest);
    (*data)["bouncing"] = RowsOf(bouncing);
    // Takes clients from both rankings alternately, each client once.
    std::set<std::int32_t> shown;
    json lines = json::array();
    for (std::size_t i = 0; i < kRankedClients; ++i) {
      for (const auto* ranking : {&bouncing, &busiest}) {
        if (i >= ranking->size() || lines.size() == kTimelines) continue;
        const std::int32_t client = (*ranking)[i].client;
        if (shown.insert(client).second) lines.push_back(Timeline(client));
      }
    }
    (*data)["timelines"] = std::move(lines);
  }

  // A visit is a row of begin, end and interface. A mark is a row of time and kind.
  json Timeline(std::int32_t client) {
    json visits = json::array();
    json marks = json::array();
    std::int64_t omitted = 0;
    const auto add = [&omitted](json* rows, json row) {
      if (rows->size() == kVisits) {
        ++omitted;
      } else {
        rows->push_back(std::move(row));
      }
    };
    const std::span<const ReportEvent> events = report_.Of(client);
    for (std::size_t i = 0; i < events.size(); ++i) {
      const ReportEvent& event = events[i];
      if (IsConnected(event)) {
        const std::int64_t begin = std::max(event.t, report_.scope.since_ms);
        const std::int64_t end = EndOfVisit(event, events.subspan(i + 1));
        if (event.is_now || end > begin) add(&visits, {begin, end, Interface(event)});
      }
      if (!event.is_now) continue;
      if (IsFailedJoin(event)) add(&marks, {event.t, "failure"});
      if (IsDisconnect(event) && IsSteered(event)) add(&marks, {event.t, "steer"});
    }
    return {{"client", Name(client)}, {"visits", visits}, {"marks", marks}, {"omitted", omitted}};
  }

  // A visit begins with a connect. It lasts until the client leaves the interface or connects
  // again, at most until the end of the period.
  [[nodiscard]] std::int64_t EndOfVisit(const ReportEvent& connect,
                                        std::span<const ReportEvent> later) const {
    for (const ReportEvent& event : later) {
      if (IsConnected(event)) return event.t;
      if (IsDisconnect(event) && event.interface == connect.interface) return event.t;
    }
    return report_.scope.until_ms;
  }

  json Steers() {
    std::map<std::pair<std::string_view, int>, std::int64_t> counts;
    std::vector<const RecordedSteer*> now;
    for (const RecordedSteer& steer : judgement_.steers) {
      if (!steer.disconnect->is_now) continue;
      now.push_back(&steer);
      ++counts[{ResultName(steer.outcome), steer.disconnect->step}];
    }
    std::ranges::stable_sort(now, std::greater(),
                             [](const RecordedSteer* steer) { return steer->disconnect->t; });
    if (now.size() > kListedSteers) now.resize(kListedSteers);
    json outcomes = json::array();
    for (const auto& [key, count] : counts) outcomes.push_back({key.first, key.second, count});
    json list = json::array();
    for (const RecordedSteer* steer : now) list.push_back(RowOf(*steer));
    return {{"outcomes", outcomes}, {"list", list}};
  }

  // The columns: time of the steer, client, interface and signal at the steer, interface and signal
  // at the client's next successful connect, milliseconds from the steer to that connect, outcome.
  // Without a next connect, the three columns about it are null.
  json RowOf(const RecordedSteer& steer) {
    const auto signal = [](const ReportEvent& event) {
      return event.has_signal() ? json(event.signal) : json();
    };
    const ReportEvent& before = *steer.disconnect;
    json row = {before.t, Name(before.client), Interface(before), signal(before)};
    if (steer.next != nullptr) {
      row.insert(row.end(),
                 {Interface(*steer.next), signal(*steer.next), steer.next->t - before.t});
    } else {
      row.insert(row.end(), {json(), json(), json()});
    }
    row.push_back(ResultName(steer.outcome));
    return row;
  }

  // The number of matching events in the previous period and in this one.
  template <typename Fits>
  [[nodiscard]] std::pair<std::int64_t, std::int64_t> Count(Fits fits) const {
    std::pair<std::int64_t, std::int64_t> counts;
    for (const ReportEvent& event : report_.events) {
      if (fits(event)) ++(event.is_now ? counts.second : counts.first);
    }
    return counts;
  }

  template <typename Fits>
  void AddCount(const char* title, Fits fits, json* rows) const {
    const auto [before, now] = Count(fits);
    rows->push_back({title, before, now, ""});
  }

  [[nodiscard]] json MedianTime(bool is_now) const {
    std::vector<std::int64_t> times;
    for (const Join& join : judgement_.joins) {
      if (join.start != nullptr && join.connect->is_now == is_now) {
        times.push_back(join.duration_ms());
      }
    }
    return Median(std::move(times));
  }

  [[nodiscard]] json MedianSignal(bool is_now) const {
    std::vector<std::int64_t> signals;
    for (const ReportEvent& event : report_.events) {
      if (event.has_signal() && event.is_now == is_now) signals.push_back(event.signal);
    }
    return Median(std::move(signals));
  }

  // The reasons whose counts changed most, without steers, which have their own row in Changes.
  [[nodiscard]] json ChangedReasons() const {
    // Type, reason, and the status if the words contain it.
    using Key = std::tuple<std::int32_t, std::int32_t, std::int32_t>;
    std::map<Key, std::pair<std::int64_t, std::int64_t>> counts;
    std::map<Key, std::string> words;
    for (const ReportEvent& event : report_.events) {
      const bool is_disconnect = IsDisconnect(event) && !IsSteered(event);
      if (!is_disconnect && !IsFailedJoin(event)) continue;
      const bool has_status = !is_disconnect && event.reason < 0 && event.status > 0;
      const Key key(event.type, event.reason, has_status ? event.status : 0);
      ++(event.is_now ? counts[key].second : counts[key].first);
      if (!words[key].empty()) continue;
      words[key] = is_disconnect ? "Disconnects: " + WordsOfDisconnect(event, report_)
                                 : "Failed " + WordsOfFailure(event, report_);
    }
    std::vector<std::pair<std::int64_t, json>> changes;
    for (const auto& [key, count] : counts) {
      if (count.first == count.second) continue;
      changes.emplace_back(std::abs(count.second - count.first),
                           json::array({words[key], count.first, count.second, ""}));
    }
    std::ranges::stable_sort(changes, std::greater(), &decltype(changes)::value_type::first);
    if (changes.size() > kChangedReasons) changes.resize(kChangedReasons);
    json rows = json::array();
    for (auto& [size, row] : changes) rows.push_back(std::move(row));
    return rows;
  }

  // `rows`: title, number before, number now, unit. `come`: the number of clients seen only in this
  // period. `gone`: the number of clients seen only in the previous period.
  [[nodiscard]] json Changes() const {
    json rows = json::array();
    AddCount(
        "Events", [](const ReportEvent&) { return true; }, &rows);
    AddCount("Connects", IsConnected, &rows);
    AddCount("Failed joins", IsFailedJoin, &rows);
    AddCount("Disconnects", IsDisconnect, &rows);
    AddCount(
        "Steers", [](const ReportEvent& event) { return IsDisconnect(event) && IsSteered(event); },
        &rows);
    rows.push_back({"Median time to connect", MedianTime(false), MedianTime(true), "ms"});
    rows.push_back({"Median signal", MedianSignal(false), MedianSignal(true), "dBm"});
    for (const json& row : ChangedReasons()) rows.push_back(row);
    std::int64_t come = 0;
    std::int64_t gone = 0;
    // The events of a client are in order of time.
    for (const auto client : report_.ByClient()) {
      if (client.front().is_now) ++come;
      if (!client.back().is_now) ++gone;
    }
    return {{"rows", rows}, {"come", come}, {"gone", gone}};
  }

  const ReportEvents& report_;
  const std::array<double, kLevels>& goals_;
  const Judgement judgement_;
  std::map<std::int32_t, std::size_t> client_places_;
  json client_names_ = json::array();
};

}  // namespace

json ReportData(const ReportEvents& report, const std::array<double, kLevels>& goals) {
  return DataMaker(report, goals).Make();
}

}  // namespace orvane::wavelarkctl
