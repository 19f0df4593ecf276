// The subcommand "check" on a bare machine, on a good one, on one with many faults, and with each
// fault alone.

#include "wavelarkctl/check/check.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "testbed/bus_fixture.h"
#include "testbed/child_process.h"
#include "testbed/hostapd.h"
#include "testbed/log_capture.h"
#include "testbed/temporary_directory.h"
#include "testbed/test_peer.h"
#include "testbed/wait_until.h"
#include "wavelarkctl/check/checks.h"

namespace orvane::wavelarkctl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

constexpr char kSalt[] = "/var/lib/ap/monitor/station_id_salt";
constexpr char kSbin[] = "/usr/sbin:/usr/bin:/sbin:/bin";
constexpr unsigned kStrangerId = 64'899;

// The packaged unit, without a fault.
UnitState RunningUnit() {
  return {.load = "loaded",
          .active = "active",
          .result = "success",
          .settings = {{"Type", "notify"},
                       {"Restart", "on-failure"},
                       {"User", "ap-wavelark"},
                       {"PrivateNetwork", "no"},
                       {"RestrictAddressFamilies", "AF_NETLINK AF_UNIX"}}};
}

// A machine in a directory of the test. It is empty at first.
class MachineOnPaper {
 public:
  MachineOnPaper() {
    machine_.root = directory_.path();
    machine_.interface_index = [](const std::string&) { return 0u; };
    machine_.interface_name = [](unsigned) { return std::string("wlan0"); };
    machine_.has_nl80211 = [] { return false; };
    machine_.is_clock_synchronized = [] { return false; };
    machine_.unit = [](BusProbe&) { return std::optional<UnitState>(); };
  }

  // Adds all files, and the answers of the kernel and of systemd. The daemon's user is the one that
  // runs the test.
  void SetUpFiles() {
    machine_.interface_index = [](const std::string& name) {
      return name == "wlan-2400mhz" ? 3u : 4u;
    };
    machine_.interface_name = [](unsigned index) {
      return std::string(index == 3 ? "wlan-2400mhz" : "wlp1s0");
    };
    machine_.has_nl80211 = [] { return true; };
    machine_.is_clock_synchronized = [] { return true; };
    machine_.unit = [](BusProbe&) { return std::optional(RunningUnit()); };
    Write("/usr/sbin/ap-wavelark", "");
    SetUserId(geteuid());
    Write("/etc/group", fmt::format("ap-wavelark:x:{}:\nwifi:x:64900:ap-wavelark\n", getegid()));
    Write("/etc/default/ap-wavelark", "DAEMON_OPTS=\"--enable_client_steering\"\n");
    Write("/usr/share/dbus-1/system.d/org.velmora.ap.Wavelark.conf",
          "<allow own=\"org.velmora.ap.Wavelark\"/>");
    Write("/sys/class/net/wlan-2400mhz/phy80211/index", "0");
    Write("/sys/class/net/wlp1s0/phy80211/index", "1");
    Write(kSalt, std::string(32, 's'), 0640);
    Write("/run/hostapd/.kept", "");
  }

  void SetUserId(unsigned uid) {
    Write("/etc/passwd", fmt::format("root:x:0:0::/:/bin/sh\nap-wavelark:x:{}:{}::/:/bin/false\n",
                                     uid, getegid()));
  }

  platform::FilePath Path(const std::string& path) const { return machine_.At(path); }

  void Write(const std::string& path, const std::string& text, mode_t mode = 0644) const {
    std::filesystem::create_directories(Path(path).parent_path());
    testbed::WriteFile(Path(path), text);
    EXPECT_EQ(chmod(Path(path).c_str(), mode), 0);
  }

  // What the check prints. The numbers of processes are replaced by N, the directory by nothing.
  std::string Run(ExitStatus expected) {
    std::ostringstream out;
    EXPECT_EQ(RunChecks(machine_, {}, out), expected);
    std::string text = std::regex_replace(out.str(), std::regex("process [0-9]+"), "process N");
    return std::regex_replace(text, std::regex(directory_.path().native()), "");
  }

