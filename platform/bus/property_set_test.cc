#include "platform/bus/property_set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "testbed/bus_fixture.h"
#include "testbed/fake_property_service.h"

namespace orvane::platform::bus {
namespace {

using testbed::AppendStringMapProperties;
using testbed::BusTest;
using testbed::FakePropertyService;
using testbed::TestPeer;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Properties = std::vector<std::pair<std::string, StringMap>>;

constexpr char kName[] = "a.test.Service";
constexpr char kPath[] = "/a/test";
constexpr char kInterface[] = "a.test.Interface";

class TwoProperties : public PropertySet {
 public:
  TwoProperties(ObjectProxy* object, ChangedCallback callback)
      : PropertySet(object, kInterface, std::move(callback)) {
    RegisterProperty("One", &one);
    RegisterProperty("Two", &two);
  }

  StringMapProperty one;
  StringMapProperty two;
};

class PropertySetTest : public BusTest {
 protected:
  explicit PropertySetTest(std::string bus_rules = "") : BusTest(std::move(bus_rules)) {}

  static TestPeer::Filler Filled(Properties properties) {
    return [properties = std::move(properties)](MessageWriter& writer) {
      AppendStringMapProperties(writer, properties);
    };
  }

  // Starts a set that has read the service's properties once.
  void StartWith(Properties properties) {
    service_.AnswerWith(Filled(std::move(properties)));
    service_.peer().RequestName(kName);
    Create();
    EXPECT_TRUE(RunUntil([this] { return service_.get_all_calls() == 1; }));
    Settle();
    changed_.clear();
  }

  void Create() {
    set_ = std::make_unique<TwoProperties>(connection_->GetObjectProxy(kName, kPath),
                                           [this](const std::string& name) {
                                             changed_.push_back(name);
                                             if (on_change_) on_change_();
                                           });
    set_->ConnectSignals();
    set_->GetAll();
  }

  void SignalChange(Properties properties, const std::vector<std::string>& invalidated = {}) {
    service_.SignalChange("", kInterface, Filled(std::move(properties)), invalidated);
  }

  // Sends a change that takes effect, to show that earlier ones did not.
  void SignalLastChange() {
    SignalChange({{"Two", {{"last", "1"}}}});
    EXPECT_TRUE(RunUntil([this] { return set_->two.value().contains("last"); }));
    Settle();
  }

