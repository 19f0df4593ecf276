#include "optimizer/service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orvane::ap {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Writes its calls into a journal that it shares with the other services.
class JournalService : public Service {
 public:
  JournalService(std::string name, std::vector<std::string>* journal)
      : Service(std::move(name)), journal_(journal) {}

  void OnFlagChanged(std::string key, std::string value) override {
    journal_->push_back(name() + ": " + key + "=" + value);
  }
  void OnStart() override { journal_->push_back(name() + ": start"); }
  void OnStop() override { journal_->push_back(name() + ": stop"); }

 private:
  std::vector<std::string>* journal_;
};

class ServiceTest : public ::testing::Test {
 protected:
  ServiceTest() {
    services_.push_back(std::make_unique<JournalService>("clientSteering", &journal_));
    services_.push_back(std::make_unique<JournalService>("connectionEvents", &journal_));
  }

  std::vector<std::string> journal_;
  ServiceList services_;
};

TEST_F(ServiceTest, EnableAndDisableActOnlyOnAChange) {
  Service& service = *services_.front();
  service.Disable();
  EXPECT_THAT(journal_, IsEmpty());
  service.Enable();
  service.Enable();
  service.Disable();
  service.Disable();
  service.Enable();
  EXPECT_THAT(journal_, ElementsAre("clientSteering: start", "clientSteering: stop",
                                    "clientSteering: start"));
}

TEST_F(ServiceTest, ASecondIdenticalMapStartsNothing) {
  const FlagMap flags = {{"clientSteering", "enabled"}};
  ApplyFlags(flags, services_);
  ApplyFlags(flags, services_);
  EXPECT_THAT(journal_, ElementsAre("clientSteering: start"));
}

TEST_F(ServiceTest, TheSwitchTakesTheTwoExactWordsOnly) {
  for (const char* value : {"Enabled", "enabled ", "true", "1", "", "disable"}) {
    ApplyFlags({{"clientSteering", value}}, services_);
  }
  EXPECT_THAT(journal_, IsEmpty());
}

TEST_F(ServiceTest, DisabledStopsAServiceThatIsOnOnce) {
  services_.back()->Enable();
  ApplyFlags({{"connectionEvents", "disabled"}}, services_);
  ApplyFlags({{"connectionEvents", "disabled"}}, services_);
  EXPECT_THAT(journal_, ElementsAre("connectionEvents: start", "connectionEvents: stop"));
}

TEST_F(ServiceTest, TheSwitchComesBeforeTheParametersInKeyOrder) {
  ApplyFlags({{"clientSteeringPollInterval", "7"},
              {"clientSteering", "enabled"},
              {"clientSteeringInterval", "60"}},
             services_);
  EXPECT_THAT(journal_,
              ElementsAre("clientSteering: start", "clientSteering: clientSteeringInterval=60",
                          "clientSteering: clientSteeringPollInterval=7"));
}

TEST_F(ServiceTest, EveryMapIsAppliedAnew) {
  ApplyFlags({{"connectionEventsUpload", "1"}}, services_);
  ApplyFlags({{"connectionEventsUpload", "1"}}, services_);
  EXPECT_THAT(journal_, ElementsAre("connectionEvents: connectionEventsUpload=1",
                                    "connectionEvents: connectionEventsUpload=1"));
}

TEST_F(ServiceTest, ANameAnywhereInTheKeyReachesTheHandler) {
  ApplyFlags({{"XclientSteering", "enabled"}}, services_);
  EXPECT_THAT(journal_, ElementsAre("clientSteering: XclientSteering=enabled"));
}

TEST_F(ServiceTest, AKeyWithBothNamesReachesBothInListOrder) {
  ApplyFlags({{"connectionEventsAndclientSteering", "1"}}, services_);
  EXPECT_THAT(journal_, ElementsAre("clientSteering: connectionEventsAndclientSteering=1",
                                    "connectionEvents: connectionEventsAndclientSteering=1"));
}

TEST_F(ServiceTest, OtherKeysAndAnEmptyMapChangeNothing) {
  ApplyFlags({}, services_);
  ApplyFlags({{"clientsteering", "enabled"}, {"", "enabled"}, {"clientSteerin", "enabled"}},
             services_);
  EXPECT_THAT(journal_, IsEmpty());
}

// Changes its own switch from inside the callbacks.
class SwitchingService : public Service {
 public:
  SwitchingService() : Service("switching") {}
  void OnStart() override {
    journal.emplace_back("start");
    Enable();
    if (ends_at_once) Disable();
  }
  void OnStop() override {
    journal.emplace_back("stop");
    Disable();
  }

  bool ends_at_once = false;
  std::vector<std::string> journal;
};

TEST(ServiceSwitchTest, TheStateChangesBeforeTheCallback) {
  SwitchingService service;
  service.Enable();
  service.Disable();
  EXPECT_THAT(service.journal, ElementsAre("start", "stop"));
}

TEST(ServiceSwitchTest, AServiceMayEndItsOwnStart) {
  SwitchingService service;
  service.ends_at_once = true;
  service.Enable();
  service.Disable();
  EXPECT_THAT(service.journal, ElementsAre("start", "stop"));
}

class SilentService : public Service {
 public:
  SilentService() : Service("silent") {}
  void OnStart() override {}
  void OnStop() override {}
};

TEST(ServiceBaseTest, TheBaseHandlerIgnoresFlags) {
  ServiceList services;
  services.push_back(std::make_unique<SilentService>());
  ApplyFlags({{"silentParameter", "1"}}, services);
  EXPECT_EQ(services.front()->name(), "silent");
}

}  // namespace
}  // namespace orvane::ap
