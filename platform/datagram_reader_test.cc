#include "platform/datagram_reader.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/loop_test_driver.h"

namespace orvane::platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kBatch = DatagramReader::kDatagramsPerWakeUp;

class DatagramReaderTest : public BothLoopsTest {
 protected:
  DatagramReaderTest() {
    std::array<int, 2> fds = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, fds.data()), 0);
    socket_ = ScopedFd(fds[0]);
    peer_ = ScopedFd(fds[1]);
  }

  void Send(std::string_view datagram) {
    ASSERT_EQ(send(peer_.get(), datagram.data(), datagram.size(), 0),
              static_cast<ssize_t>(datagram.size()));
  }

  // Stores what it reads.
  void Read(int fd) {
    reader_ = std::make_unique<DatagramReader>(
        loop(), fd,
        [this](std::span<const std::uint8_t> bytes) { datagrams_.push_back(AsText(bytes)); },
        [this](std::string_view error) { errors_.emplace_back(error); });
  }

  static std::string AsText(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
  }

  ScopedFd socket_;
  ScopedFd peer_;
  std::vector<std::string> datagrams_;
  std::vector<std::string> errors_;
  std::unique_ptr<DatagramReader> reader_;
};

INSTANTIATE_TEST_SUITE_P(Loops, DatagramReaderTest, BothLoops(), LoopName);

TEST_P(DatagramReaderTest, ReadsAtOnceWhenAskedTo) {
  Read(socket_.get());
  reader_->ReadNow();
  EXPECT_THAT(datagrams_, IsEmpty());
  Send("one");
  Send("two");
  reader_->ReadNow();
  EXPECT_THAT(datagrams_, ElementsAre("one", "two"));
  RunUntilIdle();
  EXPECT_THAT(datagrams_, ElementsAre("one", "two"));
  EXPECT_THAT(errors_, IsEmpty());
}

TEST_P(DatagramReaderTest, ReadsNothingAnyMoreAfterAnError) {
  const ScopedFd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int fd = socket_.get();
  Read(fd);
  ASSERT_EQ(dup2(file.get(), fd), fd);
  reader_->ReadNow();
  EXPECT_THAT(errors_, ElementsAre(testing::HasSubstr("(88)")));
  reader_->ReadNow();
  EXPECT_EQ(errors_.size(), 1U);
}

TEST_P(DatagramReaderTest, GivesEachDatagramWhole) {
  Read(socket_.get());
  Send("one");
  Send("two");
  EXPECT_THAT(datagrams_, IsEmpty());
  RunUntilIdle();
  EXPECT_THAT(datagrams_, ElementsAre("one", "two"));
  Send("three");
  RunUntilIdle();
  EXPECT_THAT(datagrams_, ElementsAre("one", "two", "three"));
  EXPECT_THAT(errors_, IsEmpty());
}

TEST_P(DatagramReaderTest, ReadsWhatWasThereBeforeIt) {
  Send("before");
  Read(socket_.get());
  RunUntilIdle();
  EXPECT_THAT(datagrams_, ElementsAre("before"));
}

TEST_P(DatagramReaderTest, AnEmptyDatagramIsADatagram) {
  Read(socket_.get());
  Send("");
  Send("after");
  RunUntilIdle();
  EXPECT_THAT(datagrams_, ElementsAre("", "after"));
}

TEST_P(DatagramReaderTest, KeepsEveryByteOfTheLargestDatagram) {
  constexpr int kSendBuffer = 256 * 1024;
  setsockopt(peer_.get(), SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof(kSendBuffer));
  std::string large(64 * 1024, '\0');
  large.front() = 'a';
  large.back() = 'z';
  Read(socket_.get());
  Send(large);
  Send("small");
  RunUntilIdle();
  ASSERT_EQ(datagrams_.size(), 2U);
  EXPECT_TRUE(datagrams_[0] == large);
  EXPECT_EQ(datagrams_[1], "small");
}

TEST_P(DatagramReaderTest, TakesABoundedNumberOfDatagramsForEachWakeUp) {
  // The kernel limits the queue of a socket: the callback keeps it filled.
  int received = 0;
  reader_ = std::make_unique<DatagramReader>(
      loop(), socket_.get(),
      [&](std::span<const std::uint8_t> /*bytes*/) {
        ++received;
        Send("again");
      },
      [](std::string_view /*error*/) {});
  Send("first");
  int received_before_the_task = 0;
  EXPECT_TRUE(RunUntil([&] { return received > 0; }));
  EXPECT_EQ(received, kBatch);
  loop().PostTask([&] { received_before_the_task = received; });
  EXPECT_TRUE(RunUntil([&] { return received_before_the_task > 0; }));
  EXPECT_LE(received_before_the_task, 2 * kBatch);
  EXPECT_TRUE(RunUntil([&] { return received == 10 * kBatch; }));
}

