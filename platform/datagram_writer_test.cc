#include "platform/datagram_writer.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/loop_test_driver.h"
#include "platform/manual_loop.h"

namespace orvane::platform {
namespace {

using std::chrono::milliseconds;
using testing::IsEmpty;
using testing::SizeIs;

// A socket with an address that the kernel chose. It is not connected to its peers, so its queue
// limits what they can send, as with a server.
class Server {
 public:
  Server() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    address_.sun_family = AF_UNIX;
    EXPECT_EQ(bind(fd_.get(), generic(), sizeof(sa_family_t)), 0);
    EXPECT_EQ(getsockname(fd_.get(), generic(), &length_), 0);
  }

  ScopedFd Connect() {
    ScopedFd client(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    EXPECT_EQ(connect(client.get(), generic(), length_), 0);
    return client;
  }

  std::optional<std::string> Receive() {
    std::array<char, 128> buffer;
    const ssize_t length = recv(fd_.get(), buffer.data(), buffer.size(), 0);
    if (length < 0) return std::nullopt;
    return std::string(buffer.data(), static_cast<std::size_t>(length));
  }

  void Close() { fd_ = ScopedFd(); }

 private:
  sockaddr* generic() { return reinterpret_cast<sockaddr*>(&address_); }

  ScopedFd fd_;
  sockaddr_un address_ = {};
  socklen_t length_ = sizeof(address_);
};

// Uses up all descriptors of the process during its lifetime.
class NoDescriptorLeft {
 public:
  NoDescriptorLeft() {
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &saved_), 0);
    const rlimit none = {0, saved_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  }
  ~NoDescriptorLeft() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &saved_), 0); }

 private:
  rlimit saved_;
};

std::vector<std::string> Numbers(std::size_t count) {
  std::vector<std::string> numbers;
  for (std::size_t i = 0; i < count; ++i) numbers.push_back(std::to_string(i));
  return numbers;
}

// Shared by both fixtures.
struct WriterWorld {
  explicit WriterWorld(Loop& loop)
      : writer(std::in_place, loop, sockets, client.get(),
               [this](int error) { losses.push_back(error); }) {}

  void SendNumbers(std::size_t count) {
    for (const std::string& number : Numbers(count)) EXPECT_TRUE(writer->Send(number));
  }

  // Sends until the queue is full. Returns the number of datagrams.
  std::size_t Fill() {
    std::size_t sent = 0;
    while (send(client.get(), "fill", 4, 0) == 4) ++sent;
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_GT(sent, 0U);
    return sent;
  }

  void Drain() {
    while (server.Receive().has_value()) {
    }
  }

  Server server;
  ScopedFd client = server.Connect();
  Sockets sockets;
  std::vector<int> losses;
  std::optional<DatagramWriter> writer;
};

class DatagramWriterLoopTest : public BothLoopsTest {
 protected:
  WriterWorld world_{loop()};
};

INSTANTIATE_TEST_SUITE_P(Loops, DatagramWriterLoopTest, BothLoops(), LoopName);

TEST_P(DatagramWriterLoopTest, SendsAtOnceWhatFindsRoom) {
  EXPECT_TRUE(world_.writer->Send("one"));
  EXPECT_TRUE(world_.writer->Send(""));
  EXPECT_EQ(world_.server.Receive(), "one");
  EXPECT_EQ(world_.server.Receive(), "");
  EXPECT_EQ(world_.server.Receive(), std::nullopt);
}

TEST_P(DatagramWriterLoopTest, APeerThatReadsGetsAllInOrder) {
  constexpr std::size_t kMany = 5'000;
  world_.SendNumbers(kMany);
  std::vector<std::string> received;
  EXPECT_TRUE(RunUntil([&] {
    while (const auto datagram = world_.server.Receive()) received.push_back(*datagram);
    return received.size() >= kMany;
  }));
  EXPECT_EQ(received, Numbers(kMany));
  EXPECT_THAT(world_.losses, IsEmpty());
}

// Between two reads of the peer the loop sleeps.
TEST_P(DatagramWriterLoopTest, AFullQueueKeepsNoLoopBusy) {
  world_.Fill();
  EXPECT_TRUE(world_.writer->Send("waits"));
  RunUntilIdle();
  world_.Drain();
  RunUntilIdle();
  EXPECT_EQ(world_.server.Receive(), "waits");
  RunUntilIdle();
}

class DatagramWriterTest : public testing::Test {
 protected:
  ManualLoop loop_;
  WriterWorld world_{loop_};
};

TEST_F(DatagramWriterTest, APeerThatTakesOneNowAndThenGetsAll) {
  const std::size_t room = world_.Fill();
  world_.SendNumbers(20);
  for (std::size_t i = 0; i < room; ++i) {
    EXPECT_EQ(world_.server.Receive(), "fill");
    loop_.AdvanceBy(DatagramWriter::kPatience - milliseconds(1));
  }
  for (const std::string& number : Numbers(20)) {
    EXPECT_EQ(world_.server.Receive(), number);
    loop_.AdvanceBy(DatagramWriter::kPatience - milliseconds(1));
  }
  EXPECT_THAT(world_.losses, IsEmpty());
}