  // Each finding of one check as "LEVEL: TEXT".
  std::vector<std::string> Find(Findings (*check)(Machine&)) {
    std::vector<std::string> texts;
    for (const Finding& finding : check(machine_)) {
      texts.push_back(fmt::format("{}: {}", LevelText(finding.level), finding.text));
      EXPECT_EQ(finding.advice.empty(), finding.level == Level::kOk) << finding.text;
    }
    return texts;
  }

  Machine& machine() { return machine_; }

 private:
  testbed::TemporaryDirectory directory_;
  Machine machine_;
};

// Debian's hostapd without a radio, for one interface.
class SmallHostapd {
 public:
  SmallHostapd(const MachineOnPaper& paper, const std::string& interface) {
    const std::string config = "/etc/hostapd/" + interface + ".conf";
    paper.Write(config, fmt::format("interface={}\ndriver=none\nctrl_interface={}\n", interface,
                                    paper.Path("/run/hostapd").native()));
    process_ = testbed::StartProcess({"hostapd", "-d", paper.Path(config)}, {{"PATH", kSbin}});
    EXPECT_TRUE(process_->out().WaitForLine("AP-ENABLED", testbed::kPatience))
        << process_->out().Text();
  }

 private:
  std::unique_ptr<testbed::ChildProcess> process_;
};

class CheckTest : public testing::Test {
 protected:
  CheckTest() { paper_.SetUpFiles(); }

  testbed::SilentLog silent_log_;
  MachineOnPaper paper_;
};

TEST(BareMachineTest, HasAllFaults) {
  const testbed::SilentLog silent_log;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  MachineOnPaper paper;
  EXPECT_EQ(paper.Run(ExitStatus::kFound),
            R"(failure  program    /usr/sbin/ap-wavelark is missing
                    -> apt install ap-wavelark
failure  user       there is no user ap-wavelark
                    -> systemd-sysusers, or install the package again
failure  interface  there is no interface wlan-2400mhz
                    -> rename it, or add an alternative name: ip link property add dev wlan0 altname wlan-2400mhz
failure  interface  there is no interface wlan-5000mhz
                    -> rename it, or add an alternative name: ip link property add dev wlan0 altname wlan-5000mhz
failure  nl80211    the kernel has no nl80211
                    -> modprobe cfg80211, then restart the daemon: it looks for nl80211 only at its start
failure  hostapd    /run/hostapd is missing
                    -> set ctrl_interface=/run/hostapd in hostapd's configuration, systemd-tmpfiles --create, then restart the daemon
failure  bus        the system bus: No such file or directory (2)
                    -> systemctl restart dbus.socket dbus
warning  flags      can't be checked without the bus
                    -> see the finding about the bus
ok       settings   steering is off
ok       settings   event reporting is on
warning  recorder   can't be checked without the bus
                    -> see the finding about the bus
failure  salt       /var/lib/ap/monitor/station_id_salt is missing: records have no identifiers
                    -> head -c 32 /dev/urandom | install -D -m 0640 -g ap-wavelark /dev/stdin /var/lib/ap/monitor/station_id_salt
warning  unit       systemd does not answer, so the unit can't be checked
                    -> run the check where the daemon runs
warning  clock      the clock is not synchronized: setting it moves the times of steers
                    -> start a time service, such as systemd-timesyncd
2 ok, 4 warnings, 8 failures
)");
}

// A machine with a bus of its own, on which the test owns the daemon's name.
class MachineOnBusTest : public testbed::BusTest {
 protected:
  MachineOnBusTest() {
    paper_.SetUpFiles();
    EXPECT_TRUE(connection_->RequestName("org.velmora.ap.Wavelark", nullptr));
  }

