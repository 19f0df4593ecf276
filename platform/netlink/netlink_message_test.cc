#include "platform/netlink/netlink_message.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "simulation/message_builder.h"

namespace orvane::platform {
namespace {

using simulation::AttributeBuilder;
using simulation::BytesBuilder;
using simulation::MakeDoneMessage;
using simulation::MakeErrorMessage;
using simulation::MakeGenericMessage;
using simulation::MakeNetlinkMessage;

using Bytes = std::vector<std::uint8_t>;

NetlinkMessage Take(const Bytes& bytes) {
  std::span<const std::uint8_t> rest(bytes);
  const std::optional<NetlinkMessage> message = NetlinkMessage::TakeFrom(&rest);
  EXPECT_TRUE(message.has_value());
  return *message;
}

TEST(NetlinkMessageTest, TakesMessagesOneAfterTheOther) {
  Bytes bytes = MakeNetlinkMessage({100, 1, 2, 3}, Bytes{1, 2, 3, 4, 5});
  const Bytes second = MakeNetlinkMessage({101, 4, 5, 6}, {});
  bytes.insert(bytes.end(), second.begin(), second.end());

  std::span<const std::uint8_t> rest(bytes);
  const auto first = NetlinkMessage::TakeFrom(&rest);
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first->type(), 100);
  EXPECT_EQ(first->flags(), 1);
  EXPECT_EQ(first->sequence(), 2U);
  EXPECT_EQ(first->port(), 3U);
  EXPECT_EQ(Bytes(first->payload().begin(), first->payload().end()), (Bytes{1, 2, 3, 4, 5}));
  const auto next = NetlinkMessage::TakeFrom(&rest);
  ASSERT_TRUE(next.has_value());
  EXPECT_EQ(next->type(), 101);
  EXPECT_TRUE(next->payload().empty());
  EXPECT_TRUE(rest.empty());
  EXPECT_FALSE(NetlinkMessage::TakeFrom(&rest).has_value());
}

TEST(NetlinkMessageTest, TakesNoBrokenMessage) {
  const Bytes whole = MakeNetlinkMessage({100, 1, 2, 3}, Bytes{1, 2, 3, 4});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    std::span<const std::uint8_t> rest(cut);
    EXPECT_FALSE(NetlinkMessage::TakeFrom(&rest).has_value()) << size;
    EXPECT_EQ(rest.size(), size);
  }
  for (const std::uint32_t length : {0U, 15U, 21U, 0x7fffffffU, 0xfffffffdU, 0xffffffffU}) {
    Bytes bytes = BytesBuilder().Value(nlmsghdr{length, 100, 0, 0, 0}).Append(Bytes(4)).bytes();
    std::span<const std::uint8_t> rest(bytes);
    EXPECT_FALSE(NetlinkMessage::TakeFrom(&rest).has_value()) << length;
  }
}

TEST(NetlinkMessageTest, ThePaddingOfTheLastOneMayBeMissing) {
  Bytes bytes = MakeNetlinkMessage({100}, Bytes{1});
  bytes.resize(NLMSG_HDRLEN + 1);
  std::span<const std::uint8_t> rest(bytes);
  EXPECT_TRUE(NetlinkMessage::TakeFrom(&rest).has_value());
  EXPECT_TRUE(rest.empty());
}

TEST(NetlinkMessageTest, DistinguishesTheKinds) {
  const Bytes done = MakeDoneMessage({});
  EXPECT_TRUE(Take(done).IsDone());
  EXPECT_FALSE(Take(done).IsError());
  EXPECT_EQ(Take(done).GetError(), 0);

  const Bytes acknowledgement = MakeErrorMessage({}, 0);
  EXPECT_FALSE(Take(acknowledgement).IsDone());
  EXPECT_TRUE(Take(acknowledgement).IsError());
  EXPECT_EQ(Take(acknowledgement).GetError(), 0);

  const Bytes error = MakeErrorMessage({}, -ENODEV);
  EXPECT_TRUE(Take(error).IsError());
  EXPECT_EQ(Take(error).GetError(), -ENODEV);
  EXPECT_EQ(Take(error).GetErrno(), ENODEV);

  const Bytes other = MakeNetlinkMessage({28}, BytesBuilder().Value(std::int32_t{-5}).bytes());
  EXPECT_FALSE(Take(other).IsDone());
  EXPECT_FALSE(Take(other).IsError());
  EXPECT_EQ(Take(other).GetError(), 0);
}

TEST(NetlinkMessageTest, ADoneMessageThatBearsAnErrorIsAnError) {
  const Bytes bytes = MakeDoneMessage({}, -ENODEV);
  EXPECT_FALSE(Take(bytes).IsDone());
  EXPECT_TRUE(Take(bytes).IsError());
  EXPECT_EQ(Take(bytes).GetErrno(), ENODEV);
  EXPECT_EQ(Take(bytes).GetErrorText(), "No such device (19)");
}

