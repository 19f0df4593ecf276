#include "bridge/unix_address.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

namespace orvane::bridge {
namespace {

sockaddr_un Raw(std::string_view bytes) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  bytes.copy(address.sun_path, sizeof(address.sun_path));
  return address;
}

constexpr std::string_view kAbstract("\0name", 5);

TEST(UnixAddressTest, HasTheNameOfAPathAndOfAnAbstractAddress) {
  EXPECT_EQ(UnixAddress(Raw("/run/x"), sizeof(sockaddr_un)).Name(), "/run/x");
  EXPECT_EQ(UnixAddress(Raw(kAbstract), sizeof(sockaddr_un)).Name(), "name");
  EXPECT_EQ(UnixAddress(Raw(kAbstract), 5).Name(), "na");
}

TEST(UnixAddressTest, RecognisesAnUnnamedSocket) {
  EXPECT_TRUE(UnixAddress().IsUnnamed());
  EXPECT_TRUE(UnixAddress(Raw("x"), sizeof(sa_family_t)).IsUnnamed());
  EXPECT_TRUE(UnixAddress(Raw("x"), sizeof(sockaddr_un) + 1).IsUnnamed());
  EXPECT_FALSE(UnixAddress(Raw("x"), sizeof(sa_family_t) + 1).IsUnnamed());
}

TEST(UnixAddressTest, WritesTheSameBytesAgain) {
  for (const std::size_t length : {sizeof(sa_family_t) + 1, std::size_t{20}, sizeof(sockaddr_un)}) {
    const sockaddr_un raw = Raw(kAbstract);
    sockaddr_un written;
    EXPECT_EQ(UnixAddress(raw, static_cast<socklen_t>(length)).Write(&written), length);
    EXPECT_EQ(std::memcmp(&written, &raw, length), 0);
  }
}

TEST(UnixAddressTest, HoldsThePathOfAFile) {
  const auto address = UnixAddress::OfFile("/run/x");
  ASSERT_TRUE(address.has_value());
  EXPECT_EQ(address->Name(), "/run/x");
}

TEST(UnixAddressTest, RefusesAPathWithoutRoomForItsEnd) {
  constexpr std::size_t kLongest = sizeof(sockaddr_un::sun_path) - 1;
  EXPECT_TRUE(UnixAddress::OfFile(std::string(kLongest, 'x')).has_value());
  EXPECT_FALSE(UnixAddress::OfFile(std::string(kLongest + 1, 'x')).has_value());
  EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST(UnixAddressTest, ComparesEveryByte) {
  const UnixAddress whole(Raw(kAbstract), sizeof(sockaddr_un));
  EXPECT_EQ(whole, UnixAddress(Raw(kAbstract), sizeof(sockaddr_un)));
  EXPECT_NE(whole, UnixAddress(Raw(kAbstract), sizeof(sockaddr_un) - 1));
  EXPECT_NE(whole, UnixAddress(Raw("name"), sizeof(sockaddr_un)));
}

}  // namespace
}  // namespace orvane::bridge
