#include "flags/flags_daemon.h"

#include <sysexits.h>

#include <memory>
#include <utility>

#include "platform/logging.h"

namespace orvane::flags {
namespace {

namespace bus = platform::bus;

constexpr char kServiceName[] = "org.velmora.ap.Flags";
constexpr char kObjectPath[] = "/org/velmora/ap/Flags";
constexpr char kInterface[] = "org.velmora.ap.Flags";
constexpr char kProperty[] = "Flags";

}  // namespace

FlagsDaemon::FlagsDaemon(std::vector<platform::FilePath> directories)
    : BusServiceDaemon(kServiceName, kObjectPath), directories_(std::move(directories)) {}

// Calls that arrive after the name is claimed wait for the loop, so they find the object.
int FlagsDaemon::OnInit() {
  if (const int exit_code = BusServiceDaemon::OnInit(); exit_code != 0) return exit_code;
  publisher_.emplace(loop(), directories_, [this] {
    std::unique_ptr<platform::Error> error;
    if (object_ && !object_->EmitChanged(kProperty, &error)) {
      LOG(ERROR) << "Failed to signal new flags: " << error->message();
    }
  });
  object_.emplace(*bus(), kObjectPath, kInterface);
  object_->AddProperty(kProperty, "a{ss}", [this](bus::MessageWriter& writer) {
    writer.AppendStringMap(publisher_->flags());
  });
  std::unique_ptr<platform::Error> error;
  if (object_->Export(&error)) return 0;
  LOG(ERROR) << "Failed to publish the flags: " << error->message();
  return EX_UNAVAILABLE;
}

}  // namespace orvane::flags
