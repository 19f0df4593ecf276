#include "platform/bus/messages.h"

#include <array>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

namespace orvane::platform::bus {
namespace {

// The bus types of Any's alternatives, in the same order.
constexpr std::string_view kAnyTypes = "bynqiuxtds";
static_assert(kAnyTypes.size() == std::variant_size_v<Any>);

using AnyReader = bool (*)(sd_bus_message* message, char type, Any* value);

template <typename T>
bool ReadBasic(sd_bus_message* message, char type, Any* value) {
  // The C type that the library uses for this value.
  using Read = std::conditional_t<std::is_same_v<T, bool>, int,
                                  std::conditional_t<std::is_same_v<T, std::string>, char*, T>>;
  Read read{};
  if (sd_bus_message_read_basic(message, type, &read) <= 0) return false;
  *value = T(read);
  return true;
}

// In the order of the alternatives.
template <std::size_t... kIndex>
constexpr auto AnyReaders(std::index_sequence<kIndex...>) {
  return std::array<AnyReader, sizeof...(kIndex)>{
      &ReadBasic<std::variant_alternative_t<kIndex, Any>>...};
}
constexpr auto kAnyReaders = AnyReaders(std::make_index_sequence<std::variant_size_v<Any>>());

// By default a system bus accepts messages up to 32 MiB. The library would send larger ones, and
// the bus would close the connection. The difference is room for the rest of the message.
constexpr std::size_t kMaxArrayBytes = (std::size_t{32} << 20) - (std::size_t{64} << 10);

std::string OrEmpty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

void AddBusError(ErrorHolder holder, const sd_bus_error& error) {
  Error::AddTo(holder, kDBusErrorDomain, OrEmpty(error.name), OrEmpty(error.message));
}

void AddErrno(ErrorHolder holder, int error_number) {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_error_set_errno(&error, error_number);
  AddBusError(holder, error);
  sd_bus_error_free(&error);
}

void MessageWriter::AppendBasic(char type, const void* value) {
  Append([&] { return sd_bus_message_append_basic(message_, type, value); });
}

void MessageWriter::AppendString(const std::string& value) {
  // A C string ends at the first null character: the rest would be lost silently.
  if (value.find('\0') != std::string::npos) ok_ = false;
  AppendBasic(SD_BUS_TYPE_STRING, value.c_str());
}

void MessageWriter::AppendBytes(Bytes value) {
  if (value.size() > kMaxArrayBytes) ok_ = false;
  Append([&] {
    return sd_bus_message_append_array(message_, SD_BUS_TYPE_BYTE, value.data(), value.size());
  });
}

void MessageWriter::AppendStringMap(const StringMap& value) {
  const WriteScope array(*this, SD_BUS_TYPE_ARRAY, "{ss}");
  for (const auto& [key, text] : value) {
    const WriteScope entry(*this, SD_BUS_TYPE_DICT_ENTRY, "ss");
    AppendString(key);
    AppendString(text);
  }
}

void MessageWriter::AppendVariant(const Any& value) {
  const char type = kAnyTypes[value.index()];
  const char contents[] = {type, '\0'};
  const WriteScope variant(*this, SD_BUS_TYPE_VARIANT, contents);
  std::visit(
      [&](const auto& held) {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, std::string>) {
          AppendString(held);
        } else if constexpr (std::is_same_v<T, bool>) {
          const int as_int = held;  // the library's type for a boolean
          AppendBasic(type, &as_int);
        } else {
          AppendBasic(type, &held);
        }
      },
      value);
}

WriteScope::WriteScope(MessageWriter& writer, char type, const char* contents) : writer_(writer) {
  writer_.Append([&] { return sd_bus_message_open_container(writer_.message_, type, contents); });
}

WriteScope::~WriteScope() {
  writer_.Append([&] { return sd_bus_message_close_container(writer_.message_); });
}

std::optional<std::string_view> MessageReader::PopString() {
  const char* text = nullptr;
  if (sd_bus_message_read_basic(message_, SD_BUS_TYPE_STRING, &text) <= 0) return std::nullopt;
  return text;
}

std::optional<Bytes> MessageReader::PopBytes() {
  const void* data = nullptr;
  std::size_t size = 0;
  if (sd_bus_message_read_array(message_, SD_BUS_TYPE_BYTE, &data, &size) <= 0) {
    return std::nullopt;
  }
  return Bytes(static_cast<const std::uint8_t*>(data), size);
}

std::optional<Any> MessageReader::PopVariant() {
  const char* contents = nullptr;
  char type = 0;
  if (sd_bus_message_peek_type(message_, &type, &contents) <= 0) return std::nullopt;
  if (type != SD_BUS_TYPE_VARIANT || std::strlen(contents) != 1) return std::nullopt;
  const std::size_t index = kAnyTypes.find(*contents);
  if (index == std::string_view::npos) return std::nullopt;
  const char held = kAnyTypes[index];
  const ReadScope variant(*this, SD_BUS_TYPE_VARIANT, contents);
  Any value;
  if (!variant || !kAnyReaders[index](message_, held, &value)) return std::nullopt;
  return value;
}

bool MessageReader::PopStringMap(StringMap* map) {
  const ReadScope array(*this, SD_BUS_TYPE_ARRAY, nullptr);
  if (!array) return false;
  map->clear();
  while (HasMore()) {
    const ReadScope entry(*this, SD_BUS_TYPE_DICT_ENTRY, "ss");
    if (!entry) return false;
    const auto key = PopString();
    const auto text = PopString();
    if (!key.has_value() || !text.has_value()) return false;
    map->emplace(*key, *text);
  }
  return true;
}

bool MessageReader::NextIs(char type) const {
  char next = 0;
  return sd_bus_message_peek_type(message_, &next, nullptr) > 0 && next == type;
}

ReadScope::ReadScope(MessageReader& reader, char type, const char* contents)
    : message_(reader.message_) {
  entered_ = sd_bus_message_enter_container(message_, type, contents) > 0;
}

ReadScope::~ReadScope() {
  if (!entered_) return;
  while (sd_bus_message_at_end(message_, 0) == 0) {
    if (sd_bus_message_skip(message_, nullptr) <= 0) break;
  }
  sd_bus_message_exit_container(message_);
}

}  // namespace orvane::platform::bus
