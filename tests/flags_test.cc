// How the daemon uses the map of the flags service.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <systemd/sd-bus.h>

#include <ostream>
#include <string>

#include "testbed/access_point.h"
#include "testbed/test_peer.h"

namespace orvane::testbed {
namespace {

using ::testing::ElementsAre;

constexpr char kOn[] = " Connection event upload enabled ";
constexpr char kOff[] = " Connection event upload disabled ";
constexpr char kEventsOff[] = "Set connection_event_upload to 0";
constexpr char kEventsOn[] = "Set connection_event_upload to 1";
constexpr char kProbesOff[] = "Set probe_req_event_upload to 0";
constexpr char kProbesOn[] = "Set probe_req_event_upload to 1";
constexpr char kStarting[] = "Starting the daemon";

class FlagsTest : public AccessPointTest {
 protected:
  void StartWith(const FlagMap& flags, const Arguments& options = {}) {
    ap_.StartBus();
    ap_.StartFlags(flags, options);
    ap_.StartDaemon();
  }

  // Expects the WARNING of a failed reading with this reason.
  void ExpectReadFailure(const std::string& reason) {
    ap_.ExpectLogged(
        "WARNING",
        "Failed to read the properties org.velmora.ap.Flags of org.velmora.ap.Flags at "
        "/org/velmora/ap/Flags: " +
            reason);
  }
};

TEST_F(FlagsTest, AreAppliedAtTheStartInKeyOrder) {
  StartWith({{"connectionEventsUpload", "0"},
             {"connectionEventsProbeReqUpload", " 17 stations"},
             {"connectionEvents", "disabled"},
             {"somethingElse", "not a number"}});
  ap_.ExpectLogged("INFO", kEventsOff);
  EXPECT_THAT(ap_.LogTexts("INFO"), ElementsAre(kStarting, kOn, kOff, kProbesOn, kEventsOff));
}

TEST_F(FlagsTest, ChangesAreApplied) {
  StartWith({{"connectionEvents", "enabled"}, {"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", kEventsOn);
  ap_.SetFlags({{"connectionEvents", "disabled"}, {"connectionEventsUpload", "0"}});
  ap_.ExpectLogged("INFO", kEventsOff);
  ap_.SetFlags({{"connectionEvents", "disabled"}, {"connectionEventsUpload", "-3"}});
  ap_.ExpectLogged("INFO", kEventsOn, 2);
  ap_.SetFlags({{"connectionEvents", "enabled"}, {"connectionEventsProbeReqUpload", "0"}});
  ap_.ExpectLogged("INFO", kProbesOff);
  // Services switch only if their state changes; values are set with every map.
  EXPECT_THAT(ap_.LogTexts("INFO"),
              ElementsAre(kStarting, kOn, kEventsOn, kOff, kEventsOff, kEventsOn, kOn, kProbesOff));
}

TEST_F(FlagsTest, OnlyTheExactWordsSwitch) {
  StartWith({{"connectionEvents", "Disabled"}, {"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", kEventsOn);
  EXPECT_THAT(ap_.LogTexts("INFO"), ElementsAre(kStarting, kOn, kEventsOn));
}

TEST_F(FlagsTest, UploaderCanBeSwitchedOnLater) {
  constexpr char kHeard[] = "EventCallback: wlan-2400mhz event: kStationAuth mac: ";
  ap_.StartAll({"--noenable_connection_event_stats"});
  ap_.wlan2400().Send("<3>AP-STA-AUTH early");
  ap_.Settle(ap_.wlan2400());
  ap_.StartFlags({{"connectionEvents", "enabled"}});
  ap_.ExpectLogged("INFO", kOn);
  // It has received events all the time.
  ap_.wlan2400().Send("<3>AP-STA-AUTH late");
  EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info_size(), 1);
  EXPECT_EQ(ap_.LogCount("VERBOSE1", std::string(kHeard) + "early"), 0U);
  EXPECT_EQ(ap_.LogCount("VERBOSE1", std::string(kHeard) + "late"), 1U);
}

TEST_F(FlagsTest, KeyMayContainTheNameAnywhere) {
  StartWith({{"x.connectionEvents", "disabled"},
             {"connectionEventsUpload.", "0"},
             {"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", kEventsOn);
  EXPECT_THAT(ap_.LogTexts("INFO"), ElementsAre(kStarting, kOn, kEventsOn));
}

struct NotANumber {
  const char* key;
  const char* value;

  friend std::ostream& operator<<(std::ostream& stream, const NotANumber& flag) {
    return stream << flag.key << "=" << flag.value;
  }
};

class MalformedFlagTest : public FlagsTest, public ::testing::WithParamInterface<NotANumber> {};

TEST_P(MalformedFlagTest, InitialValueEndsTheProcess) {
  ap_.StartBus();
  ap_.StartFlags({{GetParam().key, GetParam().value}});
  ap_.LaunchDaemon();
  ap_.ExpectAbort("stoi");
}

TEST_P(MalformedFlagTest, ChangedValueEndsTheProcess) {
  StartWith({{"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", kEventsOn);
  ap_.SetFlags({{GetParam().key, GetParam().value}});
  ap_.ExpectAbort("stoi");
}

INSTANTIATE_TEST_SUITE_P(
    Flag, MalformedFlagTest,
    ::testing::Values(NotANumber{"connectionEventsUpload", "on"},
                      NotANumber{"connectionEventsUpload", ""},
                      NotANumber{"connectionEventsProbeReqUpload", "2147483648"},
                      NotANumber{"connectionEventsProbeReqUpload", "-2147483649"}),
    [](const auto& param_info) { return "Case" + std::to_string(param_info.index); });

TEST_F(FlagsTest, ExtraVariantIsAccepted) {
  StartWith({{"connectionEventsUpload", "0"}}, {"--extra-variant"});
  ap_.ExpectLogged("INFO", kEventsOff);
  ap_.SetFlags({{"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", kEventsOn);
}

// The second value of each key is not a number, which would abort the daemon.
TEST_F(FlagsTest, FirstOfDuplicateKeysWins) {
  StartWith({{"connectionEventsUpload", "0"}, {"connectionEventsProbeReqUpload", "1"}},
            {"--duplicate-keys"});
  ap_.ExpectLogged("INFO", kEventsOff);
  EXPECT_THAT(ap_.LogTexts("INFO"), ElementsAre(kStarting, kOn, kProbesOn, kEventsOff));
}

class WrongTypeTest : public FlagsTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(WrongTypeTest, IsNotApplied) {
  StartWith({{"connectionEventsUpload", "0"}}, {"--wrong-type", GetParam()});
  ExpectReadFailure("the value of Flags is malformed");
  ap_.SetFlags({{"connectionEventsUpload", "1"}});
  WaitUntil([&] { return ap_.LogTexts("WARNING").size() >= 2; });
  EXPECT_THAT(ap_.LogTexts("INFO"), ElementsAre(kStarting, kOn));
  // The next valid value replaces the map.
  ap_.StartFlags({{"connectionEventsProbeReqUpload", "1"}});
  ap_.ExpectLogged("INFO", kProbesOn);
  EXPECT_THAT(ap_.LogTexts("INFO"), ElementsAre(kStarting, kOn, kProbesOn));
}

INSTANTIATE_TEST_SUITE_P(Signature, WrongTypeTest,
                         ::testing::Values("s", "i", "as", "a{sv}", "a{si}", "a(ss)"),
                         [](const auto& param_info) {
                           return "Case" + std::to_string(param_info.index);
                         });

TEST_F(FlagsTest, ServiceThatStartsLaterIsRead) {
  ap_.StartBus();
  ap_.StartDaemon();
  ExpectReadFailure(
      "org.freedesktop.DBus.Error.ServiceUnknown: The name org.velmora.ap.Flags was not provided "
      "by any .service files");
  ap_.StartFlags({{"connectionEventsUpload", "0"}}, {"--late", "0.2"});
  ap_.ExpectLogged("INFO", kEventsOff);
  ap_.SetFlags({{"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", kEventsOn);
}

TEST_F(FlagsTest, RestartedServiceIsReadAgain) {
  StartWith({{"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", kEventsOn);
  ap_.flags_service().Signal(SIGKILL);
  ap_.StartFlags({{"connectionEventsUpload", "0"}});
  ap_.ExpectLogged("INFO", kEventsOff);
  ap_.SetFlags({{"connectionEventsProbeReqUpload", "1"}});
  ap_.ExpectLogged("INFO", kProbesOn);
}

TEST_F(FlagsTest, SlowServiceDoesNotBlockTheDaemon) {
  ap_.StartBus();
  Hostapd wlan2400(kWlan2400);
  ap_.StartFlags({{"connectionEventsUpload", "0"}});
  ap_.flags_service().Signal(SIGSTOP);
  ap_.StartDaemon();
  wlan2400.Attach();
  ap_.Settle(wlan2400);
  EXPECT_EQ(ap_.LogCount("INFO", kEventsOff), 0U);
  ap_.flags_service().Signal(SIGCONT);
  ap_.ExpectLogged("INFO", kEventsOff);
}

TEST_F(FlagsTest, ErrorReplyChangesNothing) {
  StartWith({{"connectionEventsUpload", "0"}}, {"--error", "org.velmora.Error.Test"});
  ExpectReadFailure("org.velmora.Error.Test: As asked for");
  EXPECT_THAT(ap_.LogTexts("INFO"), ElementsAre(kStarting, kOn));
  // Its signals are still used.
  ap_.SetFlags({{"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", kEventsOn);
}

// Emits a change signal like the flags service's own, as a broadcast if there is no destination.
void EmitChange(TestPeer& peer, const char* interface, const char* path,
                const char* destination = nullptr) {
  sd_bus_message* signal = nullptr;
  ASSERT_GE(sd_bus_message_new_signal(peer.bus(), &signal, path, "org.freedesktop.DBus.Properties",
                                      "PropertiesChanged"),
            0);
  ASSERT_GE(sd_bus_message_append(signal, "sa{sv}as", interface, 1, "Flags", "a{ss}", 1,
                                  "connectionEventsUpload", "not a number", 0),
            0);
  if (destination != nullptr) {
    ASSERT_GE(sd_bus_message_set_destination(signal, destination), 0);
  }
  ASSERT_GE(sd_bus_send(peer.bus(), signal, nullptr), 0);
  sd_bus_message_unref(signal);
  sd_bus_flush(peer.bus());
}

TEST_F(FlagsTest, SignalsOfOtherSendersChangeNothing) {
  StartWith({{"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", kEventsOn);
  TestPeer other;
  EmitChange(other, "org.velmora.ap.Flags", "/org/velmora/ap/Flags");
  EmitChange(other, "org.velmora.ap.Other", "/org/velmora/ap/Flags");
  // The bus filters broadcasts of other senders, but not messages to the daemon itself.
  EmitChange(other, "org.velmora.ap.Flags", "/org/velmora/ap/Flags", "org.velmora.ap.Wavelark");
  ap_.SetFlags({{"connectionEventsUpload", "0"}});
  ap_.ExpectLogged("INFO", kEventsOff);
}

TEST_F(FlagsTest, OtherSignalsOfTheServiceChangeNothing) {
  ap_.StartBus();
  TestPeer service;  // only signals, has no answers
  service.RequestName("org.velmora.ap.Flags");
  Hostapd wlan2400(kWlan2400);
  ap_.StartDaemon();
  wlan2400.Attach();
  EmitChange(service, "org.velmora.ap.Other", "/org/velmora/ap/Flags");
  EmitChange(service, "org.velmora.ap.Flags", "/org/velmora/ap/Other");
  ap_.Settle(wlan2400);
  EmitChange(service, "org.velmora.ap.Flags", "/org/velmora/ap/Flags");
  ap_.ExpectAbort("stoi");
  EXPECT_EQ(ap_.LogCount("INFO", "Received unknown event: SETTLE-1"), 1U);
}

}  // namespace
}  // namespace orvane::testbed
