#include "platform/bus/messages.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/offline_message.h"

namespace orvane::platform::bus {
namespace {

using testbed::OfflineMessages;

class MessagesTest : public testing::Test {
 protected:
  std::string Signature() { return sd_bus_message_get_signature(message_.get(), 1); }
  void Seal() { OfflineMessages::Seal(message_.get()); }

  OfflineMessages messages_;
  MessagePtr message_ = messages_.New();
  MessageWriter writer_{message_.get()};
  MessageReader reader_{message_.get()};
};

TEST_F(MessagesTest, StringsComeBackAndStopAtTheEnd) {
  writer_.AppendString("");
  writer_.AppendString("text");
  EXPECT_TRUE(writer_.ok());
  Seal();
  EXPECT_TRUE(reader_.HasMore());
  EXPECT_EQ(reader_.PopString(), "");
  EXPECT_EQ(reader_.PopString(), "text");
  EXPECT_FALSE(reader_.HasMore());
  EXPECT_EQ(reader_.PopString(), std::nullopt);
}

class BadStringTest : public MessagesTest, public testing::WithParamInterface<std::string> {};

TEST_P(BadStringTest, IsAFailureAndNothingComesAfter) {
  writer_.AppendString(GetParam());
  EXPECT_FALSE(writer_.ok());
  const std::string before = Signature();
  writer_.AppendString("good");
  EXPECT_FALSE(writer_.ok());
  EXPECT_EQ(Signature(), before);
}

INSTANTIATE_TEST_SUITE_P(All, BadStringTest,
                         testing::Values(std::string("\xff\xfe"), std::string("a\0b", 3)));

TEST_F(MessagesTest, ANullMessageIsAFailure) { EXPECT_FALSE(MessageWriter(nullptr).ok()); }

class BytesTest : public MessagesTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(BytesTest, ComeBackAsOneArray) {
  std::vector<std::uint8_t> bytes(GetParam());
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7);
  writer_.AppendBytes(bytes);
  EXPECT_TRUE(writer_.ok());
  EXPECT_EQ(Signature(), "ay");
  Seal();
  const auto read = reader_.PopBytes();
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(std::vector<std::uint8_t>(read->begin(), read->end()), bytes);
}

INSTANTIATE_TEST_SUITE_P(All, BytesTest, testing::Values(0, 1, 1 << 20));

TEST_F(MessagesTest, BytesOverTheLimitAreAFailure) {
  const std::vector<std::uint8_t> bytes(std::size_t{32} << 20);
  writer_.AppendBytes(bytes);
  EXPECT_FALSE(writer_.ok());
}

TEST_F(MessagesTest, AMapIsWrittenInTheOrderOfItsKeys) {
  writer_.AppendStringMap({{"b", "2"}, {"a", "1"}});
  EXPECT_EQ(Signature(), "a{ss}");
  Seal();
  const ReadScope array(reader_, SD_BUS_TYPE_ARRAY, "{ss}");
  std::vector<std::string> texts;
  while (reader_.HasMore()) {
    const ReadScope entry(reader_, SD_BUS_TYPE_DICT_ENTRY, "ss");
    texts.emplace_back(reader_.PopString().value_or("none"));
    texts.emplace_back(reader_.PopString().value_or("none"));
  }
  EXPECT_EQ(texts, (std::vector<std::string>{"a", "1", "b", "2"}));
}

struct AnyCase {
  Any value;
  char type;