  void StartService(const std::string& name, const std::vector<std::string>& arguments) {
    services_.push_back(testbed::StartProcess(arguments));
    EXPECT_TRUE(testbed::WaitUntil([&] { return BusProbe().FindOwner(name).has_value(); }))
        << services_.back()->err().Text();
  }
  void StartFlagsService() {
    const platform::FilePath directory = paper_.Path("/etc/ap-wavelark/flags.d");
    std::filesystem::create_directories(directory);
    StartService("org.velmora.ap.Flags",
                 {AP_WAVELARK_FLAGS_PATH, "--directory=" + directory.native()});
  }
  void StartRecorder() {
    StartService("org.velmora.ap.Quillary",
                 {AP_WAVELARK_RECORDER_PATH, "--database=" + paper_.Path("/records.db").native()});
  }

  testbed::SilentLog silent_log_;
  MachineOnPaper paper_;
  std::vector<std::unique_ptr<testbed::ChildProcess>> services_;
};

TEST_F(MachineOnBusTest, AGoodMachineIsOk) {
  paper_.Write("/etc/ap-wavelark/flags.d/50.conf", "clientSteeringRootLqmFloor=35\n");
  StartFlagsService();
  StartRecorder();
  const SmallHostapd wlan2400(paper_, "wlan-2400mhz");
  const SmallHostapd wlan5000(paper_, "wlan-5000mhz");
  EXPECT_EQ(paper_.Run(ExitStatus::kOk),
            fmt::format(R"(ok       program    /usr/sbin/ap-wavelark exists
ok       user       ap-wavelark is in the groups ap-wavelark wifi
ok       interface  wlan-2400mhz has index 3
ok       interface  wlan-5000mhz is wlp1s0, index 4
ok       nl80211    the kernel has nl80211
ok       hostapd    ap-wavelark can read /run/hostapd
ok       hostapd    /run/hostapd/wlan-2400mhz answers
ok       hostapd    /run/hostapd/wlan-5000mhz answers
ok       bus        the system bus answers
ok       bus        org.velmora.ap.Wavelark belongs to process N
ok       flags      org.velmora.ap.Flags belongs to process N
ok       settings   steering is on: floor 35, hysteresis 15, steer interval 10m, poll interval 1m
ok       settings   event reporting is on
ok       recorder   org.velmora.ap.Quillary belongs to process N
ok       salt       {} has 32 bytes
ok       unit       ap-wavelark.service is active
ok       sandbox    the unit's settings allow what the daemon needs
ok       clock      the clock is synchronized
18 ok, 0 warnings, 0 failures
)",
                        kSalt));
}

