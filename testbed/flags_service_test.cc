#include "testbed/flags_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <cstdio>
#include <filesystem>

#include "testbed/bus_peer.h"
#include "testbed/private_bus.h"
#include "testbed/program_under_test.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using Pairs = std::vector<std::pair<std::string, std::string>>;

constexpr char kName[] = "org.velmora.ap.Flags";
constexpr char kPath[] = "/org/velmora/ap/Flags";
constexpr char kProperties[] = "org.freedesktop.DBus.Properties";

// The property "Flags" in a message.
struct Value {
  std::string error;      // name of the error, if the message is one
  std::string signature;  // of the contents of the property's variant; "v" and the inner one's for
                          // a nested variant
  Pairs pairs;            // if it is a map of strings
};

Pairs ReadPairs(sd_bus_message* message) {
  Pairs pairs;
  const char* key = nullptr;
  const char* value = nullptr;
  MustSucceed(sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{ss}"));
  while (sd_bus_message_read(message, "{ss}", &key, &value) > 0) pairs.emplace_back(key, value);
  MustSucceed(sd_bus_message_exit_container(message));
  return pairs;
}

Value ReadVariant(sd_bus_message* message) {
  const char* contents = nullptr;
  MustSucceed(sd_bus_message_peek_type(message, nullptr, &contents));
  const std::string signature = contents;
  MustSucceed(sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, signature.c_str()));
  if (signature == "v") {
    Value value = ReadVariant(message);
    value.signature = "v" + value.signature;
    return value;
  }
  return {.error = "",
          .signature = signature,
          .pairs = signature == kFlagsSignature ? ReadPairs(message) : Pairs()};
}