  FakePropertyService service_{loop_, kPath, kInterface};
  std::unique_ptr<TwoProperties> set_;
  std::vector<std::string> changed_;
  std::function<void()> on_change_;
};

TEST_F(PropertySetTest, GetAllReadsWhatIsRegistered) {
  service_.AnswerWith(Filled({{"One", {{"a", "1"}}}, {"Unknown", {}}, {"Two", {}}}));
  service_.peer().RequestName(kName);
  Create();
  EXPECT_TRUE(RunUntil([this] { return changed_.size() == 2; }));
  EXPECT_THAT(changed_, ElementsAre("One", "Two"));
  EXPECT_EQ(set_->one.value(), (StringMap{{"a", "1"}}));
  EXPECT_TRUE(log_.empty());
}

TEST_F(PropertySetTest, ASignalChangesTheNamedProperties) {
  StartWith({{"One", {{"a", "1"}}}, {"Two", {{"b", "2"}}}});
  SignalChange({{"Unknown", {}}, {"One", {{"a", "3"}}}});
  EXPECT_TRUE(RunUntil([this] { return !changed_.empty(); }));
  EXPECT_THAT(changed_, ElementsAre("One"));
  EXPECT_EQ(set_->one.value(), (StringMap{{"a", "3"}}));
  EXPECT_EQ(set_->two.value(), (StringMap{{"b", "2"}}));
  EXPECT_EQ(service_.get_all_calls(), 1);
}

TEST_F(PropertySetTest, ABadValueDoesNotUpsetTheNext) {
  StartWith({});
  service_.SignalChange("", kInterface,
                        [](MessageWriter& writer) {
                          const WriteScope array(writer, SD_BUS_TYPE_ARRAY, "{sv}");
                          {
                            const WriteScope entry(writer, SD_BUS_TYPE_DICT_ENTRY, "sv");
                            writer.AppendString("One");
                            writer.AppendVariant(std::int32_t{1});
                          }
                          const WriteScope entry(writer, SD_BUS_TYPE_DICT_ENTRY, "sv");
                          writer.AppendString("Two");
                          const WriteScope variant(writer, SD_BUS_TYPE_VARIANT, "a{ss}");
                          writer.AppendStringMap({{"b", "2"}});
                        },
                        {});
  EXPECT_TRUE(RunUntil([this] { return !changed_.empty(); }));
  EXPECT_THAT(changed_, ElementsAre("Two"));
  EXPECT_EQ(set_->two.value(), (StringMap{{"b", "2"}}));
  EXPECT_THAT(log_.Lines(Severity::kWarning),
              ElementsAre("Failed to read the properties a.test.Interface of a.test.Service at "
                          "/a/test: the value of One is malformed"));
}

TEST_F(PropertySetTest, AnInvalidatedPropertyIsReadAgain) {
  StartWith({{"One", {{"a", "1"}}}});
  service_.AnswerWith(Filled({{"One", {{"a", "2"}}}}));
  SignalChange({}, {"Unknown", "One"});
  EXPECT_TRUE(RunUntil([this] { return !changed_.empty(); }));
  EXPECT_EQ(set_->one.value(), (StringMap{{"a", "2"}}));
  EXPECT_EQ(service_.get_all_calls(), 2);
}

TEST_F(PropertySetTest, AnInvalidatedPropertyThatIsNotRegisteredIsNot) {
  StartWith({});
  SignalChange({}, {"Unknown"});
  SignalLastChange();
  EXPECT_EQ(service_.get_all_calls(), 1);
}

TEST_F(PropertySetTest, OnlyTheRightSignalOfTheServiceItselfCounts) {
  StartWith({});
  FakePropertyService stranger(loop_, kPath, kInterface);
  const auto lie = Filled({{"One", {{"lie", "1"}}}});
  stranger.SignalChange("", kInterface, lie, {"One"});
  const char* our_name = nullptr;
  ASSERT_GE(sd_bus_get_unique_name(connection_->bus(), &our_name), 0);
  stranger.SignalChange(our_name, kInterface, lie, {"One"});
  stranger.Sync();
  service_.SignalChange("", "a.other.Interface", lie, {"One"});
  service_.SignalChange(our_name, "a.other.Interface", lie, {"One"});
  SignalLastChange();
  EXPECT_THAT(changed_, ElementsAre("Two"));
  EXPECT_EQ(service_.get_all_calls(), 1);
  EXPECT_TRUE(log_.empty());
}

// This bus refuses look-ups of name owners. It also stands for a bus that answers them too late:
// the set must not use them.
class NoLookUpTest : public PropertySetTest {
 protected:
  NoLookUpTest()
      : PropertySetTest(
            "<deny send_destination='org.freedesktop.DBus'"
            " send_interface='org.freedesktop.DBus' send_member='GetNameOwner'/>") {}
};

TEST_F(NoLookUpTest, NoChangeIsLost) {
  service_.HoldAnswers();
  service_.peer().RequestName(kName);
  Create();
  EXPECT_TRUE(RunUntil([this] { return service_.get_all_calls() == 1; }));
  SignalChange({{"One", {{"a", "1"}}}});
  EXPECT_TRUE(RunUntil([this] { return !changed_.empty(); }));
  EXPECT_THAT(changed_, ElementsAre("One"));
  EXPECT_EQ(set_->one.value(), (StringMap{{"a", "1"}}));
  EXPECT_TRUE(log_.empty());
}

// Signals addressed to this process bypass the matching of the bus, and the library does not check
// their sender.
TEST_F(PropertySetTest, AForgedChangeOfOwnerIsIgnored) {
  StartWith({});
  FakePropertyService stranger(loop_, kPath, kInterface);
  const char* our_name = nullptr;
  ASSERT_GE(sd_bus_get_unique_name(connection_->bus(), &our_name), 0);
  stranger.peer().EmitSignal(our_name, "/org/freedesktop/DBus", "org.freedesktop.DBus",
                             "NameOwnerChanged", [&](MessageWriter& writer) {
                               writer.AppendString(kName);
                               writer.AppendString(service_.peer().unique_name());
                               writer.AppendString(stranger.peer().unique_name());
                             });
  stranger.SignalChange(our_name, kInterface, Filled({{"One", {{"lie", "1"}}}}), {});
  stranger.Sync();
  SignalLastChange();
  EXPECT_THAT(changed_, ElementsAre("Two"));
  EXPECT_EQ(service_.get_all_calls(), 1);
}

TEST_F(PropertySetTest, ASignalWithOtherArgumentsIsLogged) {
  StartWith({});
  service_.peer().EmitSignal("", kPath, "org.freedesktop.DBus.Properties", "PropertiesChanged",
                             [](MessageWriter& writer) { writer.AppendString(kInterface); });
  SignalLastChange();
  EXPECT_THAT(log_.Lines(Severity::kWarning),
              ElementsAre(HasSubstr("a change signal has other arguments than it should")));
}

TEST_F(PropertySetTest, AnErrorIsLogged) {
  service_.AnswerWithError("a.test.Error", "not today");
  service_.peer().RequestName(kName);
  Create();
  EXPECT_TRUE(RunUntil([this] { return !log_.empty(); }));
  EXPECT_THAT(log_.Lines(Severity::kWarning),
              ElementsAre("Failed to read the properties a.test.Interface of a.test.Service at "
                          "/a/test: a.test.Error: not today"));
  EXPECT_THAT(changed_, IsEmpty());
}

TEST_F(PropertySetTest, AReplyOfAnotherTypeIsLogged) {
  service_.AnswerWith([](MessageWriter& writer) { writer.AppendString("text"); });
  service_.peer().RequestName(kName);
  Create();
  EXPECT_TRUE(RunUntil([this] { return !log_.empty(); }));
  EXPECT_THAT(log_.Lines(Severity::kWarning),
              ElementsAre(HasSubstr(": the reply is not a map of properties")));
}

TEST_F(PropertySetTest, AServiceThatComesLateIsReadAndFollowed) {
  Create();
  EXPECT_TRUE(RunUntil([this] { return !log_.empty(); }));
  EXPECT_THAT(log_.Lines(Severity::kWarning), ElementsAre(HasSubstr("ServiceUnknown")));
  service_.AnswerWith(Filled({{"One", {{"a", "1"}}}}));
  service_.peer().RequestName(kName);
  EXPECT_TRUE(RunUntil([this] { return !changed_.empty(); }));
  SignalLastChange();
  EXPECT_THAT(changed_, ElementsAre("One", "Two"));
}

TEST_F(PropertySetTest, AServiceThatComesAgainIsReadAgainAndFollowed) {
  StartWith({{"One", {{"a", "1"}}}});
  service_.peer().ReleaseName(kName);
  Settle();
  EXPECT_THAT(changed_, IsEmpty());
  SignalChange({{"One", {{"nobody", "1"}}}});  // no longer the owner
  service_.Sync();
  Settle();
  EXPECT_EQ(set_->one.value(), (StringMap{{"a", "1"}}));
  FakePropertyService next(loop_, kPath, kInterface);
  next.AnswerWith(Filled({{"One", {{"a", "2"}}}}));
  next.peer().RequestName(kName);
  EXPECT_TRUE(RunUntil([this] { return !changed_.empty(); }));
  EXPECT_THAT(changed_, ElementsAre("One"));
  EXPECT_EQ(set_->one.value(), (StringMap{{"a", "2"}}));
  next.SignalChange("", kInterface, Filled({{"Two", {{"b", "3"}}}}), {});
  EXPECT_TRUE(RunUntil([this] { return changed_.size() == 2; }));
  EXPECT_EQ(set_->two.value(), (StringMap{{"b", "3"}}));
  EXPECT_TRUE(log_.empty());
}

TEST_F(PropertySetTest, APendingOlderAnswerIsDropped) {
  StartWith({});
  service_.AnswerWith(Filled({{"One", {{"a", "1"}}}}));
  service_.HoldAnswers();
  set_->GetAll();
  set_->GetAll();
  EXPECT_TRUE(RunUntil([this] { return service_.get_all_calls() == 3; }));
  service_.AnswerHeld();
  EXPECT_TRUE(RunUntil([this] { return !changed_.empty(); }));
  Settle();
  EXPECT_THAT(changed_, ElementsAre("One"));
}

TEST_F(PropertySetTest, AnAnswerOfThePreviousOwnerIsDropped) {
  StartWith({});
  service_.AnswerWith(Filled({{"One", {{"old", "1"}}}}));
  service_.HoldAnswers();
  set_->GetAll();
  EXPECT_TRUE(RunUntil([this] { return service_.get_all_calls() == 2; }));
  service_.peer().ReleaseName(kName);
  FakePropertyService next(loop_, kPath, kInterface);
  next.AnswerWith(Filled({{"One", {{"new", "1"}}}}));
  next.peer().RequestName(kName);
  EXPECT_TRUE(RunUntil([this] { return !changed_.empty(); }));
  service_.AnswerHeld();
  service_.Sync();
  Settle();
  EXPECT_THAT(changed_, ElementsAre("One"));
  EXPECT_EQ(set_->one.value(), (StringMap{{"new", "1"}}));
}

TEST_F(PropertySetTest, DestroyedWithAnAnswerToCome) {
  StartWith({});
  service_.HoldAnswers();
  set_->GetAll();
  EXPECT_TRUE(RunUntil([this] { return service_.get_all_calls() == 2; }));
  set_.reset();
  service_.AnswerHeld();
  SignalChange({{"One", {}}});
  service_.Sync();
  Settle();
  EXPECT_THAT(changed_, IsEmpty());
  EXPECT_TRUE(log_.empty());
}

TEST_F(PropertySetTest, DestroyedInItsCallbackForAnAnswer) {
  service_.AnswerWith(Filled({{"One", {}}, {"Two", {}}}));
  service_.peer().RequestName(kName);
  on_change_ = [this] { set_.reset(); };
  Create();
  EXPECT_TRUE(RunUntil([this] { return set_ == nullptr; }));
  Settle();
  EXPECT_THAT(changed_, ElementsAre("One"));
}

TEST_F(PropertySetTest, DestroyedInItsCallbackForASignal) {
  StartWith({});
  on_change_ = [this] { set_.reset(); };
  SignalChange({{"One", {}}, {"Two", {}}}, {"One"});
  EXPECT_TRUE(RunUntil([this] { return set_ == nullptr; }));
  Settle();
  EXPECT_THAT(changed_, ElementsAre("One"));
  EXPECT_EQ(service_.get_all_calls(), 1);
}

TEST_F(PropertySetTest, ReplacedInItsCallback) {
  StartWith({{"One", {}}});
  on_change_ = [this] {
    on_change_ = nullptr;
    Create();
  };
  SignalChange({{"One", {}}, {"Two", {}}});
  EXPECT_TRUE(RunUntil([this] { return changed_.size() == 2; }));
  Settle();
  EXPECT_THAT(changed_, ElementsAre("One", "One"));
  EXPECT_EQ(service_.get_all_calls(), 2);
}

}  // namespace
}  // namespace orvane::platform::bus
