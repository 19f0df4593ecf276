#include "wavelarkctl/events/event_follower.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <variant>
#include <vector>

#include "testbed/tool_test.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class EventFollowerTest : public testbed::ToolTest {
 protected:
  void StoreEventOf(const std::string& id) const {
    Store({EventOf(fmt::format("client_shmac: '{}' event_type: CONNECT", id))});
  }

  // Replaces the database with an empty one. The old file remains, so the new one is another file.
  void Replace() const {
    std::filesystem::rename(path_, directory_.path() / "old");
    Store({});
  }

  // Makes reads fail, or succeed again.
  void HideTables() const { Execute("PRAGMA user_version = 99"); }
  void ShowTables() const {
    SQLite::Database(path_.native(), SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 1");
  }

  // The clients of the new events.
  std::vector<std::string> ReadNew() { return ReadNew(follower_); }
  static std::vector<std::string> ReadNew(EventFollower& follower) {
    std::vector<std::string> clients;
    follower.ReadNew([&](const auto& events) {
      for (const RecordedEvent& event : events) {
        for (const auto& value : event.values) {
          const auto* text = std::get_if<std::string>(&value);
          if (text != nullptr && *text != "CONNECT") clients.push_back(*text);
        }
      }
    });
    return clients;
  }

  EventFollower follower_{path_, {}, 2};
};

// Otherwise each read for a rare client would go through the whole database.
TEST_F(EventFollowerTest, EventsThatDoNotMatchAreReadOnce) {
  EventFollower follower(path_, {.client = "B"}, 2);
  StoreEventOf("A");
  EXPECT_THAT(ReadNew(follower), IsEmpty());
  SQLite::Database(path_.native(), SQLite::OPEN_READWRITE)
      .exec("UPDATE client_events SET client_shmac = 'B'");
  EXPECT_THAT(ReadNew(follower), IsEmpty());
  StoreEventOf("B");
  EXPECT_THAT(ReadNew(follower), ElementsAre("B"));
}

TEST_F(EventFollowerTest, StartsWithTheLastEvents) {
  for (const char* id : {"A", "B", "C"}) StoreEventOf(id);
  EXPECT_THAT(ReadNew(), ElementsAre("B", "C"));
  EXPECT_THAT(ReadNew(), IsEmpty());
  for (const char* id : {"D", "E", "F"}) StoreEventOf(id);
  EXPECT_THAT(ReadNew(), ElementsAre("D", "E", "F"));
}

TEST_F(EventFollowerTest, StartsWithAnEmptyDatabase) {
  Store({});
  EXPECT_THAT(ReadNew(), IsEmpty());
  for (const char* id : {"A", "B", "C"}) StoreEventOf(id);
  EXPECT_THAT(ReadNew(), ElementsAre("A", "B", "C"));
}

TEST_F(EventFollowerTest, ReadsAnotherFileFromItsStart) {
  for (const char* id : {"A", "B"}) StoreEventOf(id);
  EXPECT_THAT(ReadNew(), ElementsAre("A", "B"));
  Replace();
  for (const char* id : {"C", "D", "E"}) StoreEventOf(id);
  EXPECT_THAT(ReadNew(), ElementsAre("C", "D", "E"));
}

TEST_F(EventFollowerTest, AFileThatIsReplacedDuringAReadIsNotMissed) {
  for (const char* id : {"A", "B"}) StoreEventOf(id);
  follower_.ReadNew([&](const auto& events) {
    EXPECT_EQ(events.size(), 2U);
    Replace();
    StoreEventOf("C");
  });
  EXPECT_THAT(ReadNew(), ElementsAre("C"));
}

// The new file may get the number of the removed one.
TEST_F(EventFollowerTest, ARemovedDatabaseIsNoFailure) {
  for (const char* id : {"A", "B"}) StoreEventOf(id);
  EXPECT_THAT(ReadNew(), ElementsAre("A", "B"));
  std::filesystem::remove(path_);
  for (int i = 0; i < 2 * EventFollower::kMostFailures; ++i) EXPECT_THAT(ReadNew(), IsEmpty());
  StoreEventOf("C");
  EXPECT_THAT(ReadNew(), ElementsAre("C"));
}

TEST_F(EventFollowerTest, TheFirstReadMustSucceed) {
  EXPECT_THROW(ReadNew(), Failure);
  HideTables();
  EXPECT_THROW(ReadNew(), Failure);
}

TEST_F(EventFollowerTest, EachReadThatSucceedsResetsTheFailures) {
  StoreEventOf("A");
  EXPECT_THAT(ReadNew(), ElementsAre("A"));
  for (int round = 0; round < 2; ++round) {
    HideTables();
    for (int i = 0; i < EventFollower::kMostFailures; ++i) EXPECT_THAT(ReadNew(), IsEmpty());
    ShowTables();
    StoreEventOf("B");
    EXPECT_THAT(ReadNew(), ElementsAre("B"));
  }
  HideTables();
  for (int i = 0; i < EventFollower::kMostFailures; ++i) EXPECT_THAT(ReadNew(), IsEmpty());
  EXPECT_THROW(ReadNew(), Failure);
}

}  // namespace
}  // namespace orvane::wavelarkctl
