#include "testbed/real_hostapd.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "testbed/temporary_directory.h"

namespace orvane::ap {
namespace {

using lab::ChildProcess;

constexpr char kPath[] = "/usr/sbin:/usr/bin:/sbin:/bin";

}  // namespace

void RealHostapd::StartHostapd() {
  const platform::FilePath config = directory() / "hostapd.conf";
  lab::WriteFile(config, fmt::format("interface={}\ndriver=none\nctrl_interface={}\n", kWlan5000,
                                     kControlDirectory));
  std::string error;
  hostapd_ = ChildProcess::Start({"hostapd", "-d", config}, {{"PATH", kPath}}, &error);
  ASSERT_NE(hostapd_, nullptr) << error;
  ASSERT_TRUE(hostapd_->out().WaitForLine("AP-ENABLED", kPatience)) << hostapd_->out().Text();
}

void RealHostapd::StopHostapd(int signal_number) {
  hostapd_->Signal(signal_number);
  ASSERT_TRUE(hostapd_->WaitForExit(kPatience).has_value());
}

bool RealHostapd::IsAttached(std::chrono::milliseconds timeout) {
  return hostapd_->out().WaitForLine("CTRL_IFACE monitor attached", timeout).has_value();
}

void RealHostapd::Command(const std::string& name, const std::string& argument) {
  std::string error;
  ChildProcess::Arguments arguments = {"hostapd_cli", "-i", kWlan5000, name};
  if (!argument.empty()) arguments.push_back(argument);
  const auto client = ChildProcess::Start(arguments, {{"PATH", kPath}}, &error);
  ASSERT_NE(client, nullptr) << error;
  ASSERT_TRUE(client->out().WaitForLine("OK", kPatience)) << client->out().Text();
}

}  // namespace orvane::ap
