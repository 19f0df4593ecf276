#include "wavelarkctl/client_option.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "optimizer/station_id_generator.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

constexpr std::size_t kMostDigits = 64;

bool IsIdentifier(const std::string& text) {
  return !text.empty() && text.size() <= kMostDigits &&
         std::ranges::all_of(text, [](unsigned char digit) { return std::isxdigit(digit) != 0; });
}

std::string UpperCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char character) {
    return static_cast<char>(std::toupper(character));
  });
  return text;
}

}  // namespace

ap::MacAddress ClientAddress(const std::string& text) {
  ap::MacAddress address;
  if (ap::MacAddress::ParseFromString(text, &address)) return address;
  throw Failure(ExitStatus::kUsage,
                fmt::format("--client: '{}' is not an address, such as 02:00:00:00:00:01", text));
}

std::string ClientIdentifier(const std::string& text, const platform::FilePath& salt_file) {
  if (IsIdentifier(text)) return UpperCase(text);
  ap::MacAddress address;
  if (!ap::MacAddress::ParseFromString(text, &address)) {
    throw Failure(ExitStatus::kUsage,
                  fmt::format("--client: '{}' is neither an address nor an identifier", text));
  }
  // The generator does not report why it can't read the salt.
  if (!platform::ReadFileToString(salt_file)) {
    throw Failure(ExitStatus::kUnavailable,
                  fmt::format("{}: {}; run as root, or name the client by the identifier "
                              "that its events have",
                              salt_file.native(), strerror(errno)));
  }
  std::string id;
  if (!ap::StationIdGenerator(salt_file).GenerateId(address, &id)) {
    throw Failure(ExitStatus::kUnavailable,
                  fmt::format("{}: the salt can't be read", salt_file.native()));
  }
  return id;
}

}  // namespace orvane::wavelarkctl
