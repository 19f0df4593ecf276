#include "testbed/hostapd_standin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "platform/files.h"
#include "testbed/event_plan.h"
#include "testbed/program_under_test.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr char k2400[] = "wlan-2400mhz";
constexpr char k5000[] = "wlan-5000mhz";
constexpr milliseconds kShort(150);

sockaddr_un Address(const std::string& name) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, name.data(), name.size());
  return address;
}

// A client of a control socket. A name that begins with a null byte is abstract.
class Client {
 public:
  Client(const platform::FilePath& server, const std::string& name)
      : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    if (!name.empty()) {
      const sockaddr_un own = Address(name);
      EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
    }
    const sockaddr_un remote = Address(server);
    connected_ =
        connect(socket_.get(), reinterpret_cast<const sockaddr*>(&remote), sizeof(remote)) == 0;
  }

  bool connected() const { return connected_; }

  void Send(std::string_view text) {
    EXPECT_EQ(send(socket_.get(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  }

  // Returns the next datagram, or "(nothing)" after `timeout`.
  std::string Receive(milliseconds timeout = kLongEnough) {
    pollfd watched = {.fd = socket_.get(), .events = POLLIN, .revents = 0};
    if (poll(&watched, 1, static_cast<int>(timeout.count())) <= 0) return "(nothing)";
    std::array<char, 65536> buffer;
    const ssize_t length = recv(socket_.get(), buffer.data(), buffer.size(), 0);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
  }

  std::string Ask(std::string_view command) {
    Send(command);
    return Receive();
  }

 private:
  platform::ScopedFd socket_;
  bool connected_ = false;
};

class HostapdStandinTest : public ::testing::Test {
 protected:
  std::unique_ptr<ChildProcess> Start(ChildProcess::Arguments arguments = {}) {
    arguments.insert(arguments.begin(), {"--directory", directory_.path() / "hostapd"});
    return StartTestbedProgramUntil("ready", "hostapd_standin", std::move(arguments));
  }

  platform::FilePath Socket(const std::string& interface) const {
    return directory_.path() / "hostapd" / interface;
  }

  // With an abstract name that is unique to the process and the interface, like the daemon's.
  std::unique_ptr<Client> Connect(const std::string& interface, const std::string& tag = "test") {
    auto client = std::make_unique<Client>(
        Socket(interface), std::string(1, '\0') + std::to_string(getpid()) + tag + interface);
    EXPECT_TRUE(client->connected());
    return client;
  }

  std::string ScriptFile(std::string_view text) {
    WriteFile(directory_.path() / "script", text);
    return directory_.path() / "script";
  }

  TemporaryDirectory directory_;
};

TEST_F(HostapdStandinTest, AnswersCommandsOnBothInterfaces) {
  auto standin = Start();
  for (const std::string interface : {k2400, k5000}) {
    auto client = Connect(interface);
    EXPECT_EQ(client->Ask("ATTACH"), "OK\n");
    EXPECT_EQ(client->Ask("PING"), "PONG\n");
    EXPECT_EQ(client->Ask("DISASSOCIATE 00:11:22:33:44:55 reason=5"), "OK\n");
    EXPECT_EQ(client->Ask("DISASSOCIATE 00:11:22 reason=5"), "FAIL\n");
    EXPECT_EQ(client->Ask("DETACH"), "OK\n");
    EXPECT_EQ(client->Ask("DETACH"), "FAIL\n");
    EXPECT_EQ(client->Ask("NONSENSE"), "UNKNOWN COMMAND\n");
    const std::string sender = " from @" + std::to_string(getpid()) + "test" + interface;
    for (const std::string command : {"ATTACH", "PING", "DISASSOCIATE 00:11:22:33:44:55 reason=5",
                                      "DISASSOCIATE 00:11:22 reason=5", "DETACH"}) {
      std::string line = interface + " ";
      line.append(command).append(sender);
      EXPECT_EQ(standin->out().WaitForLine(interface, kLongEnough), line);
    }
    EXPECT_TRUE(standin->out().WaitForLine("DETACH", kLongEnough));
  }
}

TEST_F(HostapdStandinTest, KnowsClientsWithAPath) {
  auto standin = Start();
  const std::string path = directory_.path() / "client";
  Client client(Socket(k2400), path);
  EXPECT_EQ(client.Ask("ATTACH"), "OK\n");
  EXPECT_TRUE(standin->out().WaitForLine("ATTACH from " + path, kLongEnough));
}

TEST_F(HostapdStandinTest, SurvivesOddClients) {
  auto standin = Start();
  Client nobody(Socket(k2400), "");
  nobody.Send("ATTACH");
  EXPECT_TRUE(standin->out().WaitForLine("ATTACH from nobody", kLongEnough));
  auto client = Connect(k2400);
  EXPECT_EQ(client->Ask(""), "UNKNOWN COMMAND\n");
  EXPECT_EQ(client->Ask(std::string("A\n\0B", 4)), "UNKNOWN COMMAND\n");
  EXPECT_TRUE(standin->out().WaitForLine("A??B from", kLongEnough));
  // The answer has no receiver.
  standin->Signal(SIGSTOP);
  client->Send("PING");
  client.reset();
  standin->Signal(SIGCONT);
  EXPECT_TRUE(standin->out().WaitForLine("wlan-2400mhz lost @", kLongEnough));
  EXPECT_EQ(Connect(k2400)->Ask("PING"), "PONG\n");
}

TEST_F(HostapdStandinTest, LetsTheGroupOfItsDirectoryIn) {
  auto standin = Start();
  EXPECT_EQ(std::filesystem::status(Socket(k2400)).permissions(),
            std::filesystem::perms::owner_all | std::filesystem::perms::group_all);
}

TEST_F(HostapdStandinTest, RemovesItsSockets) {
  auto standin = Start({"--interface", "a", "--interface", "b"});
  EXPECT_TRUE(platform::PathExists(Socket("a")));
  EXPECT_TRUE(platform::PathExists(Socket("b")));
  EXPECT_FALSE(platform::PathExists(Socket(k2400)));
  // Another file has replaced one socket.
  std::filesystem::remove(Socket("b"));
  WriteFile(Socket("b"), "");
  standin->Signal(SIGTERM);
  ASSERT_EQ(standin->WaitForExit(kLongEnough), ExitStatus{.code = 0});
  EXPECT_FALSE(platform::PathExists(Socket("a")));
  EXPECT_TRUE(platform::PathExists(Socket("b")));
}

TEST_F(HostapdStandinTest, ReplacesAnAbandonedSocketOnly) {
  auto killed = Start();
  killed->Signal(SIGKILL);
  killed->WaitForExit(kLongEnough);
  ASSERT_TRUE(platform::PathExists(Socket(k2400)));
  auto second = Start();
  EXPECT_EQ(Connect(k2400)->Ask("PING"), "PONG\n");
  auto third =
      StartTestbedProgram("hostapd_standin", {"--directory", directory_.path() / "hostapd"});
  EXPECT_EQ(third->WaitForExit(kLongEnough), ExitStatus{.code = kExitFailure});
  EXPECT_EQ(Connect(k2400)->Ask("PING"), "PONG\n");
}

TEST_F(HostapdStandinTest, NoAnswer) {
  auto standin = Start({"--no-answer", "--count", "1"});
  auto client = Connect(k2400);
  client->Send("ATTACH");
  EXPECT_TRUE(standin->out().WaitForLine("ATTACH", kLongEnough));
  EXPECT_EQ(client->Receive(kShort), "(nothing)");
  EXPECT_EQ(client->Ask("PING"), "PONG\n");
}

TEST_F(HostapdStandinTest, AnswerDelay) {
  auto standin = Start({"--answer-delay", "200", "--count", "1"});
  auto client = Connect(k2400);
  const auto start = Clock::now();
  EXPECT_EQ(client->Ask("ATTACH"), "OK\n");
  EXPECT_GE(Clock::now() - start, milliseconds(200));
  EXPECT_TRUE(client->Receive().starts_with("<3>AP-STA-CONNECT "));
}

TEST_F(HostapdStandinTest, PlaysAScriptFromTheFirstAttachOn) {
  auto standin = Start({"--exit-when-done", "--script",
                        ScriptFile("0.3 wlan-2400mhz <3>SECOND  x\n"
                                   "0.1 wlan-2400mhz <3>FIRST\n"
                                   "0 wlan-5000mhz <3>OTHER\n")});
  usleep(200'000);  // must not count
  auto client = Connect(k2400);
  EXPECT_EQ(client->Ask("ATTACH"), "OK\n");
  const auto attached = Clock::now();
  EXPECT_EQ(client->Receive(), "<3>FIRST");
  EXPECT_GE(Clock::now() - attached, milliseconds(90));
  EXPECT_EQ(client->Receive(), "<3>SECOND  x");
  EXPECT_GE(Clock::now() - attached, milliseconds(290));
  EXPECT_TRUE(standin->out().WaitForLine("wlan-2400mhz done: 2 events", kLongEnough));
  EXPECT_EQ(standin->WaitForExit(kShort), std::nullopt);  // the other interface is not done
  auto other = Connect(k5000);
  EXPECT_EQ(other->Ask("ATTACH"), "OK\n");
  EXPECT_EQ(other->Receive(), "<3>OTHER");
  EXPECT_EQ(standin->WaitForExit(kLongEnough), ExitStatus{.code = 0});
}

TEST_F(HostapdStandinTest, ABadScriptIsAFailure) {
  auto standin = StartTestbedProgram("hostapd_standin", {"--script", ScriptFile("\nx\n")});
  EXPECT_EQ(standin->WaitForExit(kLongEnough), ExitStatus{.code = kExitFailure});
  EXPECT_THAT(standin->err().Text(), ::testing::HasSubstr("script line 2: \"x\" is no time"));
  auto without = StartTestbedProgram("hostapd_standin", {"--script", "/nowhere"});
  EXPECT_EQ(without->WaitForExit(kLongEnough), ExitStatus{.code = kExitFailure});
  EXPECT_THAT(without->err().Text(), ::testing::HasSubstr("/nowhere: No such file"));
}

TEST_F(HostapdStandinTest, AnEmptyScriptIsDoneAtOnce) {
  auto standin = Start({"--exit-when-done", "--script", ScriptFile("# nothing\n")});
  EXPECT_EQ(standin->WaitForExit(kLongEnough), ExitStatus{.code = 0});
}

TEST_F(HostapdStandinTest, RateAndRepeat) {
  auto standin = Start({"--rate", "20", "--repeat", "2", "--script",
                        ScriptFile("100 wlan-2400mhz <3>A\n200 wlan-2400mhz <3>B\n")});
  auto client = Connect(k2400);
  EXPECT_EQ(client->Ask("ATTACH"), "OK\n");
  const auto attached = Clock::now();
  for (const char* line : {"<3>A", "<3>B", "<3>A", "<3>B"}) EXPECT_EQ(client->Receive(), line);
  EXPECT_GE(Clock::now() - attached, milliseconds(145));
  EXPECT_EQ(client->Receive(kShort), "(nothing)");
}

TEST_F(HostapdStandinTest, PlaysTheDayFaster) {
  auto standin = Start({"--interface", k2400, "--day", "--speed", "100", "--exit-when-done"});
  auto client = Connect(k2400);
  EXPECT_EQ(client->Ask("ATTACH"), "OK\n");
  std::size_t lines = 0;
  while (client->Receive(milliseconds(500)).starts_with("<3>AP-")) ++lines;
  EXPECT_TRUE(
      standin->out().WaitForLine("done: " + std::to_string(lines) + " events", kLongEnough));
  EXPECT_EQ(standin->WaitForExit(kLongEnough), ExitStatus{.code = 0});
}

TEST_F(HostapdStandinTest, EveryListenerHearsEverything) {
  auto standin = Start({"--rate", "100", "--script",
                        ScriptFile("0 wlan-2400mhz <3>A\n0 wlan-2400mhz <3>B\n"
                                   "0 wlan-2400mhz <3>C\n")});
  auto first = Connect(k2400, "first");
  auto second = Connect(k2400, "second");
  standin->Signal(SIGSTOP);  // both must be attached before the first line
  first->Send("ATTACH");
  second->Send("ATTACH");
  standin->Signal(SIGCONT);
  for (Client* client : {first.get(), second.get()}) {
    for (const char* line : {"OK\n", "<3>A", "<3>B", "<3>C"}) EXPECT_EQ(client->Receive(), line);
  }
}

TEST_F(HostapdStandinTest, AFloodLosesNothingToASlowListener) {
  constexpr std::size_t kCount = 2000;
  auto standin = Start({"--interface", k2400, "--count", std::to_string(kCount)});
  auto client = Connect(k2400);
  EXPECT_EQ(client->Ask("ATTACH"), "OK\n");
  usleep(100'000);  // enough to fill the queue
  const EventPlan plan = FloodPlan(kCount);
  for (std::size_t i = 0; i < kCount; ++i) {
    ASSERT_EQ(client->Receive(), plan.line(i).line);
  }
  EXPECT_TRUE(standin->out().WaitForLine("done: 2000 events", kLongEnough));
}

TEST_F(HostapdStandinTest, AFloodWaitsForTheNextListener) {
  auto standin = Start({"--interface", k2400, "--count", "5000"});
  {
    auto gone = Connect(k2400, "gone");
    EXPECT_EQ(gone->Ask("ATTACH"), "OK\n");
  }
  EXPECT_TRUE(standin->out().WaitForLine("lost @", kLongEnough));
  auto client = Connect(k2400, "next");
  EXPECT_EQ(client->Ask("ATTACH"), "OK\n");
  EXPECT_TRUE(client->Receive().starts_with("<3>AP-STA-CONNECT "));
}

TEST_F(HostapdStandinTest, AStuckListenerDoesNotKeepItFromAnsweringOrEnding) {
  auto standin = Start({"--count", "100000"});
  auto stuck = Connect(k2400);
  stuck->Send("ATTACH");
  usleep(100'000);
  EXPECT_EQ(Connect(k5000)->Ask("PING"), "PONG\n");
  standin->Signal(SIGTERM);
  EXPECT_EQ(standin->WaitForExit(kLongEnough), ExitStatus{.code = 0});
}

}  // namespace
}  // namespace orvane::testbed