TEST_F(DatagramWriterTest, APeerThatHangsLosesWhatWaitsOnceItsTimeIsUp) {
  const std::size_t room = world_.Fill();
  world_.SendNumbers(20);
  loop_.AdvanceBy(DatagramWriter::kPatience - TimeSpan(1));
  EXPECT_THAT(world_.losses, IsEmpty());
  loop_.AdvanceBy(TimeSpan(1));
  EXPECT_EQ(world_.losses, std::vector<int>(20, EAGAIN));
  for (std::size_t i = 0; i < room; ++i) EXPECT_EQ(world_.server.Receive(), "fill");
  loop_.RunUntilIdle();
  EXPECT_EQ(world_.server.Receive(), std::nullopt);
}

TEST_F(DatagramWriterTest, APeerThatReadsAgainIsServedAgain) {
  world_.Fill();
  world_.SendNumbers(1);
  loop_.AdvanceBy(DatagramWriter::kPatience);
  EXPECT_THAT(world_.losses, SizeIs(1));
  world_.Drain();
  world_.SendNumbers(100);
  std::vector<std::string> received;
  for (int round = 0; round < 100; ++round) {
    loop_.RunUntilIdle();
    while (const auto datagram = world_.server.Receive()) received.push_back(*datagram);
  }
  EXPECT_EQ(received, Numbers(100));
  EXPECT_THAT(world_.losses, SizeIs(1));
}

TEST_F(DatagramWriterTest, ASendDoesNotOvertakeWaitingDatagrams) {
  world_.Fill();
  world_.SendNumbers(1);
  world_.Drain();
  EXPECT_TRUE(world_.writer->Send("next"));
  EXPECT_EQ(world_.server.Receive(), std::nullopt);
  loop_.RunUntilIdle();
  EXPECT_EQ(world_.server.Receive(), "0");
  EXPECT_EQ(world_.server.Receive(), "next");
}

// The peer was blocked by this process and reads after the time has expired.
TEST_F(DatagramWriterTest, ALoopThatWasHeldGivesThePeerTimeToRead) {
  world_.Fill();
  world_.SendNumbers(1);
  loop_.Hold(2 * DatagramWriter::kPatience);
  loop_.RunUntilIdle();
  world_.Drain();
  loop_.RunUntilIdle();
  EXPECT_EQ(world_.server.Receive(), "0");
  EXPECT_THAT(world_.losses, IsEmpty());
}

TEST_F(DatagramWriterTest, APeerThatIsGoneLosesWhatWaitsAtOnce) {
  world_.Fill();
  world_.SendNumbers(20);
  world_.server.Close();
  loop_.RunUntilIdle();
  EXPECT_EQ(world_.losses, std::vector<int>(20, ECONNREFUSED));
  // The kernel has disconnected the socket.
  EXPECT_FALSE(world_.writer->Send("more"));
  EXPECT_EQ(world_.losses.back(), ENOTCONN);
}

TEST_F(DatagramWriterTest, TheNumberOfWaitingDatagramsIsLimited) {
  world_.Fill();
  world_.SendNumbers(DatagramWriter::kMaxWaiting);
  EXPECT_THAT(world_.losses, IsEmpty());
  EXPECT_FALSE(world_.writer->Send("too many"));
  EXPECT_EQ(world_.losses, std::vector<int>{EAGAIN});
}

TEST_F(DatagramWriterTest, ItsDestructionLosesWhatWaits) {
  world_.Fill();
  world_.SendNumbers(3);
  world_.writer.reset();
  EXPECT_EQ(world_.losses, std::vector<int>(3, EAGAIN));
  loop_.AdvanceBy(std::chrono::hours(1));
  EXPECT_THAT(world_.losses, SizeIs(3));
}

TEST_F(DatagramWriterTest, WithoutADescriptorToWatchAReadingPeerStillGetsAll) {
  // UndefinedBehaviorSanitizer needs a descriptor when it checks a type for the first time.
  world_.Fill();
  world_.SendNumbers(1);
  world_.Drain();
  loop_.RunUntilIdle();
  world_.Drain();

  world_.Fill();
  {
    const NoDescriptorLeft none;
    world_.SendNumbers(1);
  }
  world_.Drain();
  loop_.AdvanceBy(DatagramWriter::kPatience);
  EXPECT_EQ(world_.server.Receive(), "0");
  EXPECT_THAT(world_.losses, IsEmpty());
}

// The duplicate descriptor is closed when no datagrams wait.
TEST_F(DatagramWriterTest, HoldsADescriptorOnlyWhileDatagramsWait) {
  const auto next_descriptor = [] {
    const ScopedFd fd(open("/dev/null", O_RDONLY | O_CLOEXEC));
    return fd.get();
  };
  const int before = next_descriptor();
  world_.Fill();
  world_.SendNumbers(1);
  EXPECT_GT(next_descriptor(), before);
  world_.Drain();
  loop_.RunUntilIdle();
  EXPECT_EQ(next_descriptor(), before);
}

}  // namespace
}  // namespace orvane::platform