TEST_F(MachineOnBusTest, ManyFaultsAtOnceAreAllFound) {
  paper_.Write("/etc/default/ap-wavelark",
               "DAEMON_OPTS=\"--enable_client_steering --client_steering_root_lqm_floor=300 "
               "--client_steering_lqm_hysteresis=50\"\n");
  paper_.Write("/etc/ap-wavelark/flags.d/50.conf", "clientSteeringInterval=soon\n");
  paper_.Write(kSalt, std::string(32, 's'), 0644);
  paper_.machine().unit = [](BusProbe&) {
    UnitState unit = RunningUnit();
    unit.restarts = 7;
    unit.settings["PrivateNetwork"] = "yes";
    return std::optional(unit);
  };
  std::filesystem::remove_all(paper_.Path("/sys/class/net/wlp1s0/phy80211"));
  StartFlagsService();
  testbed::Hostapd::Kill(
      std::make_unique<testbed::Hostapd>(paper_.Path("/run/hostapd/wlan-2400mhz")));
  const testbed::Hostapd hung(paper_.Path("/run/hostapd/wlan-5000mhz"));
  EXPECT_EQ(paper_.Run(ExitStatus::kFound),
            R"(ok       program    /usr/sbin/ap-wavelark exists
ok       user       ap-wavelark is in the groups ap-wavelark wifi
ok       interface  wlan-2400mhz has index 3
failure  interface  wlan-5000mhz is wlp1s0, index 4, but is not a Wi-Fi interface
                    -> give this name to a Wi-Fi interface
ok       nl80211    the kernel has nl80211
ok       hostapd    ap-wavelark can read /run/hostapd
failure  hostapd    /run/hostapd/wlan-2400mhz is left over from an earlier hostapd
                    -> start hostapd
failure  hostapd    /run/hostapd/wlan-5000mhz does not answer within 2 s
                    -> restart hostapd
ok       bus        the system bus answers
ok       bus        org.velmora.ap.Wavelark belongs to process N
ok       flags      org.velmora.ap.Flags belongs to process N
failure  flags      /etc/ap-wavelark/flags.d/50.conf:1: the value of clientSteeringInterval is not a number
                    -> correct it: until then no change of the files takes effect
ok       settings   steering is on: floor 44, hysteresis 50, steer interval 10m, poll interval 1m
warning  settings   with floor 44 and hysteresis 50 no client is ever steered for the first time
                    -> set the floor at least 10 above the hysteresis
ok       settings   event reporting is on
warning  settings   client_steering_root_lqm_floor=300 is truncated to 44
                    -> use a value from 0 to 255
warning  recorder   org.velmora.ap.Quillary has no owner: each batch of events is dropped
                    -> apt install ap-wavelark-recorder
failure  salt       /var/lib/ap/monitor/station_id_salt has mode 0644: any user can read or write it
                    -> chgrp ap-wavelark /var/lib/ap/monitor/station_id_salt && chmod 0640 /var/lib/ap/monitor/station_id_salt; users may have read it already
ok       unit       ap-wavelark.service is active
warning  unit       it was restarted 7 times
                    -> journalctl -u ap-wavelark -p err
failure  sandbox    the unit has PrivateNetwork=yes: the daemon can't reach nl80211 and hostapd
                    -> systemctl cat ap-wavelark shows the file: remove that line, then systemctl daemon-reload and restart the daemon
ok       clock      the clock is synchronized
12 ok, 4 warnings, 6 failures
)");
}

