#include "platform/bus/property.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "testbed/offline_message.h"

namespace orvane::platform::bus {
namespace {

using testbed::OfflineMessages;

using Entries = std::vector<std::pair<std::string, std::string>>;

void AppendEntries(MessageWriter& writer, const Entries& entries) {
  const WriteScope array(writer, SD_BUS_TYPE_ARRAY, "{ss}");
  for (const auto& [key, value] : entries) {
    const WriteScope entry(writer, SD_BUS_TYPE_DICT_ENTRY, "ss");
    writer.AppendString(key);
    writer.AppendString(value);
  }
}

class StringMapPropertyTest : public testing::Test {
 protected:
  // Passes a variant with this signature and contents to PopValue. Returns nothing if the position
  // afterwards is not behind the variant.
  std::optional<bool> Pop(const char* contents, const std::function<void(MessageWriter&)>& fill) {
    const MessagePtr message = messages_.New();
    MessageWriter writer(message.get());
    {
      const WriteScope variant(writer, SD_BUS_TYPE_VARIANT, contents);
      fill(writer);
    }
    writer.AppendString("behind");
    EXPECT_TRUE(writer.ok());
    OfflineMessages::Seal(message.get());
    MessageReader reader(message.get());
    const bool result = property_.PopValue(reader);
    if (reader.PopString() != "behind") return std::nullopt;
    return result;
  }

  std::optional<bool> PopEntries(const Entries& entries) {
    return Pop("a{ss}", [&](MessageWriter& writer) { AppendEntries(writer, entries); });
  }

