#ifndef PLATFORM_BUS_MESSAGES_H_
#define PLATFORM_BUS_MESSAGES_H_

#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/bus/any.h"
#include "platform/error.h"

namespace orvane::platform::bus {

using StringMap = std::map<std::string, std::string>;
using Bytes = std::span<const std::uint8_t>;
using ErrorHolder = std::unique_ptr<Error>*;

struct MessageDeleter {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePtr = std::unique_ptr<sd_bus_message, MessageDeleter>;

// Adds what the library reported, in the domain kDBusErrorDomain. An error that it gives as a
// number only gets the D-Bus error name that the library has for it.
void AddBusError(ErrorHolder holder, const sd_bus_error& error);
void AddErrno(ErrorHolder holder, int error_number);

// Appends values to a message that is not sealed yet, and outlives the writer. The first failure
// (text that is not UTF-8 or has a null character in it, a message over the bus's limits) is kept,
// and nothing is appended after it.
class MessageWriter {
 public:
  // A null message is a failure from the start.
  explicit MessageWriter(sd_bus_message* message) : message_(message), ok_(message != nullptr) {}

  void AppendString(const std::string& value);
  // As an array of bytes, which may be empty, in one piece.
  void AppendBytes(Bytes value);
  // As an array of dictionary entries, in the order of the keys.
  void AppendStringMap(const StringMap& value);
  // As a variant of just the value's type.
  void AppendVariant(const Any& value);

  bool ok() const { return ok_; }

 private:
  friend class WriteScope;

  template <typename Call>
  void Append(Call call) {
    if (ok_) ok_ = call() >= 0;
  }
  void AppendBasic(char type, const void* value);

  sd_bus_message* message_;
  bool ok_;
};

// An open container of the message that is being written; closed on destruction.
class WriteScope {
 public:
  // `type` is one of SD_BUS_TYPE_ARRAY, _VARIANT, _DICT_ENTRY, _STRUCT; `contents` its signature.
  WriteScope(MessageWriter& writer, char type, const char* contents);
  WriteScope(const WriteScope&) = delete;
  WriteScope& operator=(const WriteScope&) = delete;
  ~WriteScope();

 private:
  MessageWriter& writer_;
};

// Reads the values of a sealed message one after the other. A read that fails, because the next
// value is of another type or there is none, leaves the place where it was.
class MessageReader {
 public:
  // `message` outlives the reader, and is the one that has the place.
  explicit MessageReader(sd_bus_message* message) : message_(message) {}

  // The text is the message's own.
  std::optional<std::string_view> PopString();
  // The bytes are the message's own.
  std::optional<Bytes> PopBytes();
  // A variant of any type that Any can hold.
  std::optional<Any> PopVariant();
  // An array of dictionary entries, which replaces the contents of `*map`. Of several entries with
  // one key the first counts. False when there is no array, and the map stays; or at an entry that
  // is not a pair of strings, and the map keeps those before it.
  bool PopStringMap(StringMap* map);

  // Whether the innermost open container, or the message, has another value.
  bool HasMore() const { return sd_bus_message_at_end(message_, 0) == 0; }
  // Whether the next value is of this type.
  bool NextIs(char type) const;

 private:
  friend class ReadScope;

  sd_bus_message* message_;
};

// An entered container of the message that is being read. On destruction it is left, and what was
// not read of it skipped, so that the place is behind it however the reading went.
class ReadScope {
 public:
  // Null `contents` enters a container of this type with any contents. Not entered, and false, when
  // the next value is something else.
  ReadScope(MessageReader& reader, char type, const char* contents);
  ReadScope(const ReadScope&) = delete;
  ReadScope& operator=(const ReadScope&) = delete;
  ~ReadScope();

  explicit operator bool() const { return entered_; }

 private:
  sd_bus_message* message_;
  bool entered_;
};

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_MESSAGES_H_