TEST_P(DatagramReaderTest, ReadsManyDatagramsInOrder) {
  constexpr int kMany = 20'000;
  Read(socket_.get());
  int sent = 0;
  EXPECT_TRUE(RunUntil([&] {
    while (sent < kMany) {
      const std::string text = std::to_string(sent);
      if (send(peer_.get(), text.data(), text.size(), 0) < 0) break;
      ++sent;
    }
    return datagrams_.size() == kMany;
  }));
  for (int i = 0; i < kMany; ++i) {
    ASSERT_EQ(datagrams_[static_cast<std::size_t>(i)], std::to_string(i));
  }
}

TEST_P(DatagramReaderTest, StopsWithItsDestruction) {
  Read(socket_.get());
  Send("unread");
  reader_.reset();
  RunUntilIdle();
  EXPECT_THAT(datagrams_, IsEmpty());
}

TEST_P(DatagramReaderTest, ItsDataCallbackMayDestroyItAndGoOnReadingTheDatagram) {
  std::string text;
  reader_ = std::make_unique<DatagramReader>(
      loop(), socket_.get(),
      [this, &text, captured = std::string("captured text that is not short")](
          std::span<const std::uint8_t> bytes) {
        reader_.reset();
        text = AsText(bytes) + ", " + captured;
      },
      [](std::string_view /*error*/) {});
  Send("datagram");
  Send("another one");
  RunUntilIdle();
  EXPECT_EQ(text, "datagram, captured text that is not short");
}

TEST_P(DatagramReaderTest, ItsDataCallbackMayReplaceIt) {
  reader_ = std::make_unique<DatagramReader>(
      loop(), socket_.get(),
      [this](std::span<const std::uint8_t> bytes) {
        datagrams_.push_back("first reader: " + AsText(bytes));
        reader_.reset();
        Read(socket_.get());
      },
      [](std::string_view /*error*/) {});
  Send("one");
  Send("two");
  RunUntilIdle();
  EXPECT_THAT(datagrams_, ElementsAre("first reader: one", "two"));
}

// A pipe can be watched, but not read as a socket.
class BrokenInput {
 public:
  BrokenInput() {
    std::array<int, 2> fds = {-1, -1};
    EXPECT_EQ(pipe2(fds.data(), O_CLOEXEC | O_NONBLOCK), 0);
    reader_ = ScopedFd(fds[0]);
    writer_ = ScopedFd(fds[1]);
    EXPECT_EQ(write(writer_.get(), "x", 1), 1);
  }
  int fd() const { return reader_.get(); }

 private:
  ScopedFd reader_;
  ScopedFd writer_;
};

TEST_P(DatagramReaderTest, ReportsAnErrorOnceAndReadsNoMore) {
  const BrokenInput input;
  Read(input.fd());
  RunUntilIdle();
  EXPECT_THAT(errors_, ElementsAre("Socket operation on non-socket (88)"));
  EXPECT_THAT(datagrams_, IsEmpty());
}

TEST_P(DatagramReaderTest, ItsErrorCallbackMayDestroyIt) {
  const BrokenInput input;
  std::string text;
  reader_ = std::make_unique<DatagramReader>(
      loop(), input.fd(), [](std::span<const std::uint8_t> /*bytes*/) {},
      [this, &text,
       captured = std::string("captured text that is not short")](std::string_view error) {
        reader_.reset();
        text = captured + ": " + std::string(error);
      });
  RunUntilIdle();
  EXPECT_EQ(text, "captured text that is not short: Socket operation on non-socket (88)");
}

using DatagramReaderDeathTest = DatagramReaderTest;

INSTANTIATE_TEST_SUITE_P(Loops, DatagramReaderDeathTest, BothLoops(), LoopName);

TEST_P(DatagramReaderDeathTest, ADescriptorThatCannotBeWatchedIsFatal) {
  EXPECT_DEATH(
      {
        const auto driver = GetParam().make_driver();
        const DatagramReader reader(
            driver->loop(), -1, [](auto) {}, [](auto) {});
      },
      "Check failed: state_->watch != nullptr");
}

}  // namespace
}  // namespace orvane::platform
