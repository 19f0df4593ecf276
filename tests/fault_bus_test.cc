// Faults of the bus and the services on it.

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

#include "platform/bus/messages.h"
#include "testbed/access_point.h"
#include "testbed/test_peer.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::IsEmpty;

constexpr char kFlagsName[] = "org.velmora.ap.Flags";
constexpr char kEventsOff[] = "Set connection_event_upload to 0";
constexpr char kEvent[] = "<3>AP-STA-AUTH nobody";

class BusFault : public AccessPointTest {
 protected:
  void StopBus() { kill(ap_.bus().pid(), SIGSTOP); }
  void ContinueBus() { kill(ap_.bus().pid(), SIGCONT); }
};

TEST_F(BusFault, RestartOfTheBusRequiresARestartOfTheDaemon) {
  ap_.StartAll();
  ap_.wlan5000().Send(kEvent);
  ap_.Settle(ap_.wlan5000());
  ap_.bus().Kill();
  ap_.ExpectExit(69);
  ap_.wlan2400().ExpectCommand("DETACH");
  ap_.wlan5000().ExpectCommand("DETACH");
  EXPECT_EQ(ap_.NextNotice(), "STOPPING=1");
  EXPECT_THAT(ap_.LogTexts("ERROR"),
              ::testing::ElementsAre("Lost the connection to the system bus"));
  // Like restarts by the service manager while there is no bus.
  ap_.LaunchDaemon();
  ap_.ExpectExit(69);
  ap_.bus().Start();
  ap_.StartRecorder();
  ap_.StartDaemon({"--connection_event_upload_period=1"});
  ap_.wlan5000().Attach();
  ap_.wlan5000().Send(kEvent);
  // Only the batch was lost.
  EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info_size(), 1);
  EXPECT_EQ(ap_.RecordCount(), 1U);
}

TEST_F(BusFault, SlowBusDelaysARecord) {
  ap_.StartAll();
  StopBus();
  ap_.wlan5000().Send(kEvent);
  // What does not need the bus continues.
  ap_.Settle(ap_.wlan5000());
  // Further lines are handled until the daemon calls the recorder: from then on a line waits.
  std::size_t lines = 0;
  const auto waiting = [&] { return fmt::format("Received unknown event: LINE-{}", lines); };
  do {
    ap_.wlan5000().Send(fmt::format("<3>LINE-{}", ++lines));
  } while (WaitUntil([&] { return ap_.LogCount("INFO", waiting()) > 0; }, milliseconds(500)));
  EXPECT_EQ(ap_.RecordCount(), 0U);
  ContinueBus();
  EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info_size(), 1);
  ap_.ExpectLogged("INFO", waiting());
  for (const std::string& text : ap_.LogTexts("WARNING")) {
    EXPECT_EQ(text.find("Error recording"), std::string::npos) << text;
  }
}

TEST_F(BusFault, SlowBusDelaysTheStart) {
  ap_.StartBus();
  StopBus();
  ap_.LaunchDaemon();
  EXPECT_EQ(ap_.NextNotice(milliseconds(1000)), "");
  ContinueBus();
  EXPECT_EQ(ap_.NextNotice(), "READY=1");
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
  ap_.ExpectQuickExit(SIGTERM);
}

TEST_F(BusFault, HungBusAtTheStartDoesNotDelaySignals) {
  ap_.StartBus();
  StopBus();
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    ap_.LaunchDaemon();
    EXPECT_TRUE(ap_.daemon().err().WaitForLine("Starting the daemon", kPatience));
    ap_.DescriptorCount();  // constant once the daemon waits for the bus
    ap_.ExpectQuickExit(number);
    EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
  }
  ContinueBus();
}

// A recorder that answers when the test requests it.
class RecorderFault : public AccessPointTest {
 protected:
  // Returns when the daemon waits for the answer.
  void StartInACall() {
    ap_.StartBus();
    WriteSalt(kSalt);
    recorder_.emplace();
    recorder_->HandleCalls([this](sd_bus_message* call) {
      call_.reset(sd_bus_message_ref(call));
      return true;
    });
    recorder_->RequestName("org.velmora.ap.Quillary");
    wlan5000_.emplace(kWlan5000);
    ap_.StartDaemon({"--connection_event_upload_period=1"});
    wlan5000_->Attach();
    wlan5000_->Send(kEvent);
    while (call_ == nullptr) {
      if (sd_bus_process(recorder_->bus(), nullptr) > 0) continue;
      ASSERT_GT(sd_bus_wait(recorder_->bus(), 5'000'000), 0)
          << "the daemon did not call the recorder";
    }
  }

  std::optional<TestPeer> recorder_;
  platform::bus::MessagePtr call_;
  std::optional<Hostapd> wlan5000_;
};

