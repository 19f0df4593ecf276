#include "testbed/real_hostapd.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "testbed/hostapd.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

constexpr char kPath[] = "/usr/sbin:/usr/bin:/sbin:/bin";

}  // namespace

void RealHostapd::Start() {
  const platform::FilePath config = directory_ / "hostapd.conf";
  WriteFile(config, fmt::format("interface={}\ndriver=none\nctrl_interface={}\n", kWlan5000,
                                kControlDirectory));
  process_ = StartProcess({"hostapd", "-d", config}, {{"PATH", kPath}});
  ASSERT_TRUE(process_->out().WaitForLine("AP-ENABLED", kPatience)) << process_->out().Text();
}

void RealHostapd::Stop(int signal_number) {
  process_->Signal(signal_number);
  ASSERT_TRUE(process_->WaitForExit(kPatience).has_value());
}

bool RealHostapd::IsAttached(std::chrono::milliseconds timeout) {
  return process_->out().WaitForLine("CTRL_IFACE monitor attached", timeout).has_value();
}

void RealHostapd::Command(const std::string& name, const std::string& argument) {
  ChildProcess::Arguments arguments = {"hostapd_cli", "-i", kWlan5000, name};
  if (!argument.empty()) arguments.push_back(argument);
  const auto client = StartProcess(arguments, {{"PATH", kPath}});
  ASSERT_TRUE(client->out().WaitForLine("OK", kPatience)) << client->out().Text();
}

}  // namespace orvane::testbed
