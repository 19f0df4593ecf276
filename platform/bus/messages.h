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

// Adds an error of the library, in the domain kDBusErrorDomain. If the library gives only an error
// number, the code is the D-Bus error name for that number.
void AddBusError(ErrorHolder holder, const sd_bus_error& error);
void AddErrno(ErrorHolder holder, int error_number);

// Appends values to a message that is not sealed yet. The message must outlive the writer. After
// the first failure (text that is not UTF-8 or contains a null character, or a message over the
// bus's limits) nothing more is appended.
class MessageWriter {
 public:
  // A null message counts as a failure.
  explicit MessageWriter(sd_bus_message* message) : message_(message), ok_(message != nullptr) {}

  void AppendString(const std::string& value);
  // Appends an array of bytes, which may be empty.
  void AppendBytes(Bytes value);
  // Appends an array of dictionary entries, in the order of the keys.
  void AppendStringMap(const StringMap& value);
  // Appends a variant of exactly the value's type.
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

// Opens a container in a message that is being written. The destructor closes it.
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

// Reads the values of a sealed message in order. A read fails if the next value has another type or
// there is none. A failed read does not move the position.
class MessageReader {
 public:
  // `message` must outlive the reader. The position is part of the message.
  explicit MessageReader(sd_bus_message* message) : message_(message) {}

  // The text is owned by the message.
  std::optional<std::string_view> PopString();
  // The bytes are owned by the message.
  std::optional<Bytes> PopBytes();
  // Reads a variant of any type that Any can hold.
  std::optional<Any> PopVariant();
  // Reads an array of dictionary entries, which replaces the contents of `*map`. If a key is
  // repeated, the first value wins. Returns false if the next value is not an array, and leaves
  // `*map` unchanged. Also returns false at an entry that is not a pair of strings; `*map` then has
  // the entries before it.
  bool PopStringMap(StringMap* map);

  // Returns whether the innermost open container, or the message, has another value.
  bool HasMore() const { return sd_bus_message_at_end(message_, 0) == 0; }
  // Returns whether the next value has this type.
  bool NextIs(char type) const;

 private:
  friend class ReadScope;

  sd_bus_message* message_;
};

// Enters a container of a message that is being read. The destructor leaves it and skips its unread
// values, so that the position is always after it.
class ReadScope {
 public:
  // Null `contents` accepts any contents. If the next value is something else, no container is
  // entered and the object converts to false.
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
