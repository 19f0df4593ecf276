#include "testbed/private_bus.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>

#include "testbed/test_peer.h"

namespace orvane::testbed {
namespace {

bool CanConnect() {
  sd_bus* bus = nullptr;
  const bool opened = sd_bus_open_system(&bus) >= 0;
  const platform::bus::BusPtr owned(bus);
  const char* name = nullptr;
  return opened && sd_bus_get_unique_name(bus, &name) >= 0;
}

TEST(PrivateBusTest, TakesConnectionsAtOnceAndAgainAfterARestart) {
  PrivateBus bus;
  EXPECT_TRUE(CanConnect());
  bus.Kill();
  EXPECT_FALSE(CanConnect());
  bus.Start();
  EXPECT_TRUE(CanConnect());
}

TEST(PrivateBusTest, LeavesNothingBehind) {
  std::string folder;
  pid_t pid = 0;
  {
    PrivateBus bus;
    pid = bus.pid();
    folder = std::filesystem::path(bus.address().substr(sizeof("unix:path=") - 1)).parent_path();
    EXPECT_TRUE(std::filesystem::exists(folder));
  }
  EXPECT_FALSE(std::filesystem::exists(folder));
  EXPECT_EQ(kill(pid, 0), -1);
  EXPECT_FALSE(CanConnect());
}

TEST(PrivateBusTest, EverybodyMaySignalEverybody) {
  PrivateBus bus;
  TestPeer sender;
  TestPeer receiver;
  std::string text;
  sd_bus_slot* slot = nullptr;
  ASSERT_GE(sd_bus_match_signal(
                receiver.bus(), &slot, nullptr, "/a", "b.c", "D",
                [](sd_bus_message* signal, void* out, sd_bus_error*) {
                  *static_cast<std::string*>(out) =
                      platform::bus::MessageReader(signal).PopString().value_or("nothing");
                  return 0;
                },
                &text),
            0);
  const platform::bus::SlotPtr owned(slot);
  sender.EmitSignal(receiver.unique_name(), "/a", "b.c", "D",
                    [](platform::bus::MessageWriter& writer) { writer.AppendString("hello"); });
  for (int i = 0; i < 100 && text.empty(); ++i) {
    if (sd_bus_process(receiver.bus(), nullptr) == 0) sd_bus_wait(receiver.bus(), 50'000);
  }
  EXPECT_EQ(text, "hello");
}

}  // namespace
}  // namespace orvane::testbed