TEST(NetlinkMessageTest, AResultMayBeMissing) {
  const Bytes done = MakeNetlinkMessage({NLMSG_DONE}, Bytes{1, 2, 3});
  EXPECT_TRUE(Take(done).IsDone());
  const Bytes error = MakeNetlinkMessage({NLMSG_ERROR}, Bytes{1, 2, 3});
  EXPECT_FALSE(Take(error).IsError());
  EXPECT_EQ(Take(error).GetError(), 0);
}

TEST(NetlinkMessageTest, TheTextHasTheErrorAndTheKernelsMessage) {
  EXPECT_EQ(Take(MakeErrorMessage({}, -EPERM)).GetErrorText(), "Operation not permitted (1)");
  const Bytes bytes = MakeErrorMessage({}, -EINVAL, "Attribute failed policy validation");
  EXPECT_EQ(Take(bytes).GetErrorText(),
            "Invalid argument (22): Attribute failed policy validation");
}

TEST(NetlinkMessageTest, TheTextIsReadBehindTheCopiedRequest) {
  const Bytes payload = BytesBuilder()
                            .Value(std::int32_t{-EBUSY})
                            .Value(nlmsghdr{NLMSG_HDRLEN + 5, 28, 0, 0, 0})
                            .Append(Bytes(8, 0xff))
                            .Append(AttributeBuilder().Text(NLMSGERR_ATTR_MSG, "later").bytes())
                            .bytes();
  const Bytes bytes = MakeNetlinkMessage({NLMSG_ERROR, NLM_F_ACK_TLVS}, payload);
  EXPECT_EQ(Take(bytes).GetErrorText(), "Device or resource busy (16): later");
}

TEST(NetlinkMessageTest, ADoneMessageMayHaveATextToo) {
  const Bytes payload = BytesBuilder()
                            .Value(std::int32_t{-EBUSY})
                            .Append(AttributeBuilder().Text(NLMSGERR_ATTR_MSG, "later").bytes())
                            .bytes();
  const Bytes bytes = MakeNetlinkMessage({NLMSG_DONE, NLM_F_ACK_TLVS}, payload);
  EXPECT_EQ(Take(bytes).GetErrorText(), "Device or resource busy (16): later");
}

TEST(NetlinkMessageTest, AMalformedTextIsIgnored) {
  const Bytes error = BytesBuilder().Value(std::int32_t{-EPERM}).bytes();
  for (const std::uint32_t length : {0U, 15U, 17U, 4000U, 0xffffffffU}) {
    for (const int capped : {0, NLM_F_CAPPED}) {
      const Bytes payload =
          BytesBuilder().Append(error).Value(nlmsghdr{length, 0, 0, 0, 0}).bytes();
      const auto flags = static_cast<std::uint16_t>(NLM_F_ACK_TLVS | capped);
      const Bytes bytes = MakeNetlinkMessage({NLMSG_ERROR, flags}, payload);
      EXPECT_EQ(Take(bytes).GetErrorText(), "Operation not permitted (1)") << length;
    }
  }
  const Bytes no_request = MakeNetlinkMessage({NLMSG_ERROR, NLM_F_ACK_TLVS}, error);
  EXPECT_EQ(Take(no_request).GetErrorText(), "Operation not permitted (1)");
  // Without a terminating null byte.
  const Bytes payload = BytesBuilder()
                            .Append(error)
                            .Append(Bytes(NLMSG_HDRLEN))
                            .Append(AttributeBuilder().Raw(NLMSGERR_ATTR_MSG, {'a', 'b'}).bytes())
                            .bytes();
  const Bytes unended = MakeNetlinkMessage({NLMSG_ERROR, NLM_F_ACK_TLVS | NLM_F_CAPPED}, payload);
  EXPECT_EQ(Take(unended).GetErrorText(), "Operation not permitted (1): ab");
}

TEST(NetlinkMessageTest, ErrorsOutOfRangeAreSurvived) {
  constexpr std::int32_t kSmallest = std::numeric_limits<std::int32_t>::min();
  const Bytes smallest = MakeErrorMessage({}, kSmallest);
  EXPECT_EQ(Take(smallest).GetErrno(), kSmallest);
  EXPECT_NE(Take(smallest).GetErrorText(), "");
  const Bytes positive = MakeErrorMessage({}, 5);
  EXPECT_EQ(Take(positive).GetErrno(), -5);
  EXPECT_NE(Take(positive).GetErrorText(), "");
}

TEST(GenericNetlinkMessageTest, HasACommandAndAttributes) {
  const Bytes bytes = MakeGenericMessage({28}, 17, AttributeBuilder().U32(3, 9));
  const auto message = GenericNetlinkMessage::From(Take(bytes));
  ASSERT_TRUE(message.has_value());
  EXPECT_EQ(message->command(), 17);
  EXPECT_EQ(message->const_attributes()->Get<std::uint32_t>(3), 9U);
}

TEST(GenericNetlinkMessageTest, IsNotTooShort) {
  for (std::size_t size = 0; size <= GENL_HDRLEN; ++size) {
    const Bytes bytes = MakeNetlinkMessage({28}, Bytes(size));
    EXPECT_EQ(GenericNetlinkMessage::From(Take(bytes)).has_value(), size == GENL_HDRLEN) << size;
  }
}

}  // namespace
}  // namespace orvane::platform
