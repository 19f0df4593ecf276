#include "wavelarkctl/trace/trace_recorder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/manual_loop.h"
#include "simulation/fake_kernel.h"
#include "testbed/log_capture.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(PseudonymsTest, NumberAddressesInOrderOfAppearance) {
  Pseudonyms pseudonyms;
  EXPECT_EQ(pseudonyms.For({9, 9, 9, 9, 9, 9}), (Address{2, 0, 0, 0, 0, 1}));
  EXPECT_EQ(pseudonyms.For({1, 1, 1, 1, 1, 1}), (Address{2, 0, 0, 0, 0, 2}));
  EXPECT_EQ(pseudonyms.For({9, 9, 9, 9, 9, 9}), (Address{2, 0, 0, 0, 0, 1}));
}

class TraceRecorderTest : public ::testing::Test {
 protected:
  TraceRecorderTest() {
    kernel_.AddInterface("a", 3);
    kernel_.AddInterface("b", 4);
    netlink_.SetNl80211MessageType(netlink_.GetFamily("nl80211"));
    netlink_.Start(loop_);
    loop_.SetWallTime(platform::WallTime(100s));
  }

  void Start(bool is_anonymous = false) {
    recorder_.emplace(
        loop_, &netlink_, TraceRecorder::Options{{"a", "b"}, 1s, is_anonymous}, &writer_,
        [this](const std::string& text) { warnings_.push_back(text); },
        [this](std::exception_ptr exception) { failure_ = std::move(exception); });
    recorder_->Start();
    loop_.RunUntilIdle();
  }

  simulation::FakeKernel::Station& Join(const std::string& interface, std::uint8_t number,
                                        int signal) {
    simulation::FakeKernel::Station station;
    station.address = {2, 0, 0, 0, 0, number};
    station.signal_average = static_cast<std::int8_t>(signal);
    return kernel_.Stations(interface).emplace_back(station);
  }

  // What has been written since the last time, without the header.
  std::vector<std::string> TakeRows() {
    std::vector<std::string> rows;
    std::string text(std::size_t{1} << 20, '\0');
    const ssize_t length = pread(file_, text.data(), text.size(), static_cast<off_t>(taken_));
    EXPECT_GE(length, 0);
    taken_ += static_cast<std::size_t>(length);
    text.resize(static_cast<std::size_t>(length));
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = text.find('\n', begin);
      EXPECT_NE(end, std::string::npos) << "half a line: " << text;
      rows.push_back(text.substr(begin, end - begin));
      begin = end == std::string::npos ? text.size() : end + 1;
    }
    return rows;
  }

  int file_ = memfd_create("trace", MFD_CLOEXEC);
  std::size_t taken_ = kTraceHeader.size() + 1;
  TraceWriter writer_{platform::ScopedFd(file_), "the trace"};
  testbed::SilentLog silent_log_;
  platform::ManualLoop loop_;
  simulation::FakeKernel kernel_;
  platform::NetlinkManager netlink_{kernel_};
  std::vector<std::string> warnings_;
  std::exception_ptr failure_;
  std::optional<TraceRecorder> recorder_;
};

