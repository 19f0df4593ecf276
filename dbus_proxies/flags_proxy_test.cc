#include "dbus_proxies/flags_proxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "testbed/bus_fixture.h"
#include "testbed/fake_property_service.h"

namespace org::velmora::ap {
namespace {

using orvane::testbed::AppendStringMapProperties;

using orvane::platform::Severity;
using orvane::platform::bus::MessageWriter;
using orvane::platform::bus::StringMap;
using orvane::platform::bus::WriteScope;
using orvane::testbed::FakePropertyService;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kName[] = "org.velmora.ap.Flags";
constexpr char kPath[] = "/org/velmora/ap/Flags";

class FlagsProxyTest : public orvane::testbed::BusTest {
 protected:
  static FakePropertyService::Filler Flags(StringMap flags) {
    return [flags = std::move(flags)](MessageWriter& writer) {
      AppendStringMapProperties(writer, {{"Flags", flags}});
    };
  }

  // Stores the map at each change.
  void Initialize() {
    proxy_->InitializeProperties([this](FlagsProxyInterface* proxy, const std::string& name) {
      EXPECT_EQ(proxy, proxy_.get());
      EXPECT_EQ(name, "Flags");
      seen_.push_back(proxy->flags());
    });
  }

  bool RunUntilSeen(std::size_t count) {
    return RunUntil([this, count] { return seen_.size() >= count; });
  }

