#ifndef TESTBED_TOOL_TEST_H_
#define TESTBED_TOOL_TEST_H_

#include <SQLiteCpp/Database.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <string>
#include <vector>

#include "testbed/played_days.h"
#include "testbed/temporary_directory.h"
#include "wavelarkctl/run.h"

namespace orvane::testbed {

// Runs the tool in this process on a database in a temporary directory.
class ToolTest : public ::testing::Test {
 protected:
  ToolTest() {
    setenv("TZ", "UTC", 1);
    tzset();
  }

  struct Outcome {
    int status = 0;
    std::string out;
    std::string err;
  };

  static Outcome Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "wavelarkctl");
    std::vector<const char*> pointers;
    pointers.reserve(arguments.size());
    for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    Outcome outcome;
    outcome.status =
        wavelarkctl::RunWavelarkctl(static_cast<int>(pointers.size()), pointers.data());
    outcome.out = ::testing::internal::GetCapturedStdout();
    outcome.err = ::testing::internal::GetCapturedStderr();
    return outcome;
  }

  // Parses an event from the text form of ClientEventInfo.
  static PlayedEvent EventOf(const std::string& text,
                             access_infrastructure::proto::WifiInterface interface =
                                 access_infrastructure::proto::WLAN_5000MHZ) {
    PlayedEvent event = {.interface = interface, .info = {}};
    EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &event.info)) << text;
    return event;
  }

  void Store(const std::vector<PlayedEvent>& events) const { StoreEvents(events, path_); }

  // Creates an empty database and runs a statement on it.
  void Execute(const std::string& sql) const {
    Store({});
    SQLite::Database(path_.native(), SQLite::OPEN_READWRITE).exec(sql);
  }

  TemporaryDirectory directory_;
  platform::FilePath path_ = directory_.path() / "records.db";
};

}  // namespace orvane::testbed

#endif  // TESTBED_TOOL_TEST_H_
