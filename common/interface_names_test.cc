#include "common/interface_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/logging.h"
#include "testbed/temporary_directory.h"

namespace orvane::ap {
namespace {

using platform::FilePath;
using platform::LogListener;
using platform::Severity;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(InterfaceNamesTest, KnowsTheBandOfEachInterface) {
  for (const char* name : {"wlan-2400mhz", "guest-2400mhz", "mesh-2400mhz"}) {
    EXPECT_EQ(GetBandForInterface(name), "2") << name;
  }
  for (const char* name : {"wlan-5000mhz", "guest-5000mhz", "mesh-5000mhz", "group-5000mhz"}) {
    EXPECT_EQ(GetBandForInterface(name), "5") << name;
  }
}

TEST(InterfaceNamesTest, OtherNamesHaveNoBand) {
  for (const char* name : {"", "br-lan", "WLAN-2400MHZ", "wlan-2400mh", "wlan-2400mhz0", "wlan",
                           " wlan-2400mhz", "group-2400mhz", "lo"}) {
    EXPECT_EQ(GetBandForInterface(name), "") << name;
  }
}

TEST(InterfaceNamesTest, DetectsGuestInterfaces) {
  EXPECT_TRUE(IsGuestInterface("guest-2400mhz"));
  EXPECT_TRUE(IsGuestInterface("guest-5000mhz"));
  for (const char* name : {"", "guest", "Guest-2400mhz", "br-guest", "wlan-2400mhz", "mesh-2400mhz",
                           "wlan-5000mhz", "mesh-5000mhz", "group-5000mhz"}) {
    EXPECT_FALSE(IsGuestInterface(name)) << name;
  }
}

TEST(InterfaceNamesTest, ReplacesTheListByAllInterfaces) {
  std::vector<std::string> names = {"was here before"};
  GetAllInterfaces(&names);
  EXPECT_THAT(names, ElementsAre("wlan-2400mhz", "wlan-5000mhz", "guest-2400mhz", "guest-5000mhz",
                                 "mesh-2400mhz", "mesh-5000mhz", "group-5000mhz"));
}

TEST(InterfaceNamesTest, NamesAreStoredInFieldsOfSixteenBytes) {
  static_assert(sizeof(kStationModeBridgeInterface) == 16);
  EXPECT_STREQ(kSwitchInterface, "switch0");
  EXPECT_STREQ(kSetupMeshBridgeInterface, "br-setup-mesh");
  EXPECT_STREQ(kStationModeBridgeInterface, "br-station-mode");
  EXPECT_STREQ(kGuestBridgeInterface, "br-guest");
  EXPECT_STREQ(kAuxiliaryRadioInterface, "aux-radio0");
  EXPECT_STREQ(kLoopbackInterface, "lo");
  EXPECT_STREQ(kLanBridgeInterface, "br-lan");
  EXPECT_STREQ(kLanInterface, "lan0");
  EXPECT_STREQ(kWanInterface, "wan0");
}

// A directory like the kernel's, with one interface.
class PhyIndexTest : public testing::Test {
 protected:
  void WriteIndex(const std::string& contents) {
    const FilePath phy = directory_.path() / "wlan-2400mhz" / "phy80211";
    std::filesystem::create_directories(phy);
    std::ofstream(phy / "index", std::ios::binary) << contents;
  }

  std::string GetPhyIndex() { return GetPhyIndexForInterface("wlan-2400mhz", directory_.path()); }

  testbed::TemporaryDirectory directory_;
  std::vector<std::pair<Severity, std::string>> lines_;
  LogListener listener_{
      [this](Severity severity, std::string_view line) { lines_.emplace_back(severity, line); }};
};

TEST_F(PhyIndexTest, ReadsTheTextOfTheIndex) {
  WriteIndex("1\n");
  EXPECT_EQ(GetPhyIndex(), "1");
  EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(PhyIndexTest, TrimsWhitespaceAtBothEndsOnly) {
  WriteIndex(" \t\r\n\v\f1 2\f\v\n\r\t ");
  EXPECT_EQ(GetPhyIndex(), "1 2");
}

TEST_F(PhyIndexTest, IsEmptyWithoutALogLineWhenTheFileIsBlank) {
  for (const char* contents : {"", "\n", " \t\n"}) {
    WriteIndex(contents);
    EXPECT_EQ(GetPhyIndex(), "");
  }
  EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(PhyIndexTest, LogsAnInterfaceWithoutARadio) {
  EXPECT_EQ(GetPhyIndex(), "");
  EXPECT_THAT(lines_,
              ElementsAre(Pair(Severity::kError, "Unable to determine phy for wlan-2400mhz")));
}

TEST_F(PhyIndexTest, LooksIntoTheKernelsDirectoryByDefault) {
  WriteIndex("7\n");
  const std::string up_from_sys_class_net = "../../..";
  EXPECT_EQ(
      GetPhyIndexForInterface(up_from_sys_class_net + directory_.path().string() + "/wlan-2400mhz"),
      "7");
  EXPECT_EQ(GetPhyIndexForInterface("lo"), "");
  EXPECT_THAT(lines_, ElementsAre(Pair(Severity::kError, "Unable to determine phy for lo")));
}

}  // namespace
}  // namespace orvane::ap
