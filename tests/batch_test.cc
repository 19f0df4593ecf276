// When records are uploaded, how they are batched, and how stations are identified in them.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include "testbed/access_point.h"
#include "testbed/record_matchers.h"

namespace orvane::testbed {
namespace {

using access_infrastructure::proto::Event;
using std::chrono::milliseconds;
using ::testing::HasSubstr;

constexpr char kLine[] = "<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e";
constexpr char kDigits[] = "001a2b3c4d5e";
constexpr char kNoSalt[] = "Unable to load encryption salt";

class BatchTest : public AccessPointTest {
 protected:
  static std::int64_t FirstTime(const Event& event) {
    return static_cast<std::int64_t>(event.client_event_info(0).event_time_in_milliseconds());
  }
};

TEST_F(BatchTest, UploadsOnePeriodAfterTheFirstEvent) {
  ap_.StartAll();
  for (std::size_t batch = 1; batch <= 2; ++batch) {
    // Later events do not delay the upload. Otherwise these events would prevent it.
    EXPECT_TRUE(WaitUntil([&] {
      ap_.wlan5000().Send(kLine);
      std::this_thread::sleep_for(milliseconds(200));
      return ap_.HasRecord(batch);
    }));
    const std::int64_t time = ap_.ReceivedMs(batch) - FirstTime(ap_.WaitForRecord(batch).event);
    RecordProperty("first_event_to_upload_ms", std::to_string(time));
    EXPECT_GE(time,
              999);  // the event's time is truncated to whole milliseconds, the timer's is not
  }
}

TEST_F(BatchTest, EventTimeIsTheTimeOfArrival) {
  ap_.StartAll();
  const auto now = [] {
    return std::chrono::floor<milliseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const std::int64_t before = now();
  ap_.wlan5000().Send(kLine);
  ap_.Settle(ap_.wlan5000());
  const std::int64_t after = now();
  const std::int64_t time = FirstTime(ap_.WaitForRecord(1).event);
  EXPECT_GE(time, before);
  EXPECT_LE(time, after);
}

TEST_F(BatchTest, UploadsOneRecordPerInterfaceInNameOrder) {
  ap_.StartAll();
  ap_.Hold();
  ap_.wlan5000().Send("<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e timestamp:1");
  ap_.wlan2400().Send("<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e timestamp:2");
  ap_.wlan5000().Send("<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e timestamp:3");
  ap_.Release();
  const Record first = ap_.WaitForRecord(1);
  const Record second = ap_.WaitForRecord(2);
  EXPECT_EQ(first.type, kEventTypeUrl);
  EXPECT_EQ(second.type, kEventTypeUrl);
  const std::string info = fmt::format(
      "client_event_info {{ client_shmac: \"{}\" event_type: AUTHENTICATE "
      "event_time_in_milliseconds: ",
      Identifier(kSalt, kDigits));
  EXPECT_THAT(first.event, EqualsProto(EventOf("interface: WLAN_2400MHZ " + info + "2 }")));
  EXPECT_THAT(second.event,
              EqualsProto(EventOf("interface: WLAN_5000MHZ " + info + "1 } " + info + "3 }")));
  // One timer, started by the first event, has uploaded both, and nothing is left.
  std::this_thread::sleep_for(milliseconds(1200));
  EXPECT_EQ(ap_.RecordCount(), 2U);
}

TEST_F(BatchTest, VerboseLogContainsTheRecord) {
  ap_.StartAll();
  ap_.wlan5000().Send("<3>AP-STA-AUTH nobody timestamp:5 frame_rssi:-9");
  ap_.WaitForRecord(1);
  ap_.ExpectLogged("VERBOSE1", "Upload Event:'<begin>'");
  ap_.ExpectLogged("", "'<end>'");
  EXPECT_THAT(ap_.daemon().err().Text(), HasSubstr("Upload Event:'<begin>'\n"
                                                   "interface: WLAN_5000MHZ\n"
                                                   "client_event_info {\n"
                                                   "  event_time_in_milliseconds: 5\n"
                                                   "  event_type: AUTHENTICATE\n"
                                                   "  event_frame_rssi_in_dbm: -9\n"
                                                   "}\n"
                                                   "'<end>'\n"));
  ap_.ExpectLogged("VERBOSE1", "EventCallback: wlan-5000mhz event: kStationAuth mac: nobody");
}

TEST_F(BatchTest, DisabledUploaderIgnoresEventsAndUploadsPendingOnes) {
  ap_.StartAll();
  ap_.StartFlags({{"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", "Set connection_event_upload to 1");
  ap_.wlan5000().Send("<3>AP-STA-AUTH nobody timestamp:1");
  ap_.Settle(ap_.wlan5000());
  ap_.SetFlags({{"connectionEvents", "disabled"}});
  ap_.ExpectLogged("INFO", " Connection event upload disabled ");
  ap_.wlan5000().Send("<3>AP-STA-AUTH nobody timestamp:2");
  ap_.Settle(ap_.wlan5000());
  const auto info = [](int time) {
    return fmt::format(
        "client_event_info {{ event_type: AUTHENTICATE event_time_in_milliseconds: {} }}", time);
  };
  EXPECT_THAT(ap_.WaitForRecord(1).event,
              EqualsProto(EventOf("interface: WLAN_5000MHZ " + info(1))));
  EXPECT_EQ(ap_.LogCount("VERBOSE1", "EventCallback: wlan-5000mhz event: kStationAuth mac: nobody"),
            1U);
  ap_.SetFlags({{"connectionEvents", "enabled"}});
  ap_.ExpectLogged("INFO", " Connection event upload enabled ", 2);
  ap_.wlan5000().Send("<3>AP-STA-AUTH nobody timestamp:3");
  EXPECT_THAT(ap_.WaitForRecord(2).event,
              EqualsProto(EventOf("interface: WLAN_5000MHZ " + info(3))));
}

TEST_F(BatchTest, PendingEventsAreNotUploadedAtTheEnd) {
  ap_.StartAll({"--connection_event_upload_period=600"});
  ap_.wlan5000().Send(kLine);
  ap_.Settle(ap_.wlan5000());
  ap_.ExpectQuickExit(SIGTERM);
  std::this_thread::sleep_for(milliseconds(100));
  EXPECT_EQ(ap_.RecordCount(), 0U);
}

// Tests of the salt file.

class SaltTest : public AccessPointTest {
 protected:
  void Begin() {
    ap_.StartBus();
    ap_.StartRecorder();
    wlan_.emplace(kWlan2400);
    ap_.StartDaemon({"--connection_event_upload_period=1"});
    wlan_->Attach();
  }

  // Sends another event. Returns the identifier in record `number`.
  std::string NextIdentifier(std::size_t number) {
    wlan_->Send(kLine);
    return ap_.WaitForRecord(number).event.client_event_info(0).client_shmac();
  }

  std::optional<Hostapd> wlan_;
};

TEST_F(SaltTest, EveryByteOfTheFileIsUsed) {
  const std::string salt("\0salt\xff\n \n", 9);
  WriteSalt(salt);
  Begin();
  EXPECT_EQ(NextIdentifier(1), Identifier(salt, kDigits));
  EXPECT_EQ(ap_.LogCount("WARNING", kNoSalt), 0U);
}

TEST_F(SaltTest, LargeFileIsUsed) {
  const std::string salt(3'000'000, 's');
  WriteSalt(salt);
  Begin();
  EXPECT_EQ(NextIdentifier(1), Identifier(salt, kDigits));
}

TEST_F(SaltTest, FileThatAppearsLaterIsUsed) {
  Begin();
  EXPECT_EQ(ap_.LogCount("WARNING", kNoSalt), 1U);
  wlan_->Send(kLine);
  EXPECT_FALSE(ap_.WaitForRecord(1).event.client_event_info(0).has_client_shmac());
  EXPECT_GT(ap_.LogCount("WARNING", kNoSalt), 1U);
  WriteSalt("late");
  EXPECT_EQ(NextIdentifier(2), Identifier("late", kDigits));
  // A non-empty salt never changes.
  WriteSalt("other");
  EXPECT_EQ(NextIdentifier(3), Identifier("late", kDigits));
}

TEST_F(SaltTest, EmptyFileIsReadAgain) {
  WriteSalt("");
  Begin();
  EXPECT_EQ(NextIdentifier(1), Identifier("", kDigits));
  EXPECT_EQ(ap_.LogCount("WARNING", kNoSalt), 0U);
  WriteSalt("now");
  EXPECT_EQ(NextIdentifier(2), Identifier("now", kDigits));
}

}  // namespace
}  // namespace orvane::testbed
