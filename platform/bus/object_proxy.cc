#include "platform/bus/object_proxy.h"

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "platform/bus/connection.h"
#include "platform/logging.h"
#include "platform/weak_ptr.h"

namespace orvane::platform::bus {
namespace {

// The library's time-outs are in microseconds, and 0 selects its default.
std::uint64_t TimeoutUsec(int timeout_ms) {
  if (timeout_ms < 0) return 0;
  return timeout_ms == 0 ? 1 : static_cast<std::uint64_t>(timeout_ms) * 1000;
}

std::unique_ptr<Error> NotSentError(const std::string& interface, const std::string& member) {
  return std::make_unique<Error>(kDBusErrorDomain, SD_BUS_ERROR_FAILED,
                                 "Failed to call D-Bus method: " + interface + "." + member,
                                 nullptr);
}

class PendingCallImpl : public PendingCall {
 public:
  explicit PendingCallImpl(ObjectProxy::ReplyCallback callback) : callback_(std::move(callback)) {}

  // Returns whether the call was sent.
  bool Send(sd_bus* bus, sd_bus_message* message, int timeout_ms) {
    sd_bus_slot* slot = nullptr;
    const int result =
        sd_bus_call_async(bus, &slot, message, &OnReply, this, TimeoutUsec(timeout_ms));
    slot_.reset(slot);
    return result >= 0;
  }

  void FailLater(Loop& loop, std::shared_ptr<const Error> error) {
    loop.PostTask([weak = weak_ptr_factory_.GetWeakPtr(), error = std::move(error)] {
      if (weak) weak->Finish(nullptr, error.get());
    });
  }

 private:
  static int OnReply(sd_bus_message* reply, void* call, sd_bus_error* /*error*/) noexcept {
    auto* self = static_cast<PendingCallImpl*>(call);
    if (sd_bus_message_is_method_error(reply, nullptr) > 0) {
      std::unique_ptr<Error> error;
      AddBusError(&error, *sd_bus_message_get_error(reply));
      self->Finish(nullptr, error.get());
    } else {
      self->Finish(reply, nullptr);
    }
    return 0;
  }

  // The callback may destroy this call, so a copy of the callback runs.
  void Finish(sd_bus_message* reply, const Error* error) {
    const ObjectProxy::ReplyCallback callback = std::move(callback_);
    callback(reply, error);
  }

  ObjectProxy::ReplyCallback callback_;
  SlotPtr slot_;
  WeakPtrFactory<PendingCallImpl> weak_ptr_factory_{this};
};

void LogSubscriptionFailure(const std::string& reason) {
  LOG(WARNING) << "Failed to subscribe to bus signals: " << reason;
}

int OnSubscribed(sd_bus_message* reply, void* /*callback*/, sd_bus_error* /*error*/) noexcept {
  const sd_bus_error* error = sd_bus_message_get_error(reply);
  if (error != nullptr) {
    LogSubscriptionFailure(error->message == nullptr ? error->name : error->message);
  }
  return 0;
}

// The library keeps the slot, which owns the callback, until this returns.
int OnSignal(sd_bus_message* signal, void* callback, sd_bus_error* /*error*/) noexcept {
  // Nothing guarantees the sender of a unicast signal.
  if (sd_bus_message_get_destination(signal) != nullptr) return 0;
  (*static_cast<const ObjectProxy::SignalCallback*>(callback))(signal);
  return 0;
}

void DestroySignalCallback(void* callback) noexcept {
  delete static_cast<ObjectProxy::SignalCallback*>(callback);
}

}  // namespace

ObjectProxy::ObjectProxy(Connection& connection, std::string service, std::string path)
    : connection_(connection), service_(std::move(service)), path_(std::move(path)) {}

MethodCall ObjectProxy::NewMethodCall(const std::string& interface,
                                      const std::string& member) const {
  sd_bus_message* message = nullptr;
  sd_bus_message_new_method_call(connection_.bus(), &message, service_.c_str(), path_.c_str(),
                                 interface.c_str(), member.c_str());
  return MethodCall(MessagePtr(message), interface, member);
}

MessagePtr ObjectProxy::CallAndWait(MethodCall call, int timeout_ms, ErrorHolder error) const {
  sd_bus_error bus_error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  if (call.writer_.ok()) {
    sd_bus_call(connection_.bus(), call.message_.get(), TimeoutUsec(timeout_ms), &bus_error,
                &reply);
  }
  if (reply == nullptr) {
    if (sd_bus_error_is_set(&bus_error) > 0) {
      AddBusError(error, bus_error);
    } else {
      const std::unique_ptr<Error> not_sent = NotSentError(call.interface_, call.member_);
      Error::AddTo(error, not_sent->domain(), not_sent->code(), not_sent->message());
    }
  }
  sd_bus_error_free(&bus_error);
  return MessagePtr(reply);
}

std::unique_ptr<PendingCall> ObjectProxy::CallAsync(MethodCall call, int timeout_ms,
                                                    ReplyCallback callback) const {
  auto pending = std::make_unique<PendingCallImpl>(std::move(callback));
  if (!call.writer_.ok() || !pending->Send(connection_.bus(), call.message_.get(), timeout_ms)) {
    pending->FailLater(connection_.loop(), NotSentError(call.interface_, call.member_));
  }
  return pending;
}

SignalSubscription ObjectProxy::Subscribe(const std::string& interface, const std::string& member,
                                          const std::string& arg0, SignalCallback callback) const {
  std::string match = "type='signal',sender='" + service_ + "',path='" + path_ + "',interface='" +
                      interface + "',member='" + member + "'";
  if (!arg0.empty()) match += ",arg0='" + arg0 + "'";
  auto kept = std::make_unique<SignalCallback>(std::move(callback));
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_add_match_async(connection_.bus(), &slot, match.c_str(), &OnSignal,
                                            &OnSubscribed, kept.get());
  if (result < 0) {
    LogSubscriptionFailure(SystemErrorText(-result));
    return nullptr;
  }
  sd_bus_slot_set_destroy_callback(slot, &DestroySignalCallback);
  std::ignore = kept.release();
  return SignalSubscription(slot);
}

bool CheckNoMoreArguments(sd_bus_message* reply, ErrorHolder error) {
  if (!MessageReader(reply).HasMore()) return true;
  Error::AddTo(error, kDBusErrorDomain, SD_BUS_ERROR_INVALID_ARGS,
               "Too many parameters in a method call");
  return false;
}

}  // namespace orvane::platform::bus
