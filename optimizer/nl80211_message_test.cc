#include "optimizer/nl80211_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orvane::ap {
namespace {

using platform::AuxiliaryKind;
using platform::GenericNetlinkRequest;
using testing::ElementsAre;
using testing::HasSubstr;

// Covers the kinds without a message, whatever the netlink manager passes.
TEST(Nl80211MessageTest, EachKindWithoutAMessageHasItsText) {
  std::vector<std::string> errors;
  for (const AuxiliaryKind kind : {AuxiliaryKind::kDone, AuxiliaryKind::kKernelError,
                                   AuxiliaryKind::kTimeOut, AuxiliaryKind::kUnexpectedType}) {
    ReportOutcome(/*is_dump=*/true, kind, nullptr, [&errors](const Nl80211Error* error) {
      errors.push_back(error->message + " " + std::to_string(error->code));
    });
  }
  EXPECT_THAT(errors,
              ElementsAre("Unknown Netlink error 0", "Unknown Netlink error 1",
                          "Netlink response timeout 2", "Unexpected Netlink response type 3"));
}

TEST(Nl80211MessageDeathTest, AFullRequestIsFatal) {
  GenericNetlinkRequest request(/*message_type=*/28, /*command=*/1);
  while (request.attributes().SetU32AttributeValue(1, 1)) {
  }
  EXPECT_DEATH(SetInterfaceIndex(7, &request),
               HasSubstr("Check failed: request.attributes()->SetU32AttributeValue( "
                         "NL80211_ATTR_IFINDEX, interface)"));
  EXPECT_DEATH(SetStationAddress(MacAddress("000000000001"), &request),
               HasSubstr("Check failed: request.attributes()->SetRawAttributeValue( "
                         "NL80211_ATTR_MAC, mac_address.ToByteString())"));
}

}  // namespace
}  // namespace orvane::ap
