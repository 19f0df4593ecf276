#include "testbed/flags_message.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "testbed/bus_peer.h"

namespace orvane::testbed {
namespace {

class Container {
 public:
  Container(sd_bus_message* message, char type, const char* contents) : message_(message) {
    MustSucceed(sd_bus_message_open_container(message, type, contents));
  }
  Container(const Container&) = delete;
  Container& operator=(const Container&) = delete;
  ~Container() { MustSucceed(sd_bus_message_close_container(message_)); }

 private:
  sd_bus_message* message_;
};

void AppendPair(sd_bus_message* message, const std::string& key, const std::string& value) {
  MustSucceed(sd_bus_message_append(message, "{ss}", key.c_str(), value.c_str()));
}

void AppendText(sd_bus_message* message, const FlagMap& flags) {
  std::string text;
  for (const auto& [key, value] : flags) text += key + "=" + value + ",";
  MustSucceed(sd_bus_message_append(message, "s", text.c_str()));
}

void AppendCount(sd_bus_message* message, const FlagMap& flags) {
  MustSucceed(sd_bus_message_append(message, "i", static_cast<std::int32_t>(flags.size())));
}

void AppendList(sd_bus_message* message, const FlagMap& flags) {
  const Container array(message, SD_BUS_TYPE_ARRAY, "s");
  for (const auto& [key, value] : flags) {
    MustSucceed(sd_bus_message_append(message, "s", (key + "=" + value).c_str()));
  }
}

void AppendVariants(sd_bus_message* message, const FlagMap& flags) {
  const Container array(message, SD_BUS_TYPE_ARRAY, "{sv}");
  for (const auto& [key, value] : flags) {
    MustSucceed(sd_bus_message_append(message, "{sv}", key.c_str(), "s", value.c_str()));
  }
}

void AppendLengths(sd_bus_message* message, const FlagMap& flags) {
  const Container array(message, SD_BUS_TYPE_ARRAY, "{si}");
  for (const auto& [key, value] : flags) {
    const auto length = static_cast<std::int32_t>(value.size());
    MustSucceed(sd_bus_message_append(message, "{si}", key.c_str(), length));
  }
}

void AppendStructs(sd_bus_message* message, const FlagMap& flags) {
  const Container array(message, SD_BUS_TYPE_ARRAY, "(ss)");
  for (const auto& [key, value] : flags) {
    MustSucceed(sd_bus_message_append(message, "(ss)", key.c_str(), value.c_str()));
  }
}

struct WrongType {
  const char* signature;
  void (*append)(sd_bus_message* message, const FlagMap& flags);
};
constexpr std::array<WrongType, 6> kWrongTypes = {{
    {"s", &AppendText},
    {"i", &AppendCount},
    {"as", &AppendList},
    {"a{sv}", &AppendVariants},
    {"a{si}", &AppendLengths},
    {"a(ss)", &AppendStructs},
}};

void AppendTypedVariant(sd_bus_message* message, const FlagMap& flags,
                        const FlagsEncoding& encoding) {
  const auto* wrong = std::find_if(kWrongTypes.begin(), kWrongTypes.end(), [&](const auto& type) {
    return type.signature == encoding.wrong_type;
  });
  if (wrong != kWrongTypes.end()) {
    const Container variant(message, SD_BUS_TYPE_VARIANT, wrong->signature);
    wrong->append(message, flags);
    return;
  }
  const Container variant(message, SD_BUS_TYPE_VARIANT, kFlagsSignature);
  AppendFlagMap(message, flags, encoding.duplicate_keys);
}

}  // namespace

std::vector<std::string> WrongFlagsTypes() {
  std::vector<std::string> signatures;
  for (const WrongType& type : kWrongTypes) signatures.emplace_back(type.signature);
  return signatures;
}

void AppendFlagMap(sd_bus_message* message, const FlagMap& flags, bool duplicate_keys) {
  const Container array(message, SD_BUS_TYPE_ARRAY, "{ss}");
  for (const auto& [key, value] : flags) {
    AppendPair(message, key, value);
    if (duplicate_keys) AppendPair(message, key, "other-" + value);
  }
}

void AppendFlagsVariant(sd_bus_message* message, const FlagMap& flags,
                        const FlagsEncoding& encoding) {
  if (!encoding.extra_variant) {
    AppendTypedVariant(message, flags, encoding);
    return;
  }
  const Container variant(message, SD_BUS_TYPE_VARIANT, "v");
  AppendTypedVariant(message, flags, encoding);
}

void AppendFlagsDictionary(sd_bus_message* message, const char* name, const FlagMap& flags,
                           const FlagsEncoding& encoding) {
  const Container array(message, SD_BUS_TYPE_ARRAY, "{sv}");
  const Container entry(message, SD_BUS_TYPE_DICT_ENTRY, "sv");
  MustSucceed(sd_bus_message_append(message, "s", name));
  AppendFlagsVariant(message, flags, encoding);
}

}  // namespace orvane::testbed
