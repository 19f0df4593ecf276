// Compares the steering policy with an independent model over long random histories: the steers,
// the memory (from the verbose lines) and the prunes must be equal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "testbed/steering_world.h"

namespace orvane::ap {
namespace {

using testbed::SteeringWorld;

constexpr int kStations = 12;

// One poll each. Fewer under sanitizers and emulators, which are slow.
#if defined(__SANITIZE_ADDRESS__) || defined(WAVELARK_EMULATED)
constexpr int kSteps = 15'000;
#else
constexpr int kSteps = 50'000;
#endif

constexpr std::array<const char*, 2> kInterfaces = {SteeringWorld::k2400, SteeringWorld::k5000};

// Differs from the policy on purpose: time in whole seconds, metrics as plain integers, one flat
// table.
class Model {
 public:
  struct Settings {
    std::int64_t interval = 600;
    int floor = 30;
    int hysteresis = 15;
  };

  // Handles one station of a dump. The interface is the one at the cursor; 2 is past the last one.
  void See(int interface, int number, int signal, std::int64_t now) {
    Memory& memory = table_[number];
    memory.seen = now;
    if (memory.place != interface) {
      memory.place = interface;
      memory.steered = now;
      return;
    }
    if (interface == 2) return;
    const int metric = signal < -100 ? 0 : signal > 0 ? 100 : signal + 100;
    const int before = memory.metric[interface];
    const std::int64_t since = now - memory.steered;
    lines.push_back(fmt::format(
        "{} link_quality_metric {} last_steer_link_quality_metric {} time since last steer {}",
        SteeringWorld::Mac(number), metric, before,
        platform::FormatTimeSpan(std::chrono::seconds(since))));
    const bool is_poor = metric < settings.floor;
    const bool has_moved =
        metric - before > settings.hysteresis || before - metric > settings.hysteresis;
    if (!is_poor || !has_moved || since <= settings.interval) return;
    memory.steered = now;
    memory.metric[interface] = metric;
    lines.push_back(
        fmt::format(" Steer Client {} link_quality_metric {} "
                    "last_steer_link_quality_metric {}",
                    SteeringWorld::Mac(number), metric, before));
    commands.push_back(SteeringWorld::Steered(kInterfaces[interface], number));
  }

  void EndPass(std::int64_t now) {
    for (int number = 0; number < kStations; ++number) {
      const auto found = table_.find(number);
      if (found == table_.end() || now - found->second.seen <= 2 * settings.interval) continue;
      lines.push_back("Prune Station " + SteeringWorld::Mac(number));
      table_.erase(found);
    }
  }

  void Forget() { table_.clear(); }

  Settings settings;
  std::vector<std::string> lines;
  std::vector<std::string> commands;

 private:
  struct Memory {
    int place = -1;
    std::int64_t steered = 0;
    std::int64_t seen = 0;
    std::array<int, 2> metric = {0, 0};
  };

  std::map<int, Memory> table_;
};

class RandomHistory {
 public:
  explicit RandomHistory(std::uint32_t seed) : random_(seed) { world_.steer->Enable(); }

  // Changes the world or a flag, then runs one pass, or two that overlap.
  void Step() {
    Change();
    world_.TakeLog();
    now_ += 60;
    Roll(10) == 0 ? OverlappingPasses() : Pass();
  }

  void Compare() {
    ASSERT_EQ(world_.TakeLog(), model_.lines);
    ASSERT_EQ(world_.TakeCommands(), model_.commands);
    steers += model_.commands.size();
    for (const std::string& line : model_.lines) prunes += line.starts_with("Prune");
    model_.lines.clear();
    model_.commands.clear();
  }

  std::size_t steers = 0;
  std::size_t prunes = 0;
  std::size_t overlaps = 0;

 private:
  int Roll(int sides) { return std::uniform_int_distribution<int>(0, sides - 1)(random_); }

  void Pass() {
    world_.Pass(std::chrono::minutes(1));
    for (int interface = 0; interface < 2; ++interface) Dump(interface, interface);
    model_.EndPass(now_);
  }

  // The second pass starts before the kernel answers the first. The end of each dump moves the
  // shared cursor, so the third dump arrives with the cursor past the last interface.
  void OverlappingPasses() {
    world_.kernel.SetHolding(true);
    world_.Pass(std::chrono::minutes(1));
    world_.steer->CheckAndSteer();
    world_.kernel.SetHolding(false);
    world_.Pass(std::chrono::seconds(0));
    Dump(0, 0);
    Dump(0, 1);
    model_.EndPass(now_);
    Dump(1, 2);
    model_.EndPass(now_);
    ++overlaps;
  }

  // Handles the dump of an interface.
  void Dump(int interface, int cursor) {
    for (const auto& station : world_.kernel.Stations(kInterfaces[interface])) {
      if ((station.flags & 2U) == 0) continue;
      model_.See(cursor, station.address[5], station.signal_average.value_or(0), now_);
    }
  }

  void Change() {
    const int number = Roll(kStations);
    const std::string here = kInterfaces[Roll(2)];
    switch (Roll(10)) {
      case 0:
      case 1:
        world_.Leave(kInterfaces[0], number);
        world_.Leave(kInterfaces[1], number);
        world_.Join(here, number, -Roll(128)).flags = Roll(8) == 0 ? 0 : 2;
        break;
      case 2:
        world_.Leave(here, number);
        break;
      case 3:
        ChangeFlag();
        break;
      case 4:
        if (Roll(50) == 0) Restart();
        break;
      default:
        world_.SetSignal(here, number, Roll(140) - 128);
    }
  }

  void SetFlag(const char* key, int value) {
    world_.steer->OnFlagChanged(key, std::to_string(value));
  }

  void ChangeFlag() {
    const int value = Roll(400);
    switch (Roll(12)) {
      case 0:
        SetFlag("clientSteeringRootLqmFloor", value);
        model_.settings.floor = value % 256;
        break;
      case 1:
        SetFlag("clientSteeringLqmHysteresis", value / 4);
        model_.settings.hysteresis = value / 4;
        break;
      case 2:
        SetFlag("clientSteeringInterval", 2 * value - 30);
        model_.settings.interval = 2 * value - 30;
        break;
      case 3:
        SetFlag("clientSteeringChildLqmFloor", value);
        break;
      default:
        break;
    }
  }

  void Restart() {
    world_.steer->Disable();
    world_.steer->Enable();
    model_.Forget();
  }

  std::mt19937 random_;
  SteeringWorld world_;
  Model model_;
  std::int64_t now_ = 0;
};

class ClientSteerModelTest : public ::testing::TestWithParam<std::uint32_t> {};

TEST_P(ClientSteerModelTest, BehavesAsTheModelThroughMonthsOfPolls) {
  RandomHistory history(GetParam());
  for (int step = 0; step < kSteps; ++step) {
    history.Step();
    history.Compare();
    if (HasFatalFailure()) FAIL() << "seed " << GetParam() << ", step " << step;
  }
  // Checks that the histories contain enough of each case.
  EXPECT_GT(history.steers, kSteps / 100U);
  EXPECT_GT(history.prunes, kSteps / 100U);
  EXPECT_GT(history.overlaps, kSteps / 100U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ClientSteerModelTest, ::testing::Values(1, 2, 3, 4, 5));

}  // namespace
}  // namespace orvane::ap
