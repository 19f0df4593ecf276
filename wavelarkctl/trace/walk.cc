#include "wavelarkctl/trace/walk.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "common/interface_names.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using platform::TimeSpan;

constexpr platform::WallTime kStart = std::chrono::sys_days(std::chrono::year(2026) / 1 / 1);
constexpr TimeSpan kStep = 10s;
constexpr TimeSpan kDay = 24h;
constexpr double kNear = -50;  // dBm
constexpr double kFar = -92;

// The standard library's distributions depend on the implementation; this one does not.
class Dice {
 public:
  // From `least` to `greatest`, in steps of a thousandth of that range.
  double Roll(double least, double greatest) {
    constexpr std::uint32_t kSides = 1001;
    return least + (greatest - least) * static_cast<double>(random_() % kSides) / (kSides - 1);
  }

 private:
  std::mt19937 random_{1};
};

Address AddressOf(std::uint32_t number) {
  return {2,
          0,
          static_cast<std::uint8_t>(number >> 24),
          static_cast<std::uint8_t>(number >> 16),
          static_cast<std::uint8_t>(number >> 8),
          static_cast<std::uint8_t>(number)};
}

TraceRow MakeRow(TimeSpan time, const char* interface, std::uint32_t client, double signal) {
  const double dbm = std::clamp(std::round(signal), -110.0, -20.0);
  return {.time = kStart + time,
          .interface = interface,
          .address = AddressOf(client),
          .signal = static_cast<std::int8_t>(dbm),
          .is_authorized = true};
}

void WriteAway(Dice& dice, TraceWriter& writer) {
  constexpr TimeSpan kWay = 45min;
  constexpr TimeSpan kRest = 30min;
  for (TimeSpan time{}; time <= 2 * kWay + kRest; time += kStep) {
    const TimeSpan way = std::min({time, 2 * kWay + kRest - time, kWay});
    const double part = std::chrono::duration<double>(way) / kWay;
    const double signal = kNear + (kFar - kNear) * part + dice.Roll(-2, 2);
    writer.Add(MakeRow(time, ap::kWlan5000MhzInterface, 1, signal));
    writer.FlushBlock();
  }
}

void WriteFloor(Dice& dice, TraceWriter& writer) {
  constexpr double kFloor = -70;
  constexpr TimeSpan kPeriod = 3h;
  for (TimeSpan time{}; time <= kDay; time += kStep) {
    const double phase = 2 * std::numbers::pi * (std::chrono::duration<double>(time) / kPeriod);
    const double signal = kFloor + 3 * std::sin(phase) + dice.Roll(-4, 4);
    writer.Add(MakeRow(time, ap::kWlan5000MhzInterface, 1, signal));
    writer.FlushBlock();
  }
}

void WriteDips(Dice& dice, TraceWriter& writer) {
  TimeSpan end_of_phase{};
  bool is_dip = true;
  double level = kNear;
  for (TimeSpan time{}; time <= kDay; time += kStep) {
    if (time >= end_of_phase) {
      is_dip = !is_dip;
      level = is_dip ? dice.Roll(-95, -72) : kNear;
      const double minutes = is_dip ? dice.Roll(2, 20) : dice.Roll(10, 60);
      end_of_phase = time + std::chrono::seconds(static_cast<int>(minutes * 60));
    }
    writer.Add(MakeRow(time, ap::kWlan5000MhzInterface, 1, level + dice.Roll(-2, 2)));
    writer.FlushBlock();
  }
}

// The signal of each client wanders around a mean of its own.
void WriteCrowd(std::uint32_t clients, Dice& dice, TraceWriter& writer) {
  struct Client {
    const char* interface;
    double home;
    double signal;
  };
  std::vector<Client> crowd;
  for (std::uint32_t i = 0; i < clients; ++i) {
    const double home = dice.Roll(-80, -45);
    crowd.push_back({ap::kMainInterfaces[i % ap::kMainInterfaces.size()], home, home});
  }
  constexpr double kPull = 0.05;
  for (TimeSpan time{}; time < kDay; time += 1min) {
    for (std::uint32_t i = 0; i < clients; ++i) {
      Client& client = crowd[i];
      client.signal += kPull * (client.home - client.signal) + dice.Roll(-4, 4);
      writer.Add(MakeRow(time, client.interface, i + 1, client.signal));
      writer.FlushBlock();
    }
  }
}

}  // namespace

void WriteWalk(Walk walk, std::uint32_t clients, TraceWriter& writer) {
  Dice dice;
  switch (walk) {
    case Walk::kAway:
      WriteAway(dice, writer);
      break;
    case Walk::kFloor:
      WriteFloor(dice, writer);
      break;
    case Walk::kDips:
      WriteDips(dice, writer);
      break;
    case Walk::kCrowd:
      WriteCrowd(clients, dice, writer);
      break;
  }
  writer.Flush();
}

}  // namespace orvane::wavelarkctl
