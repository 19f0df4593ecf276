// The bus and the services on it at their worst.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include "platform/bus/messages.h"
#include "testbed/access_point.h"
#include "testbed/test_peer.h"

namespace orvane::ap {
namespace {

using platform::bus::TestPeer;
using std::chrono::milliseconds;
using ::testing::IsEmpty;

constexpr char kFlagsName[] = "org.velmora.ap.Flags";
constexpr char kEventsOff[] = "Set connection_event_upload to 0";
constexpr char kEvent[] = "<3>AP-STA-AUTH nobody";

class BusFault : public AccessPoint {
 protected:
  void StopBus() { kill(bus().pid(), SIGSTOP); }
  void ContinueBus() { kill(bus().pid(), SIGCONT); }
};

TEST_F(BusFault, RestartedBusTakesARestartOfTheDaemon) {
  StartAll();
  wlan5000().Send(kEvent);
  Settle(wlan5000());
  bus().Kill();
  ExpectExit(69);
  wlan2400().ExpectCommand("DETACH");
  wlan5000().ExpectCommand("DETACH");
  EXPECT_EQ(NextNotice(), "STOPPING=1");
  EXPECT_THAT(LogTexts("ERROR"), ::testing::ElementsAre("Lost the connection to the system bus"));
  // The service manager's attempts, as long as there is none.
  LaunchDaemon();
  ExpectExit(69);
  bus().Start();
  StartRecorder();
  StartDaemon({"--connection_event_upload_period=1"});
  wlan5000().Attach();
  wlan5000().Send(kEvent);
  // What was in the batch is lost, and nothing else.
  EXPECT_EQ(WaitForRecord(1).event.client_event_info_size(), 1);
  EXPECT_EQ(RecordCount(), 1U);
}

TEST_F(BusFault, SlowBusHoldsARecordAndLosesNothing) {
  StartAll();
  StopBus();
  wlan5000().Send(kEvent);
  // Whatever asks nothing of the bus goes on.
  Settle(wlan5000());
  std::this_thread::sleep_for(milliseconds(1500));
  wlan5000().Send("<3>WHILE-IT-WAITS");
  std::this_thread::sleep_for(milliseconds(500));
  EXPECT_EQ(LogCount("INFO", "Received unknown event: WHILE-IT-WAITS"), 0U);
  EXPECT_EQ(RecordCount(), 0U);
  ContinueBus();
  EXPECT_EQ(WaitForRecord(1).event.client_event_info_size(), 1);
  ExpectLogged("INFO", "Received unknown event: WHILE-IT-WAITS");
  for (const std::string& text : LogTexts("WARNING")) {
    EXPECT_EQ(text.find("Error recording"), std::string::npos) << text;
  }
}

TEST_F(BusFault, SlowBusDelaysTheStart) {
  StartBus();
  StopBus();
  LaunchDaemon();
  EXPECT_EQ(NextNotice(milliseconds(1000)), "");
  ContinueBus();
  EXPECT_EQ(NextNotice(), "READY=1");
  EXPECT_THAT(LogTexts("ERROR"), IsEmpty());
  ExpectQuickExit(SIGTERM);
}

TEST_F(BusFault, HungBusAtTheStartHoldsNoSignal) {
  StartBus();
  StopBus();
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    LaunchDaemon();
    EXPECT_TRUE(daemon().err().WaitForLine("Starting the daemon", kPatience));
    DescriptorCount();  // does not change any more once it waits for the bus
    ExpectQuickExit(number);
    EXPECT_THAT(LogTexts("ERROR"), IsEmpty());
  }
  ContinueBus();
}

// A recorder that answers when the test says so.
class RecorderFault : public AccessPoint {
 protected:
  // Returns once the daemon waits for the answer.
  void StartInACall() {
    StartBus();
    WriteSalt(kSalt);
    recorder_.emplace();
    recorder_->HandleCalls([this](sd_bus_message* call) {
      call_.reset(sd_bus_message_ref(call));
      return true;
    });
    recorder_->RequestName("org.velmora.ap.Quillary");
    wlan5000_.emplace(kWlan5000);
    StartDaemon({"--connection_event_upload_period=1"});
    wlan5000_->Attach();
    wlan5000_->Send(kEvent);
    while (call_ == nullptr) {
      if (sd_bus_process(recorder_->bus(), nullptr) > 0) continue;
      ASSERT_GT(sd_bus_wait(recorder_->bus(), 5'000'000), 0) << "not called";
    }
  }

