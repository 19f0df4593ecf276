#include "testbed/steering_access_point.h"

#include "testbed/temporary_directory.h"

namespace orvane::testbed {

void SteeringAccessPoint::SetStations(Lines lines) {
  lines.insert(lines.end(), {kWlan2400, kWlan5000});
  SetKernel(lines);
}

void SteeringAccessPoint::SetKernel(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  ReplaceFile(directory() / "stations", text);
}

void SteeringAccessPoint::Start(const Arguments& arguments) {
  StartBus();
  Launch(arguments);
  ExpectReady();
}

void SteeringAccessPoint::Launch(const Arguments& arguments) {
  StartHostapds();
  set_daemon_command({daemon_path_, directory() / "stations"});
  Arguments all = {"--v=1", "--client_steering_interval=2", "--client_steering_poll_interval=1"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  LaunchDaemon(all);
}

void SteeringAccessPoint::ExpectReady() {
  EXPECT_EQ(NextNotice(), "READY=1");
  wlan2400().Attach();
  wlan5000().Attach();
}

std::vector<std::string> SteeringAccessPoint::LogTextsWith(std::string_view part) {
  std::vector<std::string> texts;
  for (const LogLine& line : Log()) {
    if (line.text.find(part) != std::string::npos) texts.push_back(line.text);
  }
  return texts;
}

void SteeringAccessPoint::ExpectLoggedWith(std::string_view part, std::size_t count) {
  EXPECT_TRUE(WaitUntil([&] { return LogTextsWith(part).size() >= count; })) << part;
}

}  // namespace orvane::testbed
