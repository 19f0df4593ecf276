#ifndef PLATFORM_BUS_ANY_H_
#define PLATFORM_BUS_ANY_H_

#include <cstdint>
#include <string>
#include <variant>

namespace orvane::platform::bus {

// A value of any basic bus type. It is sent as a variant of exactly that type.
using Any = std::variant<bool, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t,
                         std::uint32_t, std::int64_t, std::uint64_t, double, std::string>;

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_ANY_H_
