#include "testbed/record_matchers.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <cctype>

#include "testbed/access_point.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {

access_infrastructure::proto::Event EventOf(const std::string& text) {
  access_infrastructure::proto::Event event;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &event)) << text;
  return event;
}

std::string Identifier(std::string_view salt, std::string_view mac_digits) {
  const TemporaryDirectory directory;
  const platform::FilePath file = directory.path() / "input";
  WriteFile(file, std::string(salt) + std::string(mac_digits));
  std::string digest = OutputOf({"sha256sum", file}).substr(0, 64);
  for (char& digit : digest) digit = static_cast<char>(std::toupper(digit));
  return digest;
}

}  // namespace orvane::testbed