  FakePropertyService service_{loop_, kPath, kName};
  std::unique_ptr<FlagsProxy> proxy_ = std::make_unique<FlagsProxy>(connection_, kName);
  std::vector<StringMap> seen_;
};

TEST_F(FlagsProxyTest, IsTheFlagsObjectOfTheServiceGiven) {
  EXPECT_EQ(proxy_->GetObjectPath(), kPath);
  EXPECT_EQ(proxy_->GetObjectProxy(), connection_->GetObjectProxy(kName, kPath));
}

TEST_F(FlagsProxyTest, AsksForNothingBeforeItIsInitialized) {
  service_.peer().RequestName(kName);
  Settle();
  EXPECT_EQ(service_.get_all_calls(), 0);
}

using FlagsProxyDeathTest = FlagsProxyTest;

TEST_F(FlagsProxyDeathTest, HasNoFlagsBeforeItIsInitialized) {
  EXPECT_DEATH(proxy_->flags(), "Check failed: property_set_");
}

TEST_F(FlagsProxyTest, ReadsTheMapOnce) {
  service_.AnswerWith(Flags({{"clientSteering", "enabled"}, {"a", ""}}));
  service_.peer().RequestName(kName);
  Initialize();
  EXPECT_THAT(seen_, IsEmpty());
  EXPECT_THAT(proxy_->flags(), IsEmpty());
  EXPECT_TRUE(RunUntilSeen(1));
  Settle();
  EXPECT_THAT(seen_, ElementsAre(StringMap{{"clientSteering", "enabled"}, {"a", ""}}));
  EXPECT_TRUE(log_.empty());
}

TEST_F(FlagsProxyTest, AnEmptyMapIsAReadingToo) {
  service_.AnswerWith(Flags({}));
  service_.peer().RequestName(kName);
  Initialize();
  EXPECT_TRUE(RunUntilSeen(1));
  EXPECT_THAT(seen_, ElementsAre(StringMap{}));
}

TEST_F(FlagsProxyTest, TheFirstOfTwoEntriesWithOneKeyCounts) {
  service_.AnswerWith([](MessageWriter& writer) {
    const WriteScope properties(writer, SD_BUS_TYPE_ARRAY, "{sv}");
    const WriteScope property(writer, SD_BUS_TYPE_DICT_ENTRY, "sv");
    writer.AppendString("Flags");
    const WriteScope variant(writer, SD_BUS_TYPE_VARIANT, "a{ss}");
    const WriteScope map(writer, SD_BUS_TYPE_ARRAY, "{ss}");
    for (const char* value : {"first", "second"}) {
      const WriteScope entry(writer, SD_BUS_TYPE_DICT_ENTRY, "ss");
      writer.AppendString("key");
      writer.AppendString(value);
    }
  });
  service_.peer().RequestName(kName);
  Initialize();
  EXPECT_TRUE(RunUntilSeen(1));
  EXPECT_THAT(seen_, ElementsAre(StringMap{{"key", "first"}}));
}

TEST_F(FlagsProxyTest, FollowsChangesOfItsInterfaceOnly) {
  service_.AnswerWith(Flags({{"a", "1"}}));
  service_.peer().RequestName(kName);
  Initialize();
  EXPECT_TRUE(RunUntilSeen(1));
  service_.SignalChange("", "org.velmora.ap.Other", Flags({{"a", "2"}}), {});
  service_.SignalChange("", kName, Flags({{"b", "3"}}), {});
  EXPECT_TRUE(RunUntilSeen(2));
  EXPECT_THAT(seen_, ElementsAre(StringMap{{"a", "1"}}, StringMap{{"b", "3"}}));
}

TEST_F(FlagsProxyTest, ABadValueRunsNoCallbackAndTheNextGoodOneReplacesIt) {
  service_.peer().RequestName(kName);
  service_.AnswerWith(Flags({{"a", "1"}}));
  Initialize();
  EXPECT_TRUE(RunUntilSeen(1));
  service_.SignalChange("", kName,
                        [](MessageWriter& writer) {
                          const WriteScope properties(writer, SD_BUS_TYPE_ARRAY, "{sv}");
                          const WriteScope property(writer, SD_BUS_TYPE_DICT_ENTRY, "sv");
                          writer.AppendString("Flags");
                          writer.AppendVariant(std::string("text"));
                        },
                        {});
  EXPECT_TRUE(RunUntil([this] { return !log_.empty(); }));
  EXPECT_THAT(log_.Lines(Severity::kWarning), ElementsAre(HasSubstr("Flags is malformed")));
  EXPECT_EQ(seen_.size(), 1U);
  EXPECT_EQ(proxy_->flags(), (StringMap{{"a", "1"}}));
  service_.SignalChange("", kName, Flags({{"b", "2"}}), {});
  EXPECT_TRUE(RunUntilSeen(2));
  EXPECT_EQ(proxy_->flags(), (StringMap{{"b", "2"}}));
}

TEST_F(FlagsProxyTest, AnAbsentServiceLeavesTheMapEmptyUntilItComes) {
  Initialize();
  EXPECT_TRUE(RunUntil([this] { return !log_.empty(); }));
  Settle();
  EXPECT_THAT(seen_, IsEmpty());
  EXPECT_THAT(proxy_->flags(), IsEmpty());
  service_.AnswerWith(Flags({{"a", "1"}}));
  service_.peer().RequestName(kName);
  EXPECT_TRUE(RunUntilSeen(1));
  Settle();
  EXPECT_THAT(seen_, ElementsAre(StringMap{{"a", "1"}}));
}

TEST_F(FlagsProxyTest, AnErrorLeavesTheMapEmpty) {
  service_.AnswerWithError("a.test.Error", "not today");
  service_.peer().RequestName(kName);
  Initialize();
  EXPECT_TRUE(RunUntil([this] { return !log_.empty(); }));
  Settle();
  EXPECT_THAT(seen_, IsEmpty());
  EXPECT_THAT(proxy_->flags(), IsEmpty());
}

TEST_F(FlagsProxyTest, AMapOfManyKeysAndALongValue) {
  StringMap flags;
  for (int i = 0; i < 10'000; ++i) flags["key" + std::to_string(i)] = std::to_string(i);
  flags["long"] = std::string(std::size_t{1} << 20, 'x');
  service_.AnswerWith(Flags(flags));
  service_.peer().RequestName(kName);
  Initialize();
  EXPECT_TRUE(RunUntilSeen(1));
  EXPECT_EQ(proxy_->flags(), flags);
}

TEST_F(FlagsProxyTest, MayBeDestroyedInItsCallbackOrBeforeTheAnswer) {
  service_.AnswerWith(Flags({}));
  service_.peer().RequestName(kName);
  int changes = 0;
  proxy_->InitializeProperties([&](FlagsProxyInterface*, const std::string&) {
    proxy_.reset();
    ++changes;
  });
  EXPECT_TRUE(RunUntil([&] { return changes == 1; }));
  proxy_ = std::make_unique<FlagsProxy>(connection_, kName);
  Initialize();
  proxy_.reset();
  Settle();
  EXPECT_EQ(changes, 1);
  EXPECT_THAT(seen_, IsEmpty());
}

TEST_F(FlagsProxyTest, InitializingAgainStartsOver) {
  service_.AnswerWith(Flags({{"a", "1"}}));
  service_.peer().RequestName(kName);
  int changes = 0;
  proxy_->InitializeProperties([&](FlagsProxyInterface*, const std::string&) { ++changes; });
  Initialize();
  EXPECT_TRUE(RunUntilSeen(1));
  Settle();
  EXPECT_EQ(changes, 0);
  EXPECT_EQ(seen_.size(), 1U);
}

TEST_F(FlagsProxyTest, OutlivesTheOthersThatHoldItsConnection) {
  connection_.reset();
  service_.AnswerWith(Flags({{"a", "1"}}));
  service_.peer().RequestName(kName);
  Initialize();
  EXPECT_TRUE(RunUntilSeen(1));
}

}  // namespace
}  // namespace org::velmora::ap