// A signal interrupts the call with libsystemd 252; later releases continue the call.

TEST_F(RecorderFault, SignalDuringACallEndsTheDaemonByTheReply) {
  StartInACall();
  ap_.daemon().Signal(SIGTERM);
  EXPECT_TRUE(WaitUntil([this] { return !ap_.CatchesSignal(SIGTERM); }));
  recorder_->Reply(call_.get(), [](platform::bus::MessageWriter&) {});
  wlan5000_->ExpectCommand("DETACH");
  ap_.ExpectExit(0);
}

TEST_F(RecorderFault, SecondSignalDuringACallEndsTheDaemonWithoutAReply) {
  StartInACall();
  ap_.daemon().Signal(SIGTERM);
  EXPECT_TRUE(WaitUntil([this] { return !ap_.CatchesSignal(SIGTERM); }));
  ap_.daemon().Signal(SIGTERM);
  constexpr std::chrono::seconds kLessThanBusTimeout(20);
  EXPECT_THAT(ap_.daemon().WaitForExit(kLessThanBusTimeout),
              ::testing::AnyOf(ExitStatus{.code = -1, .signal = SIGTERM},
                               ExitStatus{.code = 0, .signal = 0}));
}

class FlagsServiceFault : public AccessPointTest {};

// The name appears and disappears a thousand times. The daemon requests the flags each time, and
// each failure logs a line, whether the service refuses or ends before its answer.
TEST_F(FlagsServiceFault, RestartsAThousandTimes) {
  constexpr std::size_t kTimes = 1000;
  constexpr std::uint64_t kPatienceUsec = std::chrono::microseconds(kPatience).count();
  ap_.StartAll();
  const std::size_t descriptors = ap_.DescriptorCount();
  const std::int64_t kilobytes = ap_.ResidentKilobytes();
  const std::size_t warnings = ap_.LogTexts("WARNING").size();
  std::size_t reads = 0;
  for (std::size_t i = 0; i < kTimes; ++i) {
    TestPeer service;
    service.HandleCalls([&](sd_bus_message* call) {
      ++reads;
      if (i % 2 == 0) service.ReplyError(call, "org.velmora.Error.Test", "Not yet");
      return true;
    });
    service.RequestName(kFlagsName);
    while (reads == i) {
      if (sd_bus_process(service.bus(), nullptr) > 0) continue;
      ASSERT_GT(sd_bus_wait(service.bus(), kPatienceUsec), 0)
          << "the daemon did not read the flags, round " << i;
    }
  }
  // The last service stays, and its flags are read.
  ap_.StartFlags({{"connectionEventsUpload", "0"}});
  ap_.ExpectLogged("INFO", kEventsOff);
  EXPECT_EQ(reads, kTimes);
  EXPECT_EQ(ap_.LogTexts("WARNING").size() - warnings, kTimes);
  EXPECT_EQ(ap_.daemon().err().Count("Not yet"), kTimes / 2);
  if (!kIsSanitized) {
    EXPECT_LE(ap_.ResidentKilobytes(), kilobytes + 1024);
  }
  EXPECT_EQ(ap_.DescriptorCount(), descriptors);
  ap_.Settle(ap_.wlan5000());
}

TEST_F(FlagsServiceFault, MapOfTenThousandKeysIsApplied) {
  FlagMap flags = {{"connectionEventsUpload", "0"}};
  for (int i = 0; i < 10'000; ++i) flags[fmt::format("connectionEvents{:05}", i)] = "1";
  ap_.StartBus();
  WriteSalt(kSalt);
  ap_.StartFlags(flags);
  ap_.StartDaemon();
  ap_.ExpectLogged("INFO", kEventsOff);
  flags["connectionEventsUpload"] = "1";
  ap_.SetFlags(flags);
  ap_.ExpectLogged("INFO", "Set connection_event_upload to 1");
  EXPECT_THAT(ap_.LogTexts("WARNING"), IsEmpty());
}

TEST_F(FlagsServiceFault, ValueOfAMegabyteIsIgnoredOrAborts) {
  ap_.StartBus();
  WriteSalt(kSalt);
  ap_.StartFlags(
      {{"connectionEventsNote", std::string(1 << 20, '7')}, {"connectionEventsUpload", "0"}});
  ap_.StartDaemon();
  ap_.ExpectLogged("INFO", kEventsOff);
  EXPECT_THAT(ap_.LogTexts("WARNING"), IsEmpty());
  // An invalid number.
  ap_.SetFlags({{"connectionEventsUpload", std::string(1 << 20, '7')}});
  ap_.ExpectAbort("Uncaught exception: stoi");
}

}  // namespace
}  // namespace orvane::testbed