TEST_F(MachineOnBusTest, AServiceThatHangsDelaysTheCheckOnlyBriefly) {
  ASSERT_TRUE(connection_->RequestName("org.velmora.ap.Flags", nullptr));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THAT(paper_.Find(CheckFlagsService),
              ElementsAre(fmt::format("ok: org.velmora.ap.Flags belongs to process {}", getpid()),
                          "warning: its settings can't be read: no answer within 2 s"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

// A systemd with a single unit.
class FakeSystemd {
 public:
  explicit FakeSystemd(const std::string& load_state = "loaded") {
    peer_.RequestName("org.freedesktop.systemd1");
    peer_.HandleCalls([load_state](sd_bus_message* call) { return Answer(call, load_state); });
    // Started last: only the thread may use the peer while it runs.
    thread_.emplace(peer_);
  }

 private:
  static bool Answer(sd_bus_message* call, const std::string& load_state) {
    const char* interface = nullptr;
    const char* name = nullptr;
    if (sd_bus_message_is_method_call(call, "org.freedesktop.systemd1.Manager", "LoadUnit") > 0) {
      EXPECT_GT(sd_bus_message_read(call, "s", &name), 0);
      EXPECT_STREQ(name, "ap-wavelark.service");
      return sd_bus_reply_method_return(call, "o", "/unit") >= 0;
    }
    if (sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Properties", "Get") <= 0) {
      return false;
    }
    EXPECT_GT(sd_bus_message_read(call, "ss", &interface, &name), 0);
    EXPECT_STREQ(sd_bus_message_get_path(call), "/unit");
    if (name == std::string_view("LoadState")) {
      return sd_bus_reply_method_return(call, "v", "s", load_state.c_str()) >= 0;
    }
    return Reply(call, std::string(interface) + "." + name) >= 0;
  }

  static int Reply(sd_bus_message* call, const std::string& property) {
    static const std::map<std::string, std::string> kTexts = {{"Unit.ActiveState", "failed"},
                                                              {"Service.Result", "watchdog"},
                                                              {"Service.Type", "simple"},
                                                              {"Service.Restart", "no"},
                                                              {"Service.User", "root"}};
    const std::string name = property.substr(std::strlen("org.freedesktop.systemd1."));
    const auto text = kTexts.find(name);
    if (text != kTexts.end()) {
      return sd_bus_reply_method_return(call, "v", "s", text->second.c_str());
    }
    if (name == "Service.NRestarts") return sd_bus_reply_method_return(call, "v", "u", 7);
    if (name == "Service.RestrictAddressFamilies") {
      return sd_bus_reply_method_return(call, "v", "(bas)", 0, 2, "AF_INET", "AF_UNIX");
    }
    return sd_bus_reply_method_return(call, "v", "b", 1);
  }

  testbed::TestPeer peer_;
  std::optional<testbed::PeerThread> thread_;
};

TEST_F(MachineOnBusTest, TheUnitIsReadFromSystemd) {
  EXPECT_FALSE(BusProbe().FindUnit("ap-wavelark.service").has_value());
  const FakeSystemd systemd;
  BusProbe bus;
  const auto unit = bus.FindUnit("ap-wavelark.service");
  ASSERT_TRUE(unit.has_value());
  EXPECT_EQ(unit->load, "loaded");
  EXPECT_EQ(unit->active, "failed");
  EXPECT_EQ(unit->result, "watchdog");
  EXPECT_EQ(unit->restarts, 7u);
  EXPECT_TRUE(unit->needs_reload);
  EXPECT_THAT(unit->settings, ElementsAre(Pair("PrivateNetwork", "yes"), Pair("Restart", "no"),
                                          Pair("RestrictAddressFamilies", "~AF_INET AF_UNIX"),
                                          Pair("Type", "simple"), Pair("User", "root")));
}

// systemd answers with its defaults then.
TEST_F(MachineOnBusTest, AMaskedUnitHasNoSettings) {
  const FakeSystemd systemd("masked");
  const auto unit = BusProbe().FindUnit("ap-wavelark.service");
  ASSERT_TRUE(unit.has_value());
  EXPECT_EQ(unit->load, "masked");
  EXPECT_TRUE(unit->settings.empty());
}

// A flags service that publishes any map, and misbehaves on demand.
class OtherFlagsServiceTest : public MachineOnBusTest {
 protected:
  void Publish(const std::string& text, std::vector<std::string> options = {}) {
    paper_.Write("/map", text);
    options.insert(options.begin(), TESTBED_DIRECTORY "/flags_service");
    options.push_back(paper_.Path("/map"));
    services_.clear();
    StartService("org.velmora.ap.Flags", options);
  }
};

TEST_F(OtherFlagsServiceTest, AMapThatTheDaemonCannotUseIsAFailure) {
  Publish("clientSteering=disabled\nclientSteeringInterval=soon\nClientSteering=enabled\n");
  EXPECT_THAT(paper_.Find(CheckSettings),
              ElementsAre("ok: steering is off", "ok: event reporting is on",
                          "warning: the flags service: unknown key ClientSteering",
                          "failure: the flags service: the value of clientSteeringInterval is not "
                          "a number"));
}

TEST_F(OtherFlagsServiceTest, IfItRefusesTheFilesCount) {
  paper_.Write("/etc/ap-wavelark/flags.d/1.conf", "clientSteering=disabled\n");
  Publish("clientSteering=enabled\n", {"--error=org.freedesktop.DBus.Error.AccessDenied"});
  EXPECT_EQ(paper_.Find(CheckFlagsService).back(),
            "warning: its settings can't be read: access is denied");
  EXPECT_EQ(paper_.Find(CheckSettings).front(), "ok: steering is off");
}

TEST_F(OtherFlagsServiceTest, AMapOfAnotherTypeIsAWarning) {
  Publish("clientSteering=enabled\n", {"--wrong-type=s"});
  EXPECT_EQ(paper_.Find(CheckFlagsService).back(),
            "warning: its settings can't be read: it has no property Flags of the type a{ss}");
}

TEST_F(MachineOnBusTest, ADaemonOfAnotherUserIsAWarning) {
  paper_.SetUserId(kStrangerId);
  EXPECT_THAT(paper_.Find(CheckBus),
              ElementsAre("ok: the system bus answers",
                          fmt::format("warning: org.velmora.ap.Wavelark belongs to process {} of "
                                      "user ID {}",
                                      getpid(), geteuid())));
}

TEST_F(MachineOnBusTest, ABusWithoutThePolicyIsAFailure) {
  std::filesystem::remove_all(paper_.Path("/usr/share/dbus-1"));
  EXPECT_THAT(paper_.Find(CheckBus).back(),
              "failure: no bus policy allows ap-wavelark to own org.velmora.ap.Wavelark");
}

// A bus that accepts connections and never sends anything.
TEST_F(CheckTest, ABusThatHangsDelaysTheCheckOnlyBriefly) {
  const platform::FilePath path = paper_.Path("/run/bus");
  const platform::ScopedFd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.native().copy(static_cast<char*>(address.sun_path), sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(listen(listener.get(), 5), 0);
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path.native()).c_str(), 1);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THAT(paper_.Find(CheckBus), ElementsAre("failure: the system bus: no answer within 2 s"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST_F(CheckTest, OnlyTheDaemonMayReadTheSalt) {
  paper_.Write(kSalt, "");
  EXPECT_THAT(
      paper_.Find(CheckSalt),
      ElementsAre(fmt::format("failure: {} is empty: anyone can reverse the identifiers", kSalt)));
  paper_.Write(kSalt, "short", 0640);
  EXPECT_THAT(paper_.Find(CheckSalt), ElementsAre(fmt::format("warning: {} has 5 bytes", kSalt)));
  paper_.Write(kSalt, std::string(32, 's'), 0600);
  paper_.SetUserId(kStrangerId);
  EXPECT_THAT(paper_.Find(CheckSalt),
              ElementsAre(fmt::format("failure: ap-wavelark can't read {}", kSalt)));
  paper_.Write(kSalt, std::string(32, 's'), 0640);
  std::filesystem::permissions(paper_.Path("/var/lib/ap"), std::filesystem::perms::owner_all);
  EXPECT_THAT(paper_.Find(CheckSalt), ElementsAre("failure: ap-wavelark can't read /var/lib/ap"));
}

TEST_F(CheckTest, ASocketThatTheDaemonCannotUseIsAFailure) {
  const testbed::Hostapd wlan2400(paper_.Path("/run/hostapd/wlan-2400mhz"));
  std::filesystem::permissions(paper_.Path("/run/hostapd/wlan-2400mhz"),
                               std::filesystem::perms::owner_all);
  paper_.SetUserId(kStrangerId);
  EXPECT_THAT(paper_.Find(CheckHostapd),
              ElementsAre("ok: ap-wavelark can read /run/hostapd",
                          "failure: ap-wavelark can't use /run/hostapd/wlan-2400mhz",
                          "failure: /run/hostapd/wlan-5000mhz is missing"));
  std::filesystem::permissions(paper_.Path("/run/hostapd"), std::filesystem::perms::owner_all);
  EXPECT_EQ(paper_.Find(CheckHostapd).front(), "failure: ap-wavelark can't read /run/hostapd");
}

TEST_F(CheckTest, WithTheBridgeItsSocketsCount) {
  paper_.Write("/usr/lib/systemd/system/ap-wavelark.service.d/bridge.conf", "");
  EXPECT_THAT(paper_.Find(CheckHostapd),
              ElementsAre("failure: /run/ap-wavelark/hostapd is missing"));
}

TEST_F(CheckTest, TheStateOfTheUnitIsJudged) {
  const std::vector<std::pair<UnitState, std::vector<std::string>>> cases = {
      {{.load = "masked"}, {"failure: ap-wavelark.service is masked"}},
      {{.load = "not-found"}, {"failure: there is no unit ap-wavelark.service"}},
      {{.load = "loaded", .active = "failed", .result = "watchdog"},
       {"failure: ap-wavelark.service is failed (result: watchdog)"}},
      {{.load = "loaded", .active = "active", .restarts = 1, .needs_reload = true},
       {"ok: ap-wavelark.service is active", "warning: it was restarted 1 time",
        "warning: its files have changed since systemd read them"}},
  };
  for (const auto& [state, findings] : cases) {
    paper_.machine().unit = [&state = state](BusProbe&) { return std::optional(state); };
    EXPECT_EQ(paper_.Find(CheckUnit), findings);
  }
}

TEST_F(CheckTest, HarmfulSettingsOfTheUnitAreFound) {
  struct Case {
    std::string key, value, finding;
  };
  const std::string ok = "ok: the unit's settings allow what the daemon needs";
  const std::string families =
      "failure: the unit has {}={}: the daemon needs AF_UNIX and AF_NETLINK";
  const std::string restart =
      "warning: the unit has {}={}: the daemon is not restarted after a failed check";
  for (const auto& [key, value, finding] : std::vector<Case>{
           {"RestrictAddressFamilies", "AF_UNIX", families},
           {"RestrictAddressFamilies", "none", families},
           {"RestrictAddressFamilies", "~AF_INET AF_NETLINK", families},
           {"RestrictAddressFamilies", "~AF_INET", ok},
           {"RestrictAddressFamilies", "", ok},
           {"Restart", "no", restart},
           {"Restart", "on-success", restart},
           {"Restart", "on-abort", ok},
           {"User", "root",
            "warning: the unit has {}={}: files and bus policy are for ap-wavelark"},
           {"Type", "exec", "warning: the unit has {}={}: watchdog and readiness need Type=notify"},
       }) {
    UnitState unit = RunningUnit();
    unit.settings[key] = value;
    paper_.machine().unit = [&unit](BusProbe&) { return std::optional(unit); };
    EXPECT_THAT(paper_.Find(CheckSandbox),
                ElementsAre(fmt::format(fmt::runtime(finding), key, value)));
  }
}

TEST_F(CheckTest, WithoutSystemdTheFilesOfTheUnitAreMerged) {
  const std::string unit = "/ap-wavelark.service";
  const std::string etc = "/etc/systemd/system" + unit;
  const std::string usr = "/usr/lib/systemd/system" + unit;
  paper_.machine().unit = [](BusProbe&) { return std::optional<UnitState>(); };
  EXPECT_TRUE(paper_.Find(CheckSandbox).empty());
  paper_.Write(usr,
               "[Service]\nType=notify\nUser=ap-wavelark\nRestart=on-failure\n"
               "RestrictAddressFamilies=AF_UNIX AF_NETLINK\n");
  paper_.Write(usr + ".d/10-net.conf", "[Service]\n PrivateNetwork = true\n");
  paper_.Write(etc + ".d/20-more.conf",
               "# User=root\n;Type=simple\nRestrictAddressFamilies=~AF_UNIX\n");
  EXPECT_THAT(paper_.Find(CheckSandbox),
              ElementsAre("failure: the unit has PrivateNetwork=true: the daemon can't reach "
                          "nl80211 and hostapd",
                          "failure: the unit has RestrictAddressFamilies=AF_NETLINK: the daemon "
                          "needs AF_UNIX and AF_NETLINK"));
  // A file of the same name in /etc replaces the other one, a later name wins, an empty value
  // resets.
  paper_.Write(etc + ".d/10-net.conf", "");
  paper_.Write(usr + ".d/30-late.conf",
               "RestrictAddressFamilies=\nRestrictAddressFamilies=~AF_INET\n"
               "RestrictAddressFamilies=AF_UNIX AF_NETLINK\n");
  EXPECT_THAT(paper_.Find(CheckSandbox),
              ElementsAre("ok: the unit's settings allow what the daemon needs"));
  paper_.Write(etc + ".d/40-last.conf",
               "RestrictAddressFamilies=none\nRestrictAddressFamilies=AF_UNIX \\\n AF_NETLINK\n"
               "PrivateNetwork=Y\n");
  EXPECT_THAT(paper_.Find(CheckSandbox),
              ElementsAre("failure: the unit has PrivateNetwork=Y: the daemon can't reach nl80211 "
                          "and hostapd"));
  paper_.Write(etc + ".d/40-last.conf", "");
  paper_.Write(etc, "[Service]\nUser=root\n");
  EXPECT_THAT(paper_.Find(CheckSandbox),
              ElementsAre("warning: the unit has User=root: files and bus policy are for "
                          "ap-wavelark"));
}

TEST_F(CheckTest, AUnitThatIsNotLoadedHasNoSettings) {
  paper_.machine().unit = [](BusProbe&) { return std::optional<UnitState>({.load = "masked"}); };
  EXPECT_TRUE(paper_.Find(CheckSandbox).empty());
}

TEST_F(CheckTest, HarmfulSettingsAreFound) {
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  paper_.Write("/etc/default/ap-wavelark", "DAEMON_OPTS=--client_steering_interval=1h\n");
  EXPECT_THAT(paper_.Find(CheckSettings),
              ElementsAre("failure: /etc/default/ap-wavelark: ap-wavelark: "
                          "--client_steering_interval: '1h' is not an integer (--help lists the "
                          "flags)"));
  paper_.Write(
      "/etc/default/ap-wavelark",
      "DAEMON_OPTS='--noenable_connection_event_stats --client_steering_poll_interval=0'\n");
  paper_.Write("/etc/ap-wavelark/flags.d/1.conf",
               "clientSteering=enabled\nclientSteeringInterval=5\nclientsteering=1\n");
  EXPECT_THAT(
      paper_.Find(CheckSettings),
      ElementsAre(
          "ok: steering is on: floor 30, hysteresis 15, steer interval 5s, poll interval 0s",
          "warning: a client may be steered again after 5s",
          "warning: the poll interval is below 1 s: the daemon uses 1 s",
          "ok: event reporting is off", "warning: the flags files: unknown key clientsteering"));
}

// Root can access everything, so the test becomes another user for a while.
TEST_F(CheckTest, AFileThatTheUserCannotAccessIsAWarning) {
  std::filesystem::permissions(paper_.Path("/var/lib/ap"), std::filesystem::perms::none);
  std::filesystem::permissions(paper_.Path("/run/hostapd"), std::filesystem::perms::none);
  const bool is_root = geteuid() == 0;
  if (is_root) {
    ASSERT_EQ(chmod(paper_.Path("/").c_str(), 0755), 0);
    ASSERT_EQ(seteuid(kStrangerId), 0);
  }
  const auto salt = paper_.Find(CheckSalt);
  const auto hostapd = paper_.Find(CheckHostapd);
  if (is_root) {
    ASSERT_EQ(seteuid(0), 0);
  }
  EXPECT_THAT(salt, ElementsAre(fmt::format("warning: this user can't access {}", kSalt)));
  EXPECT_THAT(hostapd,
              testing::Contains("warning: this user can't access /run/hostapd/wlan-2400mhz"));
}

TEST_F(CheckTest, JsonHasAnObjectForEachFinding) {
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  std::ostringstream out;
  RunChecks(paper_.machine(), {.is_json = true}, out);
  std::istringstream lines(out.str());
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  EXPECT_EQ(line, R"({"level":"ok","subject":"program","finding":"/usr/sbin/ap-wavelark exists",)"
                  R"("advice":""})");
  while (std::getline(lines, line)) EXPECT_TRUE(nlohmann::json::accept(line)) << line;
}

TEST_F(CheckTest, ColoursAreForTerminals) {
  std::ostringstream out;
  RunChecks(paper_.machine(), {.is_colour_wanted = true}, out);
  EXPECT_THAT(out.str(), HasSubstr("\033[32mok     \033[0m  program  "));
}

}  // namespace
}  // namespace orvane::wavelarkctl
