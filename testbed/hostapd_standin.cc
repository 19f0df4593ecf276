#include "testbed/hostapd_standin.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "common/mac_address.h"
#include "platform/loop.h"
#include "platform/weak_ptr.h"
#include "testbed/control_socket.h"
#include "testbed/event_player.h"
#include "testbed/text.h"

namespace orvane::testbed {
namespace {

constexpr std::string_view kOk = "OK\n";
constexpr std::string_view kFail = "FAIL\n";
constexpr std::string_view kPong = "PONG\n";
constexpr std::string_view kUnknown = "UNKNOWN COMMAND\n";

constexpr int kCommandsPerWakeUp = 64;

// Replaces unprintable characters, so that the text is one line.
std::string Printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return std::isprint(c) == 0; }, '?');
  return text;
}

// Commands about a station succeed even if the station does not exist.
std::string_view AnswerTo(std::string_view command) {
  const std::string_view name = TakeWord(&command);
  if (name == "ATTACH") return kOk;
  if (name == "PING") return kPong;
  if (name == "DISASSOCIATE" || name == "DEAUTHENTICATE") {
    return ap::MacAddress::ParseFromString(TakeWord(&command), /*out=*/nullptr) ? kOk : kFail;
  }
  return kUnknown;
}

}  // namespace

class HostapdStandin::Interface : public platform::FdWatcher {
 public:
  Interface(HostapdStandin& standin, std::string name, EventPlan plan)
      : standin_(standin),
        name_(std::move(name)),
        socket_(standin.options_.directory / name_),
        player_(
            standin.loop_, socket_, std::move(plan),
            [this](const PeerAddress& peer) { Tell("lost " + peer.Text()); },
            [this] {
              Tell(fmt::format("done: {} events", player_.plan_size()));
              standin_.OnInterfaceDone();
            }) {}

  Failure Start() {
    if (Failure failure = socket_.Open()) return failure;
    watch_ = standin_.loop_.WatchReadable(socket_.fd(), this);
    return std::nullopt;
  }

  bool has_plan() const { return player_.plan_size() > 0; }

  void OnReadReady(int /*fd*/) override {
    for (int taken = 0; taken < kCommandsPerWakeUp; ++taken) {
      std::optional<Command> command = socket_.Receive();
      if (!command) return;
      Tell(fmt::format("{} from {}", Printable(command->text), command->sender.Text()));
      if (command->sender.has_name()) AnswerLater(std::move(*command));
    }
  }
  void OnWriteReady(int /*fd*/) override {}

 private:
  void Tell(const std::string& text) { standin_.tell_(name_ + " " + text); }

  void AnswerLater(Command command) {
    const HostapdStandinOptions& options = standin_.options_;
    if (options.no_answer && command.text == "ATTACH") return;
    if (options.answer_delay.count() == 0) {
      Answer(command);
      return;
    }
    standin_.loop_.PostDelayedTask(
        [self = weak_factory_.GetWeakPtr(), command = std::move(command)] {
          if (self) self->Answer(command);
        },
        options.answer_delay);
  }

  void Answer(const Command& command) {
    std::string_view answer = AnswerTo(command.text);
    if (command.text == "DETACH") answer = player_.Detach(command.sender) ? kOk : kFail;
    if (socket_.Send(command.sender, answer) != ControlSocket::SendResult::kSent) {
      Tell("lost " + command.sender.Text());
      return;
    }
    // After the answer, which must precede the first event.
    if (command.text == "ATTACH") player_.Attach(command.sender);
  }

  HostapdStandin& standin_;
  std::string name_;
  ControlSocket socket_;
  EventPlayer player_;
  std::unique_ptr<platform::FdWatch> watch_;
  platform::WeakPtrFactory<Interface> weak_factory_{this};
};

HostapdStandin::HostapdStandin(platform::SdEventLoop& loop, HostapdStandinOptions options,
                               LineSink tell)
    : loop_(loop), options_(std::move(options)), tell_(std::move(tell)) {}

HostapdStandin::~HostapdStandin() = default;

Failure HostapdStandin::Start() {
  std::error_code error;
  std::filesystem::create_directories(options_.directory, error);
  if (error) return "Can't make " + options_.directory.native() + ": " + error.message();
  std::string names;
  for (const std::string& name : options_.interfaces) {
    auto interface = std::make_unique<Interface>(*this, name, options_.plans[name]);
    if (Failure failure = interface->Start()) return failure;
    if (interface->has_plan()) ++still_playing_;
    interfaces_.push_back(std::move(interface));
    names += name + " ";
  }
  tell_(fmt::format("ready: {}in {}", names, options_.directory.native()));
  if (still_playing_ == 0 && options_.exit_when_done) loop_.Quit(kExitOk);
  return std::nullopt;
}

void HostapdStandin::OnInterfaceDone() {
  if (--still_playing_ > 0) return;
  tell_("all done");
  if (options_.exit_when_done) loop_.Quit(kExitOk);
}

}  // namespace orvane::testbed
