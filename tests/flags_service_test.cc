// The flags service as a process, with the daemon: invalid flags are never published.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "dbus_proxies/flags_proxy.h"
#include "testbed/access_point.h"
#include "testbed/run_until.h"

namespace orvane::testbed {
namespace {

using org::velmora::ap::FlagsProxy;
using org::velmora::ap::FlagsProxyInterface;
using platform::FilePath;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr char kName[] = "org.velmora.ap.Flags";

// The service, and a client that follows its map.
class FlagsServiceTest : public AccessPointTest {
 protected:
  FlagsServiceTest() {
    ap_.StartBus();
    std::filesystem::create_directory(flags_d_);
  }

  void Start() {
    service_ = StartProcess({AP_WAVELARK_FLAGS_PATH, "--directory=" + flags_d_.native()});
    bus_connection_ = platform::bus::Connection::OpenSystemBus(loop_, nullptr);
    // Otherwise the first map that is seen is the empty one of a failed reading.
    ASSERT_TRUE(WaitUntil([this] {
      return sd_bus_get_name_creds(bus_connection_->bus(), kName, 0, nullptr) >= 0;
    })) << service_->err().Text();
    proxy_ = std::make_unique<FlagsProxy>(bus_connection_, kName);
    proxy_->InitializeProperties([this](FlagsProxyInterface* proxy, const std::string& /*name*/) {
      seen_.push_back(proxy->flags());
    });
    ASSERT_TRUE(RunUntil(loop_, [this] { return !seen_.empty(); }));
  }

  // Waits until the map is equal to `flags`.
  void Expect(const FlagMap& flags) {
    EXPECT_TRUE(RunUntil(loop_, [&] { return seen_.back() == flags; }));
  }

  // Writes invalid flags and waits until the service has rejected them.
  void WriteBad(const std::string& text) {
    const std::size_t refused = service_->err().Count("Bad flags");
    WriteFile(file_, text);
    EXPECT_TRUE(WaitUntil([&] { return service_->err().Count("Bad flags") > refused; })) << text;
    // Publishes a valid change, so that the same error is logged again.
    const std::size_t read = seen_.size();
    WriteFile(file_, "clientSteeringInterval=" + std::to_string(++good_) + "\n");
    EXPECT_TRUE(RunUntil(loop_, [&] { return seen_.size() > read; }));
  }

  FilePath flags_d_ = ap_.directory() / "flags.d";
  FilePath file_ = flags_d_ / "a.conf";
  platform::SdEventLoop loop_;
  std::shared_ptr<platform::bus::Connection> bus_connection_;
  std::unique_ptr<FlagsProxy> proxy_;
  std::vector<FlagMap> seen_;
  std::unique_ptr<ChildProcess> service_;
  int good_ = 100;
};

TEST_F(FlagsServiceTest, PublishesAndSignals) {
  WriteFile(file_, "clientSteering=enabled\n");
  Start();
  EXPECT_THAT(seen_.back(), ElementsAre(Pair("clientSteering", "enabled")));
  WriteFile(file_, "clientSteering=disabled\n");
  Expect({{"clientSteering", "disabled"}});
  service_->Signal(SIGTERM);
  const auto status = service_->WaitForExit(kPatience);
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(status->code, 0);
}

TEST_F(FlagsServiceTest, BadFlagsNeverReachTheDaemon) {
  Start();
  ap_.StartDaemon();
  for (const char* text : {"clientSteeringInterval=abc\n", "clientSteeringRootLqmFloor=300\n",
                           "clientSteeringPollInterval=0\n", "clientSteeringInterval=6",
                           "clientSteering\n", "connectionEvents=maybe\n",
                           "connectionEventsUpload=\n", "clientSteeringInterval=1\xff\n"}) {
    WriteBad(text);
  }
  for (const FlagMap& flags : seen_) {
    for (const auto& [key, value] : flags) {
      EXPECT_EQ(key, "clientSteeringInterval");
      EXPECT_GT(std::stoi(value), 100);
    }
  }
  ap_.ExpectQuickExit(SIGTERM);
  EXPECT_THAT(ap_.LogTexts("FATAL"), IsEmpty());
}

// Each published map is complete: both keys have the same value.
TEST_F(FlagsServiceTest, ChangesArePublishedAtomically) {
  WriteFile(file_, "clientSteeringInterval=1\nclientSteeringPollInterval=1\n");
  Start();
  constexpr int kChanges = 300;
  const std::string last = std::to_string(kChanges);
  for (int i = 2; i <= kChanges; ++i) {
    const std::string number = std::to_string(i);
    const int fd = open(file_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    for (const std::string& piece : {"clientSteeringInterval=" + number + "\n",
                                     std::string("clientSteeringPollInterval="), number + "\n"}) {
      ASSERT_GT(write(fd, piece.data(), piece.size()), 0);
      std::this_thread::yield();
    }
    close(fd);
    RunWhileReady(loop_);
  }
  Expect({{"clientSteeringInterval", last}, {"clientSteeringPollInterval", last}});
  for (const FlagMap& flags : seen_) {
    ASSERT_EQ(flags.size(), 2U);
    EXPECT_EQ(flags.begin()->second, flags.rbegin()->second);
  }
}

TEST_F(FlagsServiceTest, FollowsAReplacedDirectory) {
  WriteFile(file_, "a=1\n");
  Start();
  std::filesystem::rename(flags_d_, ap_.directory() / "old");
  std::filesystem::create_directory(flags_d_);
  WriteFile(file_, "a=2\n");
  Expect({{"a", "2"}});
}

// The path may be misspelled.
TEST_F(FlagsServiceTest, CheckWarnsOfAMissingDirectory) {
  const auto check = StartProcess(
      {AP_WAVELARK_FLAGS_PATH, "--check", "--directory", (ap_.directory() / "none").native()});
  const auto status = check->WaitForExit(kPatience);
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(status->code, 0);
  EXPECT_THAT(check->err().Text(), HasSubstr("none: the directory does not exist\n"));
}

TEST_F(FlagsServiceTest, CheckReportsErrors) {
  WriteFile(file_, "clientSteering=enabled\nb=2\n");
  EXPECT_EQ(OutputOf({AP_WAVELARK_FLAGS_PATH, "--check", "--directory", flags_d_.native()}),
            "b=2\nclientSteering=enabled\n");
  WriteFile(file_, "clientSteering=on\n");
  const auto check =
      StartProcess({AP_WAVELARK_FLAGS_PATH, "--check", "--directory", flags_d_.native()});
  const auto status = check->WaitForExit(kPatience);
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(status->code, 65);
  EXPECT_EQ(check->out().Text(), "");
  EXPECT_THAT(check->err().Text(), HasSubstr("a.conf:1: the value of clientSteering is neither"));
}

}  // namespace
}  // namespace orvane::testbed
