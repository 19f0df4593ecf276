#include "platform/bus/exported_object.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/bus/property.h"
#include "platform/bus/property_set.h"
#include "testbed/bus_fixture.h"

namespace orvane::platform::bus {
namespace {

using testbed::BusTest;

constexpr char kPath[] = "/an/object";
constexpr char kInterface[] = "an.Interface";

// A client's copy of the exported properties.
class Follower : public PropertySet {
 public:
  Follower(ObjectProxy* object, ChangedCallback callback)
      : PropertySet(object, kInterface, std::move(callback)) {
    RegisterProperty("Map", &map);
    ConnectSignals();
    GetAll();
  }

  StringMapProperty map;
};

// The caller has its own connection on the same loop.
class ExportedObjectTest : public BusTest {
 protected:
  ExportedObjectTest() {
    object_.AddMethod("Take", "say", [this](MessageReader& arguments, ErrorHolder error) {
      const auto name = arguments.PopString();
      const auto bytes = arguments.PopBytes();
      if (name == "bad") {
        Error::AddTo(error, kDBusErrorDomain, "a.test.Error", "not today");
        return false;
      }
      taken_.push_back(std::string(*name) + "=" + std::string(bytes->begin(), bytes->end()));
      return true;
    });
    object_.AddProperty("Map", "a{ss}",
                        [this](MessageWriter& writer) { writer.AppendStringMap(map_); });
    EXPECT_TRUE(object_.Export(nullptr));
    EXPECT_TRUE(connection_->RequestName("a.test.Service", nullptr));
  }

  MethodCall NewCall(const std::string& member) {
    return proxy_->NewMethodCall(kInterface, member);
  }

  // Sends and serves the call. Returns "", or the name and the text of the error.
  std::string Call(MethodCall call) {
    std::string outcome = "no answer";
    const auto pending = proxy_->CallAsync(
        std::move(call), kDefaultTimeoutMs, [&outcome](sd_bus_message* reply, const Error* error) {
          outcome = error == nullptr ? "" : error->code() + "|" + error->message();
          if (reply != nullptr && MessageReader(reply).HasMore()) outcome = "data";
        });
    EXPECT_TRUE(RunUntil([&] { return outcome != "no answer"; }));
    return outcome;
  }

  std::string Take(const std::string& name, const std::string& bytes) {
    MethodCall call = NewCall("Take");
    call.writer().AppendString(name);
    call.writer().AppendBytes({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    return Call(std::move(call));
  }

  std::vector<std::string> taken_;
  StringMap map_ = {{"a", "1"}};
  ExportedObject object_{*connection_, kPath, kInterface};
  std::shared_ptr<Connection> caller_ = Connection::OpenSystemBus(loop_, nullptr);
  ObjectProxy* proxy_ = caller_->GetObjectProxy("a.test.Service", kPath);
};

TEST_F(ExportedObjectTest, ACallIsHandledAndGetsAnEmptyReply) {
  EXPECT_EQ(Take("name", "bytes"), "");
  EXPECT_EQ(Take("none", ""), "");
  EXPECT_EQ(taken_, (std::vector<std::string>{"name=bytes", "none="}));
}

TEST_F(ExportedObjectTest, AHandlersErrorIsTheReply) {
  EXPECT_EQ(Take("bad", ""), "a.test.Error|not today");
}

TEST_F(ExportedObjectTest, OtherArgumentsAndOtherMethodsAreRefusedByTheLibrary) {
  MethodCall call = NewCall("Take");
  call.writer().AppendString("name");
  EXPECT_TRUE(Call(std::move(call)).starts_with("org.freedesktop.DBus.Error.InvalidArgs|"));
  EXPECT_TRUE(Call(NewCall("Give")).starts_with("org.freedesktop.DBus.Error.UnknownMethod|"));
  EXPECT_TRUE(taken_.empty());
}

TEST_F(ExportedObjectTest, APropertyIsReadAndItsChangesAreSignalled) {
  int readings = 0;
  Follower follower(proxy_, [&readings](const std::string&) { ++readings; });
  EXPECT_TRUE(RunUntil([&] { return readings == 1; }));
  EXPECT_EQ(follower.map.value(), map_);
  Settle();
  map_ = {{"a", "2"}, {"b", ""}};
  EXPECT_TRUE(object_.EmitChanged("Map", nullptr));
  EXPECT_TRUE(RunUntil([&] { return readings == 2; }));
  EXPECT_EQ(follower.map.value(), map_);
}

TEST_F(ExportedObjectTest, AValueThatCannotBeSentIsAnError) {
  map_ = {{"a", "not UTF-8: \xff"}};
  MethodCall call = proxy_->NewMethodCall("org.freedesktop.DBus.Properties", "GetAll");
  call.writer().AppendString(kInterface);
  EXPECT_NE(Call(std::move(call)), "");
  std::unique_ptr<Error> error;
  EXPECT_FALSE(object_.EmitChanged("Map", &error));
  EXPECT_NE(error, nullptr);
}

TEST_F(ExportedObjectTest, DestroyingItWithdrawsIt) {
  {
    ExportedObject other(*connection_, "/another", kInterface);
    other.AddMethod("Take", "", [](MessageReader&, ErrorHolder) { return true; });
    EXPECT_TRUE(other.Export(nullptr));
  }
  ObjectProxy* proxy = caller_->GetObjectProxy("a.test.Service", "/another");
  EXPECT_TRUE(Call(proxy->NewMethodCall(kInterface, "Take"))
                  .starts_with("org.freedesktop.DBus.Error.UnknownObject|"));
}

TEST_F(ExportedObjectTest, ABadPathIsAnError) {
  ExportedObject bad(*connection_, "no path", kInterface);
  std::unique_ptr<Error> error;
  EXPECT_FALSE(bad.Export(&error));
  EXPECT_NE(error, nullptr);
}

}  // namespace
}  // namespace orvane::platform::bus
