// The daemon with the real recorder and the real flags service.

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <memory>
#include <string>

#include "testbed/access_point.h"

namespace orvane::testbed {
namespace {

using platform::FilePath;
using testing::IsEmpty;

constexpr char kConnect[] =
    "<3>AP-STA-CONNECT 00:1a:2b:3c:4d:5e timestamp:1700000000000 success:1 avg_rssi:-61";

class CompanionsTest : public AccessPointTest {
 protected:
  void Start(const std::string& flags) {
    ap_.StartBus();
    WriteSalt(kSalt);
    std::filesystem::create_directory(flags_d_);
    WriteFile(flags_d_ / "a.conf", flags);
    flags_ = StartProcess({AP_WAVELARK_FLAGS_PATH, "--directory=" + flags_d_.native()});
    StartRecorder();
    ap_.StartHostapds();
    ap_.StartDaemon({"--connection_event_upload_period=1"});
    ap_.wlan2400().Attach();
    ap_.wlan5000().Attach();
  }

  void StartRecorder() {
    recorder_ = StartProcess({AP_WAVELARK_RECORDER_PATH, "--v=1", "--database=" + path_.native()});
  }

  // Waits until the query has this result.
  void ExpectRow(const std::string& sql, const std::string& expected) {
    std::string row;
    EXPECT_TRUE(WaitUntil([&] {
      row = Query(sql);
      return row == expected;
    })) << row;
  }

  // Returns the first column of the first row, or the error while there is no such table.
  std::string Query(const std::string& sql) const {
    constexpr int kBusyTimeoutMs = 5000;
    try {
      SQLite::Database database(path_.native(), SQLite::OPEN_READWRITE, kBusyTimeoutMs);
      return database.execAndGet(sql).getString();
    } catch (const SQLite::Exception& error) {
      return error.what();
    }
  }

  FilePath path_ = ap_.directory() / "records.db";
  FilePath flags_d_ = ap_.directory() / "flags.d";
  std::unique_ptr<ChildProcess> flags_;
  std::unique_ptr<ChildProcess> recorder_;
};

TEST_F(CompanionsTest, EventsOfBothBandsBecomeRows) {
  Start("");
  ap_.wlan5000().Send(kConnect);
  ap_.wlan2400().Send("<3>AP-STA-DISCONNECT 00:1a:2b:3c:4d:5e reason:deauth_cli");
  ExpectRow("SELECT count(*) FROM client_events", "2");
  EXPECT_EQ(Query("SELECT interface || event_time_in_milliseconds || is_event_success ||"
                  " average_rssi_in_dbm FROM client_events WHERE event_type = 'CONNECT'"),
            "WLAN_5000MHZ17000000000001-61");
  EXPECT_EQ(Query("SELECT interface || event_type FROM timeline WHERE event_type = 'DISCONNECT'"),
            "WLAN_2400MHZDISCONNECT");
  EXPECT_EQ(Query("SELECT count(DISTINCT client_shmac) FROM client_events"), "1");
}

TEST_F(CompanionsTest, RecorderContinuesAfterAKill) {
  Start("");
  ap_.wlan5000().Send(kConnect);
  ExpectRow("SELECT count(*) FROM records", "1");
  recorder_->Signal(SIGKILL);
  ASSERT_TRUE(recorder_->WaitForExit(kPatience).has_value());
  ap_.wlan5000().Send(kConnect);
  EXPECT_TRUE(ap_.daemon().err().WaitForLine("Error recording offline data", kPatience));
  StartRecorder();
  // The recorder owns its name when the first record arrives.
  EXPECT_TRUE(WaitUntil([this] {
    ap_.wlan5000().Send(kConnect);
    return Query("SELECT count(*) > 1 FROM records") == "1";
  }));
}

TEST_F(CompanionsTest, OnlyValidSettingsReachTheDaemon) {
  Start("connectionEventsProbeReqUpload = 0\n");
  ap_.ExpectLogged("INFO", "Set probe_req_event_upload to 0");
  WriteFile(flags_d_ / "b.conf", "connectionEventsProbeReqUpload=yes\n");
  EXPECT_TRUE(flags_->err().WaitForLine("stay in force", kPatience));
  WriteFile(flags_d_ / "b.conf", "connectionEventsProbeReqUpload=1\n");
  ap_.ExpectLogged("INFO", "Set probe_req_event_upload to 1");
  std::filesystem::remove(flags_d_ / "b.conf");
  ap_.ExpectLogged("INFO", "Set probe_req_event_upload to 0", 2);
  EXPECT_THAT(ap_.LogTexts("FATAL"), IsEmpty());
  ap_.ExpectQuickExit(SIGTERM);
}

}  // namespace
}  // namespace orvane::testbed
