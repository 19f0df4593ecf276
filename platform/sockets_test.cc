#include "platform/sockets.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "platform/files.h"

namespace orvane::platform {
namespace {

// Returns an abstract address of this process with full size: every byte counts.
sockaddr_un MakeAddress(const std::string& name) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string text = name + std::to_string(getpid());
  std::memcpy(address.sun_path + 1, text.data(), text.size());
  return address;
}

const sockaddr* AsSockaddr(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

class SocketsTest : public testing::Test {
 protected:
  ScopedFd MakeSocket() { return ScopedFd(sockets_.Socket(AF_UNIX, SOCK_DGRAM, 0)); }

  ScopedFd MakeServer(const sockaddr_un& address) {
    ScopedFd server = MakeSocket();
    EXPECT_EQ(sockets_.Bind(server.get(), AsSockaddr(address), sizeof(address)), 0);
    return server;
  }

  Sockets sockets_;
};

TEST_F(SocketsTest, MakesSocketsThatNeitherBlockNorLeak) {
  const ScopedFd fd = MakeSocket();
  ASSERT_TRUE(fd.is_valid());
  EXPECT_TRUE((fcntl(fd.get(), F_GETFL) & O_NONBLOCK) != 0);
  EXPECT_TRUE((fcntl(fd.get(), F_GETFD) & FD_CLOEXEC) != 0);
}

TEST_F(SocketsTest, ReportsASocketThatCannotBeMade) {
  EXPECT_EQ(sockets_.Socket(-1, SOCK_DGRAM, 0), -1);
  EXPECT_EQ(errno, EAFNOSUPPORT);
}

TEST_F(SocketsTest, CarriesADatagram) {
  const sockaddr_un address = MakeAddress("sockets_test_server");
  const ScopedFd server = MakeServer(address);
  const ScopedFd client = MakeSocket();
  ASSERT_EQ(sockets_.Connect(client.get(), AsSockaddr(address), sizeof(address)), 0);
  EXPECT_EQ(sockets_.Send(client.get(), "PING", 4, 0), 4);
  char buffer[8] = {};
  EXPECT_EQ(recv(server.get(), buffer, sizeof(buffer), 0), 4);
  EXPECT_STREQ(buffer, "PING");
}

TEST_F(SocketsTest, ReportsANameThatIsTaken) {
  const sockaddr_un address = MakeAddress("sockets_test_taken");
  const ScopedFd server = MakeServer(address);
  const ScopedFd second = MakeSocket();
  EXPECT_EQ(sockets_.Bind(second.get(), AsSockaddr(address), sizeof(address)), -1);
  EXPECT_EQ(errno, EADDRINUSE);
}

TEST_F(SocketsTest, ReportsAPeerThatIsNotThere) {
  const sockaddr_un address = MakeAddress("sockets_test_nobody");
  const ScopedFd client = MakeSocket();
  EXPECT_EQ(sockets_.Connect(client.get(), AsSockaddr(address), sizeof(address)), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(SocketsTest, APeerThatDoesNotReadShowsAsAFailedSend) {
  const sockaddr_un address = MakeAddress("sockets_test_hung");
  const ScopedFd server = MakeServer(address);
  const ScopedFd client = MakeSocket();
  ASSERT_EQ(sockets_.Connect(client.get(), AsSockaddr(address), sizeof(address)), 0);
  int sent = 0;
  while (sent < 100'000 && sockets_.Send(client.get(), "PING", 4, 0) == 4) ++sent;
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_LT(sent, 100'000);
}

TEST_F(SocketsTest, ClosesADescriptorOnce) {
  const int fd = sockets_.Socket(AF_UNIX, SOCK_DGRAM, 0);
  EXPECT_EQ(sockets_.Close(fd), 0);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
  EXPECT_EQ(sockets_.Close(fd), -1);
  EXPECT_EQ(errno, EBADF);
}

}  // namespace
}  // namespace orvane::platform
