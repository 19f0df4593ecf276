#include "platform/bus/connection.h"

#include <poll.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::platform::bus {
namespace {

constexpr char kLocalInterface[] = "org.freedesktop.DBus.Local";
constexpr char kLocalPath[] = "/org/freedesktop/DBus/Local";

// How long the bus may read nothing when the connection ends.
constexpr int kPatienceMs = 1000;

bool Succeeded(int result, ErrorHolder error) {
  if (result < 0) AddErrno(error, -result);
  return result >= 0;
}

}  // namespace

std::shared_ptr<Connection> Connection::OpenSystemBus(SdEventLoop& loop, ErrorHolder error) {
  sd_bus* opened = nullptr;
  if (!Succeeded(sd_bus_open_system(&opened), error)) return nullptr;
  BusPtr bus(opened);
  // Opening only starts the handshake. Asking for the unique name blocks until it is complete.
  const char* unique_name = nullptr;
  if (!Succeeded(sd_bus_get_unique_name(opened, &unique_name), error)) return nullptr;

  auto connection = std::make_shared<Connection>(std::move(bus), loop);
  if (!connection->Attach(error)) return nullptr;
  return connection;
}

Connection::Connection(BusPtr bus, SdEventLoop& loop) : loop_(loop), bus_(std::move(bus)) {}

Connection::~Connection() {
  disconnected_slot_.reset();
  SendQueued();
  sd_bus_close(bus_.get());
}

// Unlike sd_bus_flush, it gives up on a bus that hangs, which would hold the end of the process.
void Connection::SendQueued() {
  std::uint64_t queued = 0;
  while (sd_bus_get_n_queued_write(bus_.get(), &queued) >= 0 && queued > 0) {
    pollfd socket = {sd_bus_get_fd(bus_.get()), POLLOUT, 0};
    if (RetryOnEintr([&] { return poll(&socket, 1, kPatienceMs); }) <= 0) return;
    // Only writes while the socket takes more.
    if (sd_bus_process(bus_.get(), nullptr) < 0) return;
  }
}

bool Connection::Attach(ErrorHolder error) {
  // The loop ends before the objects that use the bus, and these may still send messages.
  if (!Succeeded(sd_bus_set_close_on_exit(bus_.get(), 0), error)) return false;
  sd_bus_slot* slot = nullptr;
  // The library itself sends this signal when the connection is lost.
  if (!Succeeded(sd_bus_match_signal(bus_.get(), &slot, kLocalInterface, kLocalPath,
                                     kLocalInterface, "Disconnected", &OnDisconnected, this),
                 error)) {
    return false;
  }
  disconnected_slot_.reset(slot);
  return Succeeded(sd_bus_attach_event(bus_.get(), loop_.event(), SD_EVENT_PRIORITY_NORMAL), error);
}

int Connection::OnDisconnected(sd_bus_message* /*message*/, void* connection,
                               sd_bus_error* /*error*/) noexcept {
  LOG(ERROR) << "Lost the connection to the system bus";
  static_cast<Connection*>(connection)->loop_.Quit(kConnectionLostExitCode);
  return 0;
}

ObjectProxy* Connection::GetObjectProxy(const std::string& service, const std::string& path) {
  std::unique_ptr<ObjectProxy>& proxy = proxies_[{service, path}];
  if (proxy == nullptr) proxy = std::make_unique<ObjectProxy>(*this, service, path);
  return proxy.get();
}

bool Connection::RequestName(const std::string& name, ErrorHolder error) {
  const int result = sd_bus_request_name(bus_.get(), name.c_str(), /*flags=*/0);
  if (result == -EEXIST) {
    Error::AddTo(error, kDBusErrorDomain, SD_BUS_ERROR_FILE_EXISTS, "another process owns it");
    return false;
  }
  return Succeeded(result, error);
}

bool Connection::ExportObjectManager(const std::string& path, ErrorHolder error) {
  sd_bus_slot* slot = nullptr;
  if (!Succeeded(sd_bus_add_object_manager(bus_.get(), &slot, path.c_str()), error)) return false;
  object_manager_slot_.reset(slot);
  return true;
}

}  // namespace orvane::platform::bus
