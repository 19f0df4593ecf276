#include "testbed/answering_hostapd.h"

#include <poll.h>

#include <utility>

#include "platform/logging.h"

namespace orvane::testbed {
namespace {

constexpr int kLookMs = 10;

bool IsAttach(const std::string& command) { return command.starts_with("ATTACH"); }

}  // namespace

AnsweringHostapd::AnsweringHostapd(const platform::FilePath& path) : socket_(path) {
  answers_["PING"] = {"PONG\n"};
  const Failure failure = socket_.Open();
  CHECK(!failure.has_value()) << *failure;
  thread_ = std::thread([this] { Serve(); });
}

AnsweringHostapd::~AnsweringHostapd() {
  is_ending_ = true;
  thread_.join();
}

void AnsweringHostapd::SetAnswers(const std::string& command, std::vector<std::string> answers) {
  const std::lock_guard lock(mutex_);
  answers_[command] = std::move(answers);
}

void AnsweringHostapd::Serve() {
  while (!is_ending_) {
    pollfd watched = {.fd = socket_.fd(), .events = POLLIN, .revents = 0};
    poll(&watched, 1, kLookMs);
    while (const std::optional<Command> command = socket_.Receive()) Answer(*command);
  }
}

void AnsweringHostapd::Answer(const Command& command) {
  const std::lock_guard lock(mutex_);
  ++counts_[command.text];
  std::vector<std::string> answers = {"OK\n"};
  if (const auto found = answers_.find(command.text); found != answers_.end()) {
    answers = found->second;
  }
  for (const std::string& answer : answers) {
    while (socket_.Send(command.sender, answer) == ControlSocket::SendResult::kFull) {
    }
  }
  const bool is_accepted = !answers.empty() && answers.front() == "OK\n";
  if (IsAttach(command.text) && is_accepted) monitor_ = command.sender;
}

bool AnsweringHostapd::WaitForMonitor(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < deadline) {
    {
      const std::lock_guard lock(mutex_);
      if (monitor_.has_value()) return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

void AnsweringHostapd::Send(std::string_view event) {
  std::unique_lock lock(mutex_);
  const PeerAddress monitor = monitor_.value();
  lock.unlock();
  while (socket_.Send(monitor, event) == ControlSocket::SendResult::kFull) {
  }
}

std::size_t AnsweringHostapd::Count(const std::string& command) {
  const std::lock_guard lock(mutex_);
  return counts_[command];
}

}  // namespace orvane::testbed
