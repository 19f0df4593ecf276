#ifndef TESTBED_RECORD_MATCHERS_H_
#define TESTBED_RECORD_MATCHERS_H_

#include <gmock/gmock.h>
#include <google/protobuf/message.h>
#include <google/protobuf/util/message_differencer.h>

#include <string>
#include <string_view>

#include "event.pb.h"

namespace orvane::testbed {

// Every field of both messages is equal, including its presence.
MATCHER_P(EqualsProto, expected, "equals\n" + expected.DebugString()) {
  std::string differences;
  google::protobuf::util::MessageDifferencer differencer;
  differencer.ReportDifferencesToString(&differences);
  if (differencer.Compare(expected, arg)) return true;
  *result_listener << "which differs:\n" << differences;
  return false;
}

// Parses protobuf's text form.
access_infrastructure::proto::Event EventOf(const std::string& text);

// Returns the identifier of a station in records: SHA-256, computed by another program, of the salt
// and the twelve lower-case digits of the address.
std::string Identifier(std::string_view salt, std::string_view mac_digits);

}  // namespace orvane::testbed

#endif  // TESTBED_RECORD_MATCHERS_H_
