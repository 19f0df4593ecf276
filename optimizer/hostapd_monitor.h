#ifndef OPTIMIZER_HOSTAPD_MONITOR_H_
#define OPTIMIZER_HOSTAPD_MONITOR_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "optimizer/file_change_monitor.h"
#include "optimizer/hostapd_event.h"
#include "platform/datagram_reader.h"
#include "platform/datagram_writer.h"
#include "platform/files.h"
#include "platform/loop.h"
#include "platform/one_shot_timer.h"
#include "platform/sockets.h"
#include "platform/weak_ptr.h"

namespace orvane::ap {

// The connection to the hostapd of one access-point interface.
class HostapdMonitor {
 public:
  virtual ~HostapdMonitor() = default;

  // Starts the monitor. Must be called once.
  virtual void Initialize() = 0;

  // Sends a command as one datagram, unchanged. Commands are sent in order, and wait while
  // hostapd's queue is full. Each lost command logs a line. Returns false if the command is already
  // lost. The answer is read and dropped.
  virtual bool SendCommand(const char* data, std::size_t length) = 0;
};

// Keeps an attachment to the control socket of the interface in hostapd's control directory. It
// attaches when the socket appears, and again when hostapd does not answer or comes back. It passes
// every event of hostapd to the callback. It never blocks.
//
// The destructor detaches. The event callback must not destroy the monitor. The loop must outlive
// it.
class HostapdMonitorImpl final : public HostapdMonitor {
 public:
  static constexpr int kInvalidSocket = -1;
  // Time from a failed attempt to the next one.
  static constexpr int kRetryDelayMs = 500;
  // Maximum time for hostapd's answer to "ATTACH".
  static constexpr platform::TimeSpan kAttachTimeout{1'000'000};

  // `owner_tag` is part of the name of the local socket, which is in the abstract namespace.
  HostapdMonitorImpl(platform::Loop& loop, std::unique_ptr<platform::Sockets> sockets,
                     HostapdLineCallback event_callback, std::string owner_tag,
                     const platform::FilePath& control_directory, std::string interface_name);
  ~HostapdMonitorImpl() override;

  void Initialize() override;
  bool SendCommand(const char* data, std::size_t length) override;

 private:
  bool SendNow(std::string_view command);
  void CheckSocket();
  void ResetAttachCallback(int delay_ms);
  void Attach();
  bool TryAttach();
  void OnAttachTimeout();

  bool OpenSocket();
  bool BindSocket();
  bool ConnectSocket();
  void CloseSocket();

  void OnReadData(std::span<const std::uint8_t> datagram);
  void OnReadError(std::string_view error);

  platform::Loop& loop_;
  std::unique_ptr<platform::Sockets> sockets_;
  HostapdLineCallback event_callback_;
  platform::FilePath socket_path_;
  int hostapd_socket_ = kInvalidSocket;
  std::unique_ptr<platform::DatagramWriter> writer_;  // null unless the socket is connected
  std::unique_ptr<platform::DatagramReader> read_handler_;
  HostapdEventParser parser_;
  platform::OneShotTimer attach_timeout_;
  platform::OneShotTimer attach_callback_;
  bool started_ = false;
  bool attached_ = false;
  std::string interface_name_;
  std::string owner_tag_;
  platform::WeakPtrFactory<HostapdMonitorImpl> weak_ptr_factory_{this};
  FileChangeMonitor socket_watcher_;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_HOSTAPD_MONITOR_H_
