#ifndef OPTIMIZER_STATION_ID_GENERATOR_H_
#define OPTIMIZER_STATION_ID_GENERATOR_H_

#include <nettle/sha2.h>

#include <string>
#include <string_view>

#include "common/mac_address.h"
#include "platform/files.h"

namespace orvane::ap {

// Generates station identifiers that do not reveal hardware addresses: the SHA-256 of the device's
// secret salt followed by the address. A station keeps its identifier as long as the salt file does
// not change.
class StationIdGenerator {
 public:
  static constexpr char kSaltFile[] = "/var/lib/ap/monitor/station_id_salt";

  // Reads the salt. While the salt is empty, each GenerateId reads the file again. A salt that is
  // not empty never changes.
  explicit StationIdGenerator(platform::FilePath salt_file = kSaltFile);

  // Sets `id` to 64 upper-case hexadecimal digits. Returns false and leaves `id` unchanged if the
  // salt file can't be read. An empty file is an empty salt. `mac` must not be empty.
  bool GenerateId(const MacAddress& mac, std::string* id);

  // The same for an address as text. Also returns false if the text is not an address.
  bool GenerateIdFromText(std::string_view mac, std::string* id);

 private:
  bool LoadSalt();

  platform::FilePath salt_file_;
  std::string salt_;
  // The state of the hash after the salt.
  sha256_ctx salted_hash_;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_STATION_ID_GENERATOR_H_
