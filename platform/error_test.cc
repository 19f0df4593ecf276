#include "platform/error.h"

#include <gtest/gtest.h>

namespace orvane::platform {
namespace {

TEST(ErrorTest, HoldsWhatWentWrong) {
  std::unique_ptr<Error> error;
  Error::AddTo(&error, kDBusErrorDomain, "org.freedesktop.DBus.Error.NoReply", "no reply");
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), "dbus");
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.NoReply");
  EXPECT_EQ(error->message(), "no reply");
  EXPECT_EQ(error->inner(), nullptr);
}

TEST(ErrorTest, AddsOnTopOfAnEarlierError) {
  std::unique_ptr<Error> error;
  Error::AddTo(&error, "files", "missing", "no such file");
  const Error* first = error.get();
  Error::AddTo(&error, "setup", "failed", "cannot start");
  EXPECT_EQ(error->code(), "failed");
  ASSERT_EQ(error->inner(), first);
  EXPECT_EQ(error->inner()->code(), "missing");
}

TEST(ErrorTest, ANullHolderIsNoHolder) {
  Error::AddTo(nullptr, "files", "missing", "no such file");
  std::unique_ptr<Error> error;
  Error::AddTo(&error, "files", "missing", "no such file");
  EXPECT_EQ(error->inner(), nullptr);
}

}  // namespace
}  // namespace orvane::platform