Value ReadDictionary(sd_bus_message* message) {
  const char* name = nullptr;
  MustSucceed(sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}"));
  MustSucceed(sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv"));
  MustSucceed(sd_bus_message_read(message, "s", &name));
  EXPECT_STREQ(name, "Flags");
  return ReadVariant(message);
}

class FlagsServiceTest : public ::testing::Test {
 protected:
  FlagsServiceTest() {
    sd_bus* bus = nullptr;
    MustSucceed(sd_bus_open_system(&bus));
    client_.reset(bus);
    WriteFile(file_, "b=2\na=1\n");
  }

  std::unique_ptr<ChildProcess> Start(ChildProcess::Arguments arguments = {},
                                      const std::string& ready = "started") {
    arguments.insert(arguments.begin(), file_);
    return StartTestbedProgramUntil(ready, "flags_service", std::move(arguments));
  }

  Value GetAll() {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const int result = sd_bus_call_method(client_.get(), kName, kPath, kProperties, "GetAll",
                                          &error, &reply, "s", kName);
    Value value;
    if (result < 0) {
      value.error = error.name;
    } else {
      value = ReadDictionary(reply);
    }
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
    return value;
  }

  void SubscribeToChanges() {
    MustSucceed(sd_bus_match_signal(client_.get(), nullptr, kName, kPath, kProperties,
                                    "PropertiesChanged", &OnChange, this));
  }

  static int OnChange(sd_bus_message* signal, void* self, sd_bus_error* /*error*/) {
    const char* interface = nullptr;
    MustSucceed(sd_bus_message_read(signal, "s", &interface));
    EXPECT_STREQ(interface, kName);
    static_cast<FlagsServiceTest*>(self)->changes_.push_back(ReadDictionary(signal));
    return 0;
  }

  // Returns the value in the next signal.
  Value NextChange() {
    const auto deadline = std::chrono::steady_clock::now() + kLongEnough;
    while (changes_.empty() && std::chrono::steady_clock::now() < deadline) {
      if (sd_bus_process(client_.get(), nullptr) == 0) sd_bus_wait(client_.get(), 100'000);
    }
    if (changes_.empty()) return {.error = "no signal", .signature = "", .pairs = {}};
    const Value value = changes_.front();
    changes_.erase(changes_.begin());
    return value;
  }

  PrivateBus bus_;
  TemporaryDirectory directory_;
  platform::FilePath file_ = directory_.path() / "flags";
  platform::bus::BusPtr client_;
  std::vector<Value> changes_;
};

TEST_F(FlagsServiceTest, ServesTheFile) {
  auto service = Start();
  const Value value = GetAll();
  EXPECT_EQ(value.signature, "a{ss}");
  EXPECT_THAT(value.pairs, ElementsAre(Pair("a", "1"), Pair("b", "2")));
  EXPECT_TRUE(service->out().WaitForLine("asked by :", kLongEnough));
  EXPECT_EQ(service->out().Count("read 2 flags from " + file_.native()), 1U);
}

TEST_F(FlagsServiceTest, ServesThePropertyAlone) {
  auto service = Start();
  sd_bus_message* reply = nullptr;
  MustSucceed(
      sd_bus_get_property(client_.get(), kName, kPath, kName, "Flags", nullptr, &reply, "a{ss}"));
  EXPECT_THAT(ReadPairs(reply), ElementsAre(Pair("a", "1"), Pair("b", "2")));
  sd_bus_message_unref(reply);
}

TEST_F(FlagsServiceTest, TheRestOfTheObjectIsAsUsual) {
  auto service = Start();
  EXPECT_LT(sd_bus_get_property(client_.get(), kName, kPath, kName, "Other", nullptr, nullptr, "s"),
            0);
  EXPECT_LT(sd_bus_set_property(client_.get(), kName, kPath, kName, "Flags", nullptr, "a{ss}", 0),
            0);
  sd_bus_message* reply = nullptr;
  MustSucceed(sd_bus_call_method(client_.get(), kName, kPath, "org.freedesktop.DBus.Introspectable",
                                 "Introspect", nullptr, &reply, ""));
  const char* xml = nullptr;
  MustSucceed(sd_bus_message_read(reply, "s", &xml));
  EXPECT_THAT(xml, ::testing::HasSubstr(R"(<property name="Flags" type="a{ss}")"));
  sd_bus_message_unref(reply);
  // Requests all interfaces at once.
  MustSucceed(sd_bus_call_method(client_.get(), kName, kPath, kProperties, "GetAll", nullptr,
                                 &reply, "s", ""));
  EXPECT_THAT(ReadDictionary(reply).pairs, ElementsAre(Pair("a", "1"), Pair("b", "2")));
  sd_bus_message_unref(reply);
}

TEST_F(FlagsServiceTest, SignalsEachChange) {
  SubscribeToChanges();
  auto service = Start();
  WriteFile(file_, "a=3\n");
  EXPECT_THAT(NextChange().pairs, ElementsAre(Pair("a", "3")));
  EXPECT_TRUE(service->out().WaitForLine("signalled 1 flags", kLongEnough));

  WriteFile(directory_.path() / "other", "a=4\nb=5\n");
  std::filesystem::rename(directory_.path() / "other", file_);
  EXPECT_THAT(NextChange().pairs, ElementsAre(Pair("a", "4"), Pair("b", "5")));

  std::filesystem::remove(file_);
  EXPECT_THAT(NextChange().pairs, IsEmpty());
  EXPECT_TRUE(service->out().WaitForLine("is not there", kLongEnough));

  WriteFile(file_, "c=6\n");
  EXPECT_THAT(NextChange().pairs, ElementsAre(Pair("c", "6")));
  EXPECT_THAT(GetAll().pairs, ElementsAre(Pair("c", "6")));
}

TEST_F(FlagsServiceTest, NoFileIsNoFlags) {
  std::filesystem::remove(file_);
  auto service = Start();
  EXPECT_THAT(GetAll().pairs, IsEmpty());
  EXPECT_EQ(GetAll().signature, "a{ss}");
}

TEST_F(FlagsServiceTest, NoDirectoryIsAFailure) {
  auto service = StartTestbedProgram("flags_service", {directory_.path() / "none" / "flags"});
  EXPECT_EQ(service->WaitForExit(kLongEnough), ExitStatus{.code = kExitFailure});
}

TEST_F(FlagsServiceTest, ReportsBadLines) {
  WriteFile(file_, "a=1\nnonsense\n");
  auto service = Start({}, file_.native() + R"( line 2: no "=" in "nonsense")");
  EXPECT_TRUE(service->out().WaitForLine("started", kLongEnough));
  EXPECT_THAT(GetAll().pairs, ElementsAre(Pair("a", "1")));
}

TEST_F(FlagsServiceTest, Late) {
  const auto start = std::chrono::steady_clock::now();
  auto service = Start({"--late", "0.3"}, "read 2 flags");
  EXPECT_EQ(GetAll().error, SD_BUS_ERROR_SERVICE_UNKNOWN);
  // A client could not know the sender of a signal.
  SubscribeToChanges();
  WriteFile(file_, "a=3\n");
  EXPECT_TRUE(service->out().WaitForLine("read 1 flags", kLongEnough));
  EXPECT_TRUE(service->out().WaitForLine("started", kLongEnough));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(300));
  EXPECT_EQ(service->out().Count("signalled"), 0U);
  EXPECT_THAT(GetAll().pairs, ElementsAre(Pair("a", "3")));
}

TEST_F(FlagsServiceTest, AnswerDelay) {
  auto service = Start({"--answer-delay", "200"});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THAT(GetAll().pairs, ElementsAre(Pair("a", "1"), Pair("b", "2")));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(200));
}

TEST_F(FlagsServiceTest, Error) {
  auto service = Start({"--error", "org.example.Error.Odd"});
  EXPECT_EQ(GetAll().error, "org.example.Error.Odd");
}

TEST_F(FlagsServiceTest, ExtraVariant) {
  SubscribeToChanges();
  auto service = Start({"--extra-variant"});
  const Value value = GetAll();
  EXPECT_EQ(value.signature, "va{ss}");
  EXPECT_THAT(value.pairs, ElementsAre(Pair("a", "1"), Pair("b", "2")));
  WriteFile(file_, "a=3\n");
  EXPECT_EQ(NextChange().signature, "va{ss}");
}

TEST_F(FlagsServiceTest, DuplicateKeys) {
  auto service = Start({"--duplicate-keys"});
  EXPECT_THAT(GetAll().pairs, ElementsAre(Pair("a", "1"), Pair("a", "other-1"), Pair("b", "2"),
                                          Pair("b", "other-2")));
}

class WrongTypeTest : public FlagsServiceTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(WrongTypeTest, IsSent) {
  SubscribeToChanges();
  auto service = Start({"--wrong-type", GetParam()});
  EXPECT_EQ(GetAll().signature, GetParam());
  WriteFile(file_, "a=3\n");
  EXPECT_EQ(NextChange().signature, GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, WrongTypeTest, ::testing::ValuesIn(WrongFlagsTypes()));

}  // namespace
}  // namespace orvane::testbed
