#ifndef PLATFORM_ERROR_H_
#define PLATFORM_ERROR_H_

#include <memory>
#include <string>
#include <utility>

namespace orvane::platform {

// Domain of bus errors. Their code is the D-Bus error name.
inline constexpr char kDBusErrorDomain[] = "dbus";

// An error that a function returns: a domain, a code within that domain, and a message for people.
// An error may wrap an earlier one as its inner error.
class Error {
 public:
  Error(std::string domain, std::string code, std::string message, std::unique_ptr<Error> inner)
      : domain_(std::move(domain)),
        code_(std::move(code)),
        message_(std::move(message)),
        inner_(std::move(inner)) {}

  // Puts a new error into `*holder` and makes the one already there its inner error. Does nothing
  // for a null holder.
  static void AddTo(std::unique_ptr<Error>* holder, std::string domain, std::string code,
                    std::string message) {
    if (holder == nullptr) return;
    *holder = std::make_unique<Error>(std::move(domain), std::move(code), std::move(message),
                                      std::move(*holder));
  }

  const std::string& domain() const { return domain_; }
  const std::string& code() const { return code_; }
  const std::string& message() const { return message_; }
  const Error* inner() const { return inner_.get(); }

 private:
  std::string domain_;
  std::string code_;
  std::string message_;
  std::unique_ptr<Error> inner_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_ERROR_H_