  friend std::ostream& operator<<(std::ostream& stream, const AnyCase& any) {
    stream << any.type;
    if (const bool* truth = std::get_if<bool>(&any.value)) stream << (*truth ? " true" : " false");
    return stream;
  }
};

class AnyTest : public MessagesTest, public testing::WithParamInterface<AnyCase> {};

TEST_P(AnyTest, TravelsAsAVariantOfItsType) {
  writer_.AppendVariant(GetParam().value);
  EXPECT_TRUE(writer_.ok());
  EXPECT_EQ(Signature(), "v");
  Seal();
  const char* contents = nullptr;
  ASSERT_GT(sd_bus_message_peek_type(message_.get(), nullptr, &contents), 0);
  EXPECT_EQ(contents, std::string(1, GetParam().type));
  EXPECT_EQ(reader_.PopVariant(), GetParam().value);
  EXPECT_FALSE(reader_.HasMore());
}

TEST_F(MessagesTest, AVariantThatNoAnyCanHoldStaysInPlace) {
  {
    const WriteScope variant(writer_, SD_BUS_TYPE_VARIANT, "as");
    const WriteScope array(writer_, SD_BUS_TYPE_ARRAY, "s");
  }
  Seal();
  EXPECT_EQ(reader_.PopVariant(), std::nullopt);
  EXPECT_TRUE(reader_.NextIs(SD_BUS_TYPE_VARIANT));
}

TEST_F(MessagesTest, WhatIsNoVariantIsNotReadAsOne) {
  writer_.AppendString("text");
  Seal();
  EXPECT_EQ(reader_.PopVariant(), std::nullopt);
  EXPECT_EQ(reader_.PopString(), "text");
  EXPECT_EQ(reader_.PopVariant(), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    All, AnyTest,
    testing::Values(AnyCase{true, 'b'}, AnyCase{false, 'b'}, AnyCase{std::uint8_t{255}, 'y'},
                    AnyCase{std::int16_t{-32768}, 'n'}, AnyCase{std::uint16_t{65535}, 'q'},
                    AnyCase{std::int32_t{-5}, 'i'}, AnyCase{std::uint32_t{4'000'000'000}, 'u'},
                    AnyCase{std::int64_t{-1} << 40, 'x'}, AnyCase{~std::uint64_t{0}, 't'},
                    AnyCase{2.5, 'd'}, AnyCase{std::string("text"), 's'}));

TEST_F(MessagesTest, AReadOfTheWrongTypeStaysInPlace) {
  writer_.AppendString("text");
  Seal();
  EXPECT_EQ(reader_.PopBytes(), std::nullopt);
  EXPECT_FALSE(ReadScope(reader_, SD_BUS_TYPE_ARRAY, nullptr));
  EXPECT_FALSE(reader_.NextIs(SD_BUS_TYPE_ARRAY));
  EXPECT_TRUE(reader_.NextIs(SD_BUS_TYPE_STRING));
  EXPECT_EQ(reader_.PopString(), "text");
  EXPECT_FALSE(reader_.NextIs(SD_BUS_TYPE_STRING));
}

TEST_F(MessagesTest, AScopeSkipsWhatWasNotRead) {
  writer_.AppendStringMap({{"a", "1"}, {"b", "2"}});
  writer_.AppendVariant(std::string("skipped"));
  writer_.AppendString("behind");
  Seal();
  {
    const ReadScope array(reader_, SD_BUS_TYPE_ARRAY, "{ss}");
    const ReadScope entry(reader_, SD_BUS_TYPE_DICT_ENTRY, "ss");
    EXPECT_EQ(reader_.PopString(), "a");
  }
  {
    // Left without reading its contents.
    const ReadScope variant(reader_, SD_BUS_TYPE_VARIANT, nullptr);
  }
  EXPECT_EQ(reader_.PopString(), "behind");
}

TEST(BusErrorTest, ANumberGetsTheNameThatTheLibraryHasForIt) {
  std::unique_ptr<Error> error;
  AddErrno(&error, EACCES);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kDBusErrorDomain);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.AccessDenied");
  EXPECT_EQ(error->message(), "Permission denied");
}

TEST(BusErrorTest, AnErrorWithoutATextHasAnEmptyOne) {
  std::unique_ptr<Error> error;
  AddBusError(&error, SD_BUS_ERROR_MAKE_CONST("a.b.C", nullptr));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), "a.b.C");
  EXPECT_EQ(error->message(), "");
}

}  // namespace
}  // namespace orvane::platform::bus
