#include "platform/bus/connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "testbed/bus_fixture.h"
#include "testbed/control_socket.h"
#include "testbed/temporary_directory.h"
#include "testbed/test_peer.h"

namespace orvane::platform::bus {
namespace {

using testbed::BusTest;
using testbed::PeerThread;
using testbed::RunWhileReady;
using testbed::TestPeer;

using testing::ElementsAre;

constexpr char kName[] = "a.test.Name";
constexpr char kLost[] = "Lost the connection to the system bus";

std::ptrdiff_t CountDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

class ConnectionTest : public BusTest {};

TEST_F(ConnectionTest, AProxyIsKeptForEachObjectOfEachService) {
  ObjectProxy* proxy = connection_->GetObjectProxy("a.b", "/c");
  EXPECT_EQ(proxy->service(), "a.b");
  EXPECT_EQ(proxy->path(), "/c");
  EXPECT_EQ(connection_->GetObjectProxy("a.b", "/c"), proxy);
  EXPECT_NE(connection_->GetObjectProxy("a.b", "/d"), proxy);
  EXPECT_NE(connection_->GetObjectProxy("a.c", "/c"), proxy);
}

TEST_F(ConnectionTest, ANameIsOursUntilTheConnectionIsGone) {
  EXPECT_TRUE(connection_->RequestName(kName, nullptr));
  TestPeer peer;
  EXPECT_EQ(sd_bus_request_name(peer.bus(), kName, 0), -EEXIST);
  connection_.reset();
  EXPECT_TRUE(RunUntil([&] { return sd_bus_request_name(peer.bus(), kName, 0) >= 0; }));
}

TEST_F(ConnectionTest, ANameOfSomebodyElseIsNeitherTakenNorWaitedFor) {
  TestPeer peer;
  // The owner allows replacement, but RequestName does not ask for it.
  ASSERT_GE(sd_bus_request_name(peer.bus(), kName, SD_BUS_NAME_ALLOW_REPLACEMENT), 0);
  std::unique_ptr<Error> error;
  EXPECT_FALSE(connection_->RequestName(kName, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kDBusErrorDomain);
  EXPECT_EQ(error->message(), "another process owns it");
  peer.ReleaseName(kName);
  TestPeer next;
  EXPECT_GE(sd_bus_request_name(next.bus(), kName, 0), 0);
}

TEST_F(ConnectionTest, ABadNameAndABadPathAreErrors) {
  std::unique_ptr<Error> error;
  EXPECT_FALSE(connection_->RequestName("nonsense", &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->message(), "Invalid argument");
  error.reset();
  EXPECT_FALSE(connection_->ExportObjectManager("nonsense", &error));
  EXPECT_NE(error, nullptr);
}

TEST_F(ConnectionTest, TheObjectManagerManagesNothing) {
  ASSERT_TRUE(connection_->ExportObjectManager("/a/b", nullptr));
  ASSERT_TRUE(connection_->RequestName(kName, nullptr));
  TestPeer peer;
  sd_bus_message* reply = nullptr;
  bool answered = false;
  std::thread caller([&] {
    sd_bus_call_method(peer.bus(), kName, "/a/b", "org.freedesktop.DBus.ObjectManager",
                       "GetManagedObjects", nullptr, &reply, nullptr);
    loop_.PostTask([&] { answered = true; });
  });
  caller.detach();
  EXPECT_TRUE(RunUntil([&] { return answered; }));
  const MessagePtr owned(reply);
  ASSERT_NE(reply, nullptr);
  EXPECT_STREQ(sd_bus_message_get_signature(reply, 1), "a{oa{sa{sv}}}");
  MessageReader reader(reply);
  const ReadScope objects(reader, SD_BUS_TYPE_ARRAY, nullptr);
  ASSERT_TRUE(objects);
  EXPECT_FALSE(reader.HasMore());
}

TEST_F(ConnectionTest, LosingItEndsTheLoop) {
  loop_.PostTask([this] { bus_.Kill(); });
  EXPECT_EQ(loop_.Run(), kConnectionLostExitCode);
  EXPECT_THAT(log_.Lines(Severity::kError), ElementsAre(kLost));
}

TEST_F(ConnectionTest, LosingItInACallEndsTheLoopAfterTheCall) {
  TestPeer peer;
  peer.RequestName(kName);
  peer.HandleCalls([this](sd_bus_message*) {
    bus_.Kill();
    return true;
  });
  std::unique_ptr<Error> error;
  {
    const PeerThread serving(peer);
    const ObjectProxy* proxy = connection_->GetObjectProxy(kName, "/c");
    EXPECT_EQ(proxy->CallAndWait(proxy->NewMethodCall("a.b", "C"), kDefaultTimeoutMs, &error),
              nullptr);
  }
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.Disconnected");
  EXPECT_TRUE(log_.empty());
  EXPECT_EQ(loop_.Run(), kConnectionLostExitCode);
  EXPECT_THAT(log_.Lines(Severity::kError), ElementsAre(kLost));
}

TEST_F(ConnectionTest, TheExitCodeOfAnEarlierQuitStays) {
  loop_.PostTask([this] {
    loop_.Quit(0);
    bus_.Kill();
  });
  EXPECT_EQ(loop_.Run(), 0);
  EXPECT_TRUE(log_.empty());
}

// Messages from before the end are delivered.
TEST_F(ConnectionTest, WhatIsQueuedIsSentBeforeItIsClosed) {
  TestPeer peer;
  int calls = 0;
  peer.HandleCalls([&](sd_bus_message*) { return ++calls > 0; });
  const ObjectProxy* proxy = connection_->GetObjectProxy(peer.unique_name(), "/c");
  MethodCall call = proxy->NewMethodCall("a.b", "C");
  // More than the socket accepts at once.
  call.writer().AppendBytes(std::vector<std::uint8_t>(std::size_t{8} << 20));
  auto pending = proxy->CallAsync(std::move(call), kDefaultTimeoutMs, [](auto*, auto*) {});
  pending.reset();
  connection_.reset();
  peer.AttachTo(loop_);
  EXPECT_TRUE(RunUntil([&] { return calls == 1; }));
}

// If the end waited for the bus, this test would never end.
TEST_F(ConnectionTest, AHungBusDoesNotHoldTheEnd) {
  const ObjectProxy* proxy = connection_->GetObjectProxy("a.b", "/c");
  MethodCall call = proxy->NewMethodCall("a.b", "C");
  // More than the socket accepts at once.
  call.writer().AppendBytes(std::vector<std::uint8_t>(std::size_t{30} << 20));
  ASSERT_EQ(kill(bus_.pid(), SIGSTOP), 0);
  auto pending = proxy->CallAsync(std::move(call), kDefaultTimeoutMs, [](auto*, auto*) {});
  std::uint64_t queued = 0;
  ASSERT_GE(sd_bus_get_n_queued_write(connection_->bus(), &queued), 0);
  ASSERT_EQ(queued, 1);
  pending.reset();
  connection_.reset();
  EXPECT_EQ(kill(bus_.pid(), SIGCONT), 0);
  EXPECT_THAT(log_.lines(), testing::IsEmpty());
}

TEST_F(ConnectionTest, DescriptorsDoNotLeak) {
  TestPeer owner;
  owner.RequestName(kName);
  connection_.reset();
  const auto before = CountDescriptors();
  for (int i = 0; i < 20; ++i) {
    auto connection = Connection::OpenSystemBus(loop_, nullptr);
    ASSERT_NE(connection, nullptr);
    EXPECT_FALSE(connection->RequestName(kName, nullptr));
  }
  bus_.Kill();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(Connection::OpenSystemBus(loop_, nullptr), nullptr);
  RunWhileReady(loop_);
  EXPECT_EQ(CountDescriptors(), before);
}

TEST(NoBusTest, IsAnErrorAtOnce) {
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  SdEventLoop loop;
  std::unique_ptr<Error> error;
  EXPECT_EQ(Connection::OpenSystemBus(loop, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kDBusErrorDomain);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.FileNotFound");
  EXPECT_EQ(error->message(), "No such file or directory");
}

// A server that accepts the connection and closes it.
TEST(RefusingBusTest, IsAnError) {
  const testbed::TemporaryDirectory directory;
  const std::string path = directory.path() / "bus";
  const sockaddr_un address = testbed::UnixAddress(path);
  const ScopedFd server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(bind(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(listen(server.get(), 1), 0);
  std::thread refusing([&] { const ScopedFd taken(accept(server.get(), nullptr, nullptr)); });
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
  SdEventLoop loop;
  std::unique_ptr<Error> error;
  EXPECT_EQ(Connection::OpenSystemBus(loop, &error), nullptr);
  EXPECT_NE(error, nullptr);
  refusing.join();
}

}  // namespace
}  // namespace orvane::platform::bus
