#include "testbed/played_kernel.h"

#include "testbed/temporary_directory.h"

namespace orvane::ap {

void PlayedKernel::SetStations(Lines lines) {
  lines.insert(lines.end(), {kWlan2400, kWlan5000});
  SetKernel(lines);
}

void PlayedKernel::SetKernel(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  lab::ReplaceFile(directory() / "stations", text);
}

void PlayedKernel::Start(const Arguments& arguments) {
  StartBus();
  Launch(arguments);
  ExpectReady();
}

void PlayedKernel::Launch(const Arguments& arguments) {
  wlan2400_ = std::make_unique<Hostapd>(kWlan2400);
  wlan5000_ = std::make_unique<Hostapd>(kWlan5000);
  set_daemon_command({daemon_path_, directory() / "stations"});
  Arguments all = {"--v=1", "--client_steering_interval=2", "--client_steering_poll_interval=1"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  LaunchDaemon(all);
}

void PlayedKernel::ExpectReady() {
  EXPECT_EQ(NextNotice(), "READY=1");
  wlan2400_->Attach();
  wlan5000_->Attach();
}

std::vector<std::string> PlayedKernel::LogTextsWith(std::string_view part) {
  std::vector<std::string> texts;
  for (const LogLine& line : Log()) {
    if (line.text.find(part) != std::string::npos) texts.push_back(line.text);
  }
  return texts;
}

void PlayedKernel::ExpectLoggedWith(std::string_view part, std::size_t count) {
  EXPECT_TRUE(WaitUntil([&] { return LogTextsWith(part).size() >= count; })) << part;
}

}  // namespace orvane::ap
