// Compares the explanation of a log with the decisions of the steering service that wrote the log.

#include "wavelarkctl/explain/explainer.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <time.h>

#include <chrono>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "testbed/steering_world.h"
#include "testbed/time_zone.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ap::SteerVerdict;
using testbed::SteeringWorld;

constexpr int kClients = 8;
#if defined(__SANITIZE_ADDRESS__) || defined(WAVELARK_EMULATED)
constexpr int kSteps = 3'000;
#else
constexpr int kSteps = 20'000;
#endif

// One line of a log as the daemon writes it, in UTC.
std::string LineOf(platform::WallTime time, const std::string& message) {
  const auto usec = time.time_since_epoch().count();
  const time_t seconds = usec / 1'000'000;
  tm calendar = {};
  gmtime_r(&seconds, &calendar);
  char text[32];
  strftime(text, sizeof(text), "%F %T", &calendar);
  return fmt::format("{}.{:06} VERBOSE1 optimizer/client_steer.cc:1] {}", text, usec % 1'000'000,
                     message);
}

std::string TextOf(const Decision& decision) { return JsonLine(decision); }

// Clients come, go, move and change their signal at random, and steering is switched off and on.
// Keeps the decisions of each poll and those that the log shows.
class RandomWorld {
 public:
  explicit RandomWorld(std::uint32_t seed) : random_(seed) {
    world_.steer->SetObserver([this](const ap::StationJudgement& judgement) { Note(judgement); });
    world_.steer->Enable();
    Explain();
  }

  void Step() {
    const int number = Roll(kClients);
    if (Roll(500) == 0) {
      Restart();
    } else if (Roll(4) == 0) {
      Move(number);
    } else {
      world_.SetSignal(places_[number], number, -Roll(101));
    }
    world_.Pass(1min);
    Explain();
  }

  std::vector<std::string> expected;
  std::vector<std::string> explained;
  std::size_t steers = 0;
  std::size_t restarts = 0;
  Explainer explainer{AssumedSettings(), {}, [this](const ExplainedDecision& decision) {
                        EXPECT_FALSE(decision.is_contradiction);
                        explained.push_back(TextOf(decision.decision));
                      }};

 private:
  int Roll(int sides) { return std::uniform_int_distribution<int>(0, sides - 1)(random_); }

  // Disconnects a client or moves it to an interface, and logs hostapd's events.
  void Move(int number) {
    std::string& place = places_[number];
    if (!place.empty()) {
      world_.Leave(place, number);
      Event(place, number, "kStationDisconnected");
    }
    place = Roll(3) == 0 ? "" : Roll(2) == 0 ? SteeringWorld::k2400 : SteeringWorld::k5000;
    if (place.empty()) return;
    world_.Join(place, number, -Roll(101));
    Event(place, number, "kStationConnected");
  }

  void Event(const std::string& place, int number, const std::string& name) {
    Add(fmt::format("EventCallback: {} event: {} mac: {}", place, name,
                    SteeringWorld::Mac(number)));
  }

  void Restart() {
    world_.steer->Disable();
    world_.steer->Enable();
    pending_new_.clear();
    ++restarts;
    // The reader of the log has forgotten all clients, so they must connect again.
    for (auto& [number, place] : places_) {
      if (!place.empty()) world_.Leave(place, number);
      place.clear();
    }
  }

  // The log shows a new client only by the client's next line.
  void Note(const ap::StationJudgement& judgement) {
    const std::string address = judgement.mac_address.ToString();
    Decision decision = {.time = world_.loop.Now(),
                         .interface = judgement.interface,
                         .address = address,
                         .why = SteerVerdict::kNew};
    if (judgement.verdict == SteerVerdict::kNew) {
      pending_new_[address] = TextOf(decision);
      return;
    }
    if (const auto found = pending_new_.find(address); found != pending_new_.end()) {
      expected.push_back(found->second);
      pending_new_.erase(found);
    }
    decision.metric = judgement.inputs.link_quality_metric;
    decision.last_metric = judgement.inputs.last_steer_link_quality_metric;
    decision.since_last_steer = judgement.inputs.since_last_steer;
    decision.why = judgement.verdict;
    decision.steered = judgement.verdict == SteerVerdict::kSteered;
    steers += decision.steered ? 1 : 0;
    expected.push_back(TextOf(decision));
  }

  void Explain() {
    for (const std::string& message : world_.TakeLog()) Add(message);
    explainer.Finish();
  }

  void Add(const std::string& message) { explainer.AddLine(LineOf(world_.loop.Now(), message)); }

  std::mt19937 random_;
  SteeringWorld world_;
  std::map<int, std::string> places_;
  std::map<std::string, std::string> pending_new_;
};

class ExplainerTest : public testing::Test {
 protected:
  ExplainerTest() { testbed::SetTimeZone("UTC"); }
};

TEST_F(ExplainerTest, AgreesWithTheDaemon) {
  RandomWorld world(20'261'122);
  for (int i = 0; i < kSteps; ++i) {
    world.Step();
    ASSERT_EQ(world.explained, world.expected) << "at step " << i;
    world.explained.clear();
    world.expected.clear();
  }
  EXPECT_GT(world.steers, static_cast<std::size_t>(kSteps / 200));
  EXPECT_GT(world.restarts, 0u);
  std::size_t steers = 0;
  for (const auto& [address, history] : world.explainer.clients()) {
    steers += history.steers.size();
  }
  EXPECT_EQ(steers, world.steers);
}

}  // namespace
}  // namespace orvane::wavelarkctl