TEST_F(TraceRecorderTest, ASampleHasAllInterfacesAtOneTime) {
  Join("a", 1, -50);
  Join("b", 2, -60).flags = 0;
  Start();
  EXPECT_THAT(TakeRows(),
              ElementsAre("100,a,02:00:00:00:00:01,-50,1", "100,b,02:00:00:00:00:02,-60,0"));
  kernel_.Stations("a").clear();
  loop_.AdvanceBy(999'999us);
  EXPECT_THAT(TakeRows(), IsEmpty());
  loop_.AdvanceBy(1us);
  EXPECT_THAT(TakeRows(), ElementsAre("101,b,02:00:00:00:00:02,-60,0"));
  EXPECT_THAT(warnings_, IsEmpty());
}

TEST_F(TraceRecorderTest, ASignalThatIsMissingIsEmpty) {
  Join("a", 1, -50).signal_average.reset();
  Start();
  EXPECT_THAT(TakeRows(), ElementsAre("100,a,02:00:00:00:00:01,,1"));
}

// The daemon does not judge it either.
TEST_F(TraceRecorderTest, AStationWithoutRatesIsLeftOut) {
  Join("a", 1, -50).has_rx_rate = false;
  Join("a", 2, -50);
  Start();
  EXPECT_THAT(TakeRows(), ElementsAre("100,a,02:00:00:00:00:02,-50,1"));
}

TEST_F(TraceRecorderTest, PseudonymsStayTheSame) {
  Join("a", 77, -50);
  Join("b", 66, -60);
  Start(true);
  EXPECT_THAT(TakeRows(),
              ElementsAre("100,a,02:00:00:00:00:01,-50,1", "100,b,02:00:00:00:00:02,-60,1"));
  std::swap(kernel_.Stations("a"), kernel_.Stations("b"));
  loop_.AdvanceBy(1s);
  EXPECT_THAT(TakeRows(),
              ElementsAre("101,a,02:00:00:00:00:02,-60,1", "101,b,02:00:00:00:00:01,-50,1"));
}

TEST_F(TraceRecorderTest, AnInterfaceMayDisappearAndComeBack) {
  Join("a", 1, -50);
  Join("b", 2, -60);
  kernel_.RemoveInterface("a");
  Start();
  loop_.AdvanceBy(2s);
  EXPECT_THAT(TakeRows(),
              ElementsAre("100,b,02:00:00:00:00:02,-60,1", "101,b,02:00:00:00:00:02,-60,1",
                          "102,b,02:00:00:00:00:02,-60,1"));
  EXPECT_THAT(warnings_, ElementsAre("a: no such interface"));
  kernel_.AddInterface("a", 3);
  loop_.AdvanceBy(1s);
  kernel_.RemoveInterface("a");
  loop_.AdvanceBy(1s);
  EXPECT_THAT(warnings_, ElementsAre("a: no such interface", "a: no such interface"));
}

TEST_F(TraceRecorderTest, AKernelThatRefusesIsReportedOnce) {
  Join("b", 2, -60);
  kernel_.FailNextRequest(EPERM);
  Start();
  EXPECT_THAT(warnings_, ElementsAre("a: Operation not permitted (1)"));
  EXPECT_THAT(TakeRows(), ElementsAre("100,b,02:00:00:00:00:02,-60,1"));
}

// Five seconds is the deadline of a request.
TEST_F(TraceRecorderTest, DuringASlowSampleOthersAreSkipped) {
  Join("b", 2, -60);
  kernel_.SetHolding(true);
  Start();
  loop_.AdvanceBy(2500ms);
  EXPECT_THAT(TakeRows(), IsEmpty());
  kernel_.SetHolding(false);
  loop_.RunUntilIdle();
  EXPECT_THAT(TakeRows(), ElementsAre("100,b,02:00:00:00:00:02,-60,1"));
  loop_.AdvanceBy(500ms);
  EXPECT_THAT(TakeRows(), ElementsAre("103,b,02:00:00:00:00:02,-60,1"));
}

// The rows of a sample are written together, however many they are.
TEST_F(TraceRecorderTest, AFullDiskStopsTheRecorder) {
  constexpr int kStations = 5000;
  Start();
  for (int i = 0; i < kStations; ++i) Join("a", static_cast<std::uint8_t>(i), -50);
  // From now on, writes go to a device that is always full.
  ASSERT_EQ(dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), file_), file_);
  loop_.AdvanceBy(1s);
  ASSERT_TRUE(failure_);
  try {
    std::rethrow_exception(failure_);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), ExitStatus::kUnavailable);
    EXPECT_STREQ(failure.what(), "the trace: No space left on device (28)");
  }
  const std::size_t requests = kernel_.requests().size();
  loop_.AdvanceBy(1min);
  EXPECT_EQ(kernel_.requests().size(), requests);
}

TEST_F(TraceRecorderTest, ADestroyedRecorderWritesNothingOfItsSample) {
  Join("a", 1, -50);
  kernel_.SetHolding(true);
  Start();
  recorder_.reset();
  kernel_.SetHolding(false);
  loop_.AdvanceBy(1min);
  EXPECT_THAT(TakeRows(), IsEmpty());
}

}  // namespace
}  // namespace orvane::wavelarkctl
