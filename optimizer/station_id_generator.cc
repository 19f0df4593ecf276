#include "optimizer/station_id_generator.h"

#include <array>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/hex.h"
#include "platform/logging.h"

namespace orvane::ap {
namespace {

void HashText(const std::string& text, sha256_ctx* hash) {
  sha256_update(hash, text.size(), reinterpret_cast<const std::uint8_t*>(text.data()));
}

}  // namespace

StationIdGenerator::StationIdGenerator(platform::FilePath salt_file)
    : salt_file_(std::move(salt_file)) {
  sha256_init(&salted_hash_);
  LoadSalt();
}

bool StationIdGenerator::GenerateId(const MacAddress& mac, std::string* id) {
  if (salt_.empty() && !LoadSalt()) return false;
  sha256_ctx hash = salted_hash_;
  HashText(mac.ToHexString(), &hash);
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest;
  sha256_digest(&hash, digest.size(), digest.data());
  *id = platform::HexEncode(digest, platform::HexCase::kUpper);
  return true;
}

bool StationIdGenerator::GenerateIdFromText(std::string_view mac, std::string* id) {
  MacAddress address;
  return MacAddress::ParseFromString(mac, &address) && GenerateId(address, id);
}

bool StationIdGenerator::LoadSalt() {
  std::optional<std::string> salt = platform::ReadFileToString(salt_file_);
  if (!salt.has_value()) {
    LOG(WARNING) << "Unable to load encryption salt";
    return false;
  }
  salt_ = *std::move(salt);
  sha256_init(&salted_hash_);
  HashText(salt_, &salted_hash_);
  return true;
}

}  // namespace orvane::ap