  std::optional<TestPeer> recorder_;
  platform::bus::MessagePtr call_;
  std::optional<Hostapd> wlan5000_;
};

TEST_F(RecorderFault, SignalDuringACallIsHandledAfterIt) {
  StartInACall();
  daemon().Signal(SIGTERM);
  EXPECT_TRUE(WaitUntil([this] { return !CatchesSignal(SIGTERM); }));
  EXPECT_EQ(daemon().WaitForExit(milliseconds(0)), std::nullopt);
  recorder_->Reply(call_.get(), [](platform::bus::MessageWriter&) {});
  wlan5000_->ExpectCommand("DETACH");
  ExpectExit(0);
}

TEST_F(RecorderFault, SecondSignalDuringACallKills) {
  StartInACall();
  daemon().Signal(SIGTERM);
  EXPECT_TRUE(WaitUntil([this] { return !CatchesSignal(SIGTERM); }));
  daemon().Signal(SIGTERM);
  EXPECT_EQ(daemon().WaitForExit(kPatience), (lab::ExitStatus{.code = -1, .signal = SIGTERM}));
}

class FlagsServiceFault : public AccessPoint {};

// The name comes and goes a thousand times. Each time its flags are asked for, and each failure is
// a line, whether it refuses or is gone before it has answered.
TEST_F(FlagsServiceFault, FlapsAThousandTimes) {
  constexpr std::size_t kTimes = 1000;
  constexpr std::uint64_t kPatienceUsec = 20'000'000;
  StartAll();
  const std::size_t descriptors = DescriptorCount();
  const std::int64_t kilobytes = ResidentKilobytes();
  const std::size_t warnings = LogTexts("WARNING").size();
  std::size_t asked = 0;
  for (std::size_t i = 0; i < kTimes; ++i) {
    TestPeer service;
    service.HandleCalls([&](sd_bus_message* call) {
      ++asked;
      if (i % 2 == 0) service.ReplyError(call, "org.velmora.Error.Test", "Not yet");
      return true;
    });
    service.RequestName(kFlagsName);
    while (asked == i) {
      if (sd_bus_process(service.bus(), nullptr) > 0) continue;
      ASSERT_GT(sd_bus_wait(service.bus(), kPatienceUsec), 0) << "not asked, time " << i;
    }
  }
  // The one that stays is read.
  StartFlags({{"connectionEventsUpload", "0"}});
  ExpectLogged("INFO", kEventsOff);
  EXPECT_EQ(asked, kTimes);
  EXPECT_EQ(LogTexts("WARNING").size() - warnings, kTimes);
  EXPECT_EQ(daemon().err().Count("Not yet"), kTimes / 2);
  if (!kIsSanitized) {
    EXPECT_LE(ResidentKilobytes(), kilobytes + 1024);
  }
  EXPECT_EQ(DescriptorCount(), descriptors);
  Settle(wlan5000());
}

TEST_F(FlagsServiceFault, MapOfTenThousandKeys) {
  FlagMap flags = {{"connectionEventsUpload", "0"}};
  for (int i = 0; i < 10'000; ++i) flags[fmt::format("connectionEvents{:05}", i)] = "1";
  StartBus();
  WriteSalt(kSalt);
  StartFlags(flags);
  StartDaemon();
  ExpectLogged("INFO", kEventsOff);
  flags["connectionEventsUpload"] = "1";
  SetFlags(flags);
  ExpectLogged("INFO", "Set connection_event_upload to 1");
  EXPECT_THAT(LogTexts("WARNING"), IsEmpty());
}

TEST_F(FlagsServiceFault, ValueOfAMegabyte) {
  StartBus();
  WriteSalt(kSalt);
  StartFlags(
      {{"connectionEventsNote", std::string(1 << 20, '7')}, {"connectionEventsUpload", "0"}});
  StartDaemon();
  ExpectLogged("INFO", kEventsOff);
  EXPECT_THAT(LogTexts("WARNING"), IsEmpty());
  // Where a number belongs, that is none.
  SetFlags({{"connectionEventsUpload", std::string(1 << 20, '7')}});
  ExpectAbort("Uncaught exception: stoi");
}

}  // namespace
}  // namespace orvane::ap