  OfflineMessages messages_;
  StringMapProperty property_;
};

TEST_F(StringMapPropertyTest, TheValueReplacesTheOneBefore) {
  EXPECT_EQ(PopEntries({{"b", "2"}, {"a", "1"}}), true);
  EXPECT_EQ(property_.value(), (StringMap{{"a", "1"}, {"b", "2"}}));
  EXPECT_EQ(PopEntries({{"c", ""}}), true);
  EXPECT_EQ(property_.value(), (StringMap{{"c", ""}}));
  EXPECT_EQ(PopEntries({}), true);
  EXPECT_EQ(property_.value(), StringMap{});
}

TEST_F(StringMapPropertyTest, TheFirstOfTwoEntriesWithOneKeyCounts) {
  EXPECT_EQ(PopEntries({{"a", "first"}, {"b", "2"}, {"a", "second"}}), true);
  EXPECT_EQ(property_.value(), (StringMap{{"a", "first"}, {"b", "2"}}));
}

TEST_F(StringMapPropertyTest, OneMoreVariantIsOpened) {
  EXPECT_EQ(Pop("v",
                [](MessageWriter& writer) {
                  const WriteScope inner(writer, SD_BUS_TYPE_VARIANT, "a{ss}");
                  AppendEntries(writer, {{"a", "1"}});
                }),
            true);
  EXPECT_EQ(property_.value(), (StringMap{{"a", "1"}}));
}

TEST_F(StringMapPropertyTest, TwoMoreVariantsAreAFailure) {
  PopEntries({{"old", "1"}});
  EXPECT_EQ(Pop("v",
                [](MessageWriter& writer) {
                  const WriteScope inner(writer, SD_BUS_TYPE_VARIANT, "v");
                  const WriteScope innermost(writer, SD_BUS_TYPE_VARIANT, "a{ss}");
                  AppendEntries(writer, {{"a", "1"}});
                }),
            false);
  EXPECT_EQ(property_.value(), (StringMap{{"old", "1"}}));
}

TEST_F(StringMapPropertyTest, WhatIsNoArrayLeavesTheValue) {
  PopEntries({{"old", "1"}});
  EXPECT_EQ(Pop("s", [](MessageWriter& writer) { writer.AppendString("text"); }), false);
  EXPECT_EQ(Pop("(s)",
                [](MessageWriter& writer) {
                  const WriteScope structure(writer, SD_BUS_TYPE_STRUCT, "s");
                  writer.AppendString("text");
                }),
            false);
  EXPECT_EQ(property_.value(), (StringMap{{"old", "1"}}));
}

class EmptyArrayTest : public StringMapPropertyTest,
                       public testing::WithParamInterface<const char*> {};

TEST_P(EmptyArrayTest, IsAnEmptyMap) {
  PopEntries({{"old", "1"}});
  EXPECT_EQ(Pop((std::string("a") + GetParam()).c_str(),
                [](MessageWriter& writer) {
                  const WriteScope array(writer, SD_BUS_TYPE_ARRAY, GetParam());
                }),
            true);
  EXPECT_EQ(property_.value(), StringMap{});
}

INSTANTIATE_TEST_SUITE_P(All, EmptyArrayTest,
                         testing::Values("{ss}", "{sv}", "s", "y", "i", "(ss)", "ax", "v"));

TEST_F(StringMapPropertyTest, EntriesOfOtherTypesAreAFailureOfAnEmptiedMap) {
  PopEntries({{"old", "1"}});
  EXPECT_EQ(Pop("a{sv}",
                [](MessageWriter& writer) {
                  const WriteScope array(writer, SD_BUS_TYPE_ARRAY, "{sv}");
                  const WriteScope entry(writer, SD_BUS_TYPE_DICT_ENTRY, "sv");
                  writer.AppendString("a");
                  writer.AppendVariant(std::string("1"));
                }),
            false);
  EXPECT_EQ(property_.value(), StringMap{});
  PopEntries({{"old", "1"}});
  EXPECT_EQ(Pop("as",
                [](MessageWriter& writer) {
                  const WriteScope array(writer, SD_BUS_TYPE_ARRAY, "s");
                  writer.AppendString("a");
                  writer.AppendString("b");
                }),
            false);
  EXPECT_EQ(property_.value(), StringMap{});
}

// Neither the writer above nor the bus accepts such a message, but the reader does not rely on
// that.
TEST_F(StringMapPropertyTest, TheEntriesBeforeAMalformedOneStay) {
  const MessagePtr message = messages_.New();
  MessageWriter writer(message.get());
  {
    const WriteScope variant(writer, SD_BUS_TYPE_VARIANT, "a{ss}");
    AppendEntries(writer, {{"a", "1"}, {"b", "?"}, {"c", "3"}});
  }
  OfflineMessages::Seal(message.get());
  MessageReader reader(message.get());
  const char* text = nullptr;
  {
    const ReadScope variant(reader, SD_BUS_TYPE_VARIANT, "a{ss}");
    const ReadScope array(reader, SD_BUS_TYPE_ARRAY, "{ss}");
    {
      // Left without reading its contents.
      const ReadScope first(reader, SD_BUS_TYPE_DICT_ENTRY, "ss");
    }
    const ReadScope second(reader, SD_BUS_TYPE_DICT_ENTRY, "ss");
    reader.PopString();
    text = reader.PopString()->data();
  }
  const_cast<char&>(*text) = '\xff';
  sd_bus_message_rewind(message.get(), 1);
  EXPECT_FALSE(property_.PopValue(reader));
  EXPECT_EQ(property_.value(), (StringMap{{"a", "1"}}));
}

TEST_F(StringMapPropertyTest, WhatIsNoVariantIsAFailure) {
  const MessagePtr message = messages_.New();
  MessageWriter(message.get()).AppendString("text");
  OfflineMessages::Seal(message.get());
  MessageReader reader(message.get());
  EXPECT_FALSE(property_.PopValue(reader));
}

TEST_F(StringMapPropertyTest, ManyKeysAndALongValue) {
  Entries entries;
  for (int i = 0; i < 10'000; ++i) entries.emplace_back("key" + std::to_string(i), "value");
  entries.emplace_back("long", std::string(1 << 20, 'x'));
  EXPECT_EQ(PopEntries(entries), true);
  EXPECT_EQ(property_.value().size(), 10'001U);
  EXPECT_EQ(property_.value().at("long").size(), std::size_t{1} << 20);
}

TEST_F(StringMapPropertyTest, ThePendingValueIsWrittenAsItIsRead) {
  property_.set_pending_value({{"b", "2"}, {"a", "1"}});
  const MessagePtr message = messages_.New();
  MessageWriter writer(message.get());
  property_.AppendSetValue(writer);
  EXPECT_TRUE(writer.ok());
  OfflineMessages::Seal(message.get());
  EXPECT_STREQ(sd_bus_message_get_signature(message.get(), 1), "v");
  MessageReader reader(message.get());
  EXPECT_EQ(property_.value(), StringMap{});
  EXPECT_TRUE(property_.PopValue(reader));
  EXPECT_EQ(property_.value(), (StringMap{{"a", "1"}, {"b", "2"}}));
}

}  // namespace
}  // namespace orvane::platform::bus
