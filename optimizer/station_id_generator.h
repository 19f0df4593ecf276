#ifndef OPTIMIZER_STATION_ID_GENERATOR_H_
#define OPTIMIZER_STATION_ID_GENERATOR_H_

#include <nettle/sha2.h>

#include <string>
#include <string_view>

#include "common/mac_address.h"
#include "platform/files.h"

namespace orvane::ap {

// Names a station in a record without giving away its hardware address: by the SHA-256 of the
// device's secret salt and the address. The receiver relates the records of a station to each other
// by this name, for as long as the salt file stays as it is.
class StationIdGenerator {
 public:
  static constexpr char kSaltFile[] = "/var/lib/ap/monitor/station_id_salt";

  // Reads the salt. While there is none, every GenerateId tries again; once there is one it stays.
  explicit StationIdGenerator(platform::FilePath salt_file = kSaltFile);

  // Sets `id` to 64 upper-case hexadecimal digits. False, with `id` as it was, while the salt file
  // can't be read. An empty salt file is a salt of no bytes. `mac` must not be empty.
  bool GenerateId(const MacAddress& mac, std::string* id);

  // The same for an address as text. False, with `id` as it was, for a text that is no address.
  bool GenerateIdFromText(std::string_view mac, std::string* id);

 private:
  bool LoadSalt();

  platform::FilePath salt_file_;
  std::string salt_;
  // After the salt, before the address.
  sha256_ctx salted_hash_;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_STATION_ID_GENERATOR_H_
